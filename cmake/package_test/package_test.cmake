# Installs a build tree into a scratch prefix, then builds and runs a small project against the
# installed tree twice: through find_package(Lumarix), and with the flags pkg-config gives.
#   cmake -DBUILD=<build tree> -DWORK=<scratch folder> -DLIBDIR=<lib dir> -DCC=<C compiler>
#         -DWITH_WM=ON|OFF -P package_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

set(consumer ${CMAKE_CURRENT_LIST_DIR}/consumer)
set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/home)
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

# The package and the .pc files name no path of the machine that built them: everything is
# relative to where they lie, and Motif is looked up again where the package is used.
file(GLOB_RECURSE package_files ${prefix}/*.pc ${prefix}/*Targets*.cmake)
foreach(file IN LISTS package_files)
  file(STRINGS ${file} lines REGEX "/(usr|work|tmp|home|opt|root)/")
  if(lines)
    message(FATAL_ERROR "${file} names an absolute path: ${lines}")
  endif()
endforeach()

set(env ${CMAKE_COMMAND} -E env HOME=${WORK}/home LX_DATA_DIR=/data/consumer LX_SIZE=256)
run(${CMAKE_COMMAND} -S ${consumer} -B ${WORK}/consumer -DCMAKE_PREFIX_PATH=${prefix} -DWITH_WM=${WITH_WM})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
run(${WORK}/consumer/image_roundtrip ${WORK}/find_package.img)
run(${env} ${WORK}/consumer/settings_lookup)
if(WITH_WM)
  run(${WORK}/consumer/toolkit_link)
endif()

run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig pkg-config --cflags --libs lxim lxsettings)
separate_arguments(flags UNIX_COMMAND "${out}")
run(${CC} -std=c99 ${consumer}/image_roundtrip.c ${flags} -o ${WORK}/pkg_config_roundtrip)
run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${WORK}/pkg_config_roundtrip ${WORK}/pkg_config.img)
message(STATUS "installed tree used through find_package and pkg-config")

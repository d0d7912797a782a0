# Shared build helpers for every subsystem.

# Refuses a subsystem set that cannot configure: each subsystem needs those it links.
function(lx_check_subsystems subsystems)
  set(known shm settings wm suite editor im)
  set(needs_settings shm)
  set(needs_wm settings)
  set(needs_suite settings)
  set(needs_editor wm suite)
  foreach(sub IN LISTS subsystems)
    if(NOT sub IN_LIST known)
      message(FATAL_ERROR "LX_SUBSYSTEMS: unknown subsystem \"${sub}\" (known: ${known})")
    endif()
    foreach(need IN LISTS needs_${sub})
      if(NOT need IN_LIST subsystems)
        message(FATAL_ERROR "LX_SUBSYSTEMS: ${sub} needs ${need}; add it or leave ${sub} out")
      endif()
    endforeach()
  endforeach()
endfunction()

# Warnings, and the sanitizers a build asks for, for every target of the tree: set once, at the
# top directory, before any target exists, so that no target can miss them.
macro(lx_compile_settings)
  add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Wformat=2;-Wshadow;-Wno-unused-parameter>")
  if(LX_WERROR)
    add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-Werror>")
  endif()
  if(LX_FUZZ AND LX_SANITIZE)
    message(FATAL_ERROR "LX_FUZZ and LX_SANITIZE: choose one (LX_FUZZ builds with the sanitizers already)")
  endif()
  if(LX_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined)
    add_link_options(-fsanitize=address,undefined)
  elseif(LX_SANITIZE)
    # Any undefined behaviour ends the program, so that a test sees it as a failure. The
    # instrumentation makes GCC see uninitialised reads in the standard library (std::regex)
    # that are not there; the plain build keeps that warning.
    add_compile_options("$<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=address,undefined;-fno-sanitize-recover=all;-fno-omit-frame-pointer>"
                        "$<$<COMPILE_LANGUAGE:C,CXX>:-Wno-maybe-uninitialized>")
    add_link_options(-fsanitize=address,undefined)
  endif()
endmacro()

# A subsystem's shared library, versioned, with the public headers for its users and its own
# folder (or PRIVATE_DIR) for its sources.
#   lx_add_library(target [PRIVATE_DIR dir] [SOURCES ...])
function(lx_add_library target)
  cmake_parse_arguments(L "" "PRIVATE_DIR" "SOURCES" ${ARGN})
  if(NOT L_PRIVATE_DIR)
    set(L_PRIVATE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  add_library(${target} SHARED ${L_SOURCES})
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${L_PRIVATE_DIR})
endfunction()

# A GoogleTest executable registered with ctest.
#   lx_add_gtest(NAME name SOURCES ... LIBS ... [LABELS ...] [RESOURCE_LOCK lock] [ENV k=v ...]
#                [PROGRAMS MACRO=target ...] [ISOLATED])
# PROGRAMS: programs the tests run, their paths compiled in as MACRO and built before the tests.
# ISOLATED: every test runs in private IPC and mount namespaces (cmake/run-isolated-test), or is
# skipped when they cannot be made.
function(lx_add_gtest)
  cmake_parse_arguments(T "ISOLATED" "NAME;RESOURCE_LOCK;TIMEOUT" "SOURCES;LIBS;LABELS;ENV;PROGRAMS" ${ARGN})
  if(NOT LX_BUILD_TESTS)
    return()
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main)
  foreach(program IN LISTS T_PROGRAMS)
    string(REPLACE "=" ";" pair ${program})
    list(GET pair 0 macro)
    list(GET pair 1 target)
    target_compile_definitions(${T_NAME} PRIVATE ${macro}="$<TARGET_FILE:${target}>")
    add_dependencies(${T_NAME} ${target})
  endforeach()
  set(props "")
  if(T_RESOURCE_LOCK)
    list(APPEND props RESOURCE_LOCK "${T_RESOURCE_LOCK}")
  endif()
  if(T_ENV)
    list(APPEND props ENVIRONMENT "${T_ENV}")
  endif()
  if(T_ISOLATED)
    lx_isolate_test_target(${T_NAME})
    list(APPEND props SKIP_RETURN_CODE 77)
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  list(APPEND props TIMEOUT ${T_TIMEOUT})
  gtest_discover_tests(${T_NAME} DISCOVERY_TIMEOUT 60 PROPERTIES ${props})
  # Labels are set after discovery: a list passed through PROPERTIES keeps only its first label.
  if(T_LABELS)
    set(labels_file ${CMAKE_CURRENT_BINARY_DIR}/${T_NAME}_labels.cmake)
    file(WRITE ${labels_file} "foreach(test IN LISTS ${T_NAME}_TESTS)\n"
                              "  set_tests_properties(\"\${test}\" PROPERTIES LABELS \"${T_LABELS}\")\n"
                              "endforeach()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${labels_file})
  endif()
endfunction()

# Runs a test program (in add_test and gtest discovery) through cmake/run-isolated-test.
function(lx_isolate_test_target target)
  set_target_properties(${target} PROPERTIES
    CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/cmake/run-isolated-test)
endfunction()

# Install a library with its public header and a pkg-config file, and export it into the CMake
# package as Lumarix::<subsystem folder> (Lumarix::shm, Lumarix::im, ...).
#   lx_install_library(target HEADER lumarix/x.h DESCRIPTION "..." [REQUIRES "pc names"])
function(lx_install_library target)
  cmake_parse_arguments(L "" "HEADER;DESCRIPTION;REQUIRES;LIBS_PRIVATE" "" ${ARGN})
  get_filename_component(subsystem ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${subsystem})
  install(TARGETS ${target} EXPORT LumarixTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  set_property(GLOBAL APPEND PROPERTY LX_EXPORTED_SUBSYSTEMS ${subsystem})
  if(L_HEADER)
    install(FILES ${PROJECT_SOURCE_DIR}/include/${L_HEADER}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumarix)
  endif()
  get_target_property(outname ${target} OUTPUT_NAME)
  if(NOT outname)
    set(outname ${target})
  endif()
  set(PC_NAME ${target})
  set(PC_LIBNAME ${outname})
  set(PC_DESCRIPTION "${L_DESCRIPTION}")
  set(PC_REQUIRES "${L_REQUIRES}")
  set(PC_LIBS_PRIVATE "${L_LIBS_PRIVATE}")
  # The prefix is found from where the .pc file lies, so that it is right for whatever prefix
  # the tree is installed under (cmake --install --prefix, DESTDIR, a moved tree).
  set(pcdir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  if(IS_ABSOLUTE "${pcdir}")
    set(PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  else()
    file(RELATIVE_PATH up "/prefix/${pcdir}" "/prefix")
    string(REGEX REPLACE "/$" "" up "${up}")
    set(PC_PREFIX "\${pcfiledir}/${up}")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in
                 ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.pc DESTINATION ${pcdir})
endfunction()

# A libFuzzer target. With LX_FUZZ it links libFuzzer (clang); otherwise it is built with a small
# replay driver and ctest runs it over the checked-in seed corpus, so the target always compiles
# and every seed stays a regression test.
#   lx_add_fuzzer(NAME name SOURCES ... LIBS ... CORPUS dir)
function(lx_add_fuzzer)
  cmake_parse_arguments(F "" "NAME;CORPUS" "SOURCES;LIBS" ${ARGN})
  if(LX_FUZZ)
    add_executable(${F_NAME} ${F_SOURCES})
    target_compile_options(${F_NAME} PRIVATE -fsanitize=fuzzer,address,undefined)
    target_link_options(${F_NAME} PRIVATE -fsanitize=fuzzer,address,undefined)
  else()
    if(NOT LX_BUILD_TESTS)
      return()
    endif()
    add_executable(${F_NAME} ${F_SOURCES} ${PROJECT_SOURCE_DIR}/cmake/fuzz_replay_main.cpp)
    if(F_CORPUS)
      # Labelled by its subsystem (the top folder it lives in) too, so `ctest -L im` replays im's seeds.
      file(RELATIVE_PATH rel ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
      string(REGEX REPLACE "/.*" "" subsystem "${rel}")
      add_test(NAME ${F_NAME}.replay COMMAND ${F_NAME} ${F_CORPUS})
      set_tests_properties(${F_NAME}.replay PROPERTIES TIMEOUT 300 LABELS "${subsystem};fuzz")
    endif()
  endif()
  target_link_libraries(${F_NAME} PRIVATE ${F_LIBS})
endfunction()

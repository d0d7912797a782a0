# A build configured with LX_DEFAULT_BASE_DIR answers LX_BASE with that folder when nothing else
# sets it. Configures and builds lxsetting in a scratch folder, then asks it.
#   cmake -DSOURCE=<tree> -DWORK=<scratch folder> -P default_base_option_test.cmake
set(base "/opt/lumarix-packaged/share")
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}/home")
execute_process(
  COMMAND ${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
          "-DLX_SUBSYSTEMS=shm;editor" -DLX_BUILD_TESTS=OFF -DLX_BUILD_BENCH=OFF "-DLX_DEFAULT_BASE_DIR=${base}"
  RESULT_VARIABLE configured OUTPUT_QUIET)
if(NOT configured EQUAL 0)
  message(FATAL_ERROR "configuring with LX_DEFAULT_BASE_DIR failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${WORK}/build" --target lxsetting -j2
  RESULT_VARIABLE built OUTPUT_QUIET)
if(NOT built EQUAL 0)
  message(FATAL_ERROR "building lxsetting failed")
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env --unset=LX_BASE --unset=PMBASE --unset=OB_BASE "HOME=${WORK}/home"
          USER=lxbase-option-test LOGNAME=lxbase-option-test "${WORK}/build/editor/settings/lxsetting" get LX_BASE
  OUTPUT_VARIABLE answer ERROR_QUIET)
if(NOT answer STREQUAL "${base}\n")
  message(FATAL_ERROR "lxsetting get LX_BASE answered \"${answer}\", not \"${base}\"")
endif()
file(REMOVE_RECURSE "${WORK}")

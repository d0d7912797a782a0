# lxsetting built in WORK from SOURCE with LX_DEFAULT_BASE_DIR answers LX_BASE with that folder.
set(base "/opt/lumarix-packaged/share")
file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}" "-DLX_SUBSYSTEMS=shm;settings" -DLX_BUILD_TESTS=OFF
  -DLX_BUILD_BENCH=OFF "-DLX_DEFAULT_BASE_DIR=${base}" OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build "${WORK}" --target lxsetting -j2 OUTPUT_QUIET
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LX_BASE --unset=PMBASE --unset=OB_BASE "HOME=${WORK}"
  USER=lxbase-option-test LOGNAME=lxbase-option-test "${WORK}/settings/lxsetting" get LX_BASE
  OUTPUT_VARIABLE answer ERROR_QUIET)
file(REMOVE_RECURSE "${WORK}")
if(NOT answer STREQUAL "${base}\n")
  message(FATAL_ERROR "lxsetting get LX_BASE answered \"${answer}\", not \"${base}\"")
endif()

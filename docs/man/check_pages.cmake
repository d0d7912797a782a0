# Formats each manual page with every groff warning on; any warning fails.
#   cmake -DGROFF=<groff> -DPAGES=<page;...> -P check_pages.cmake
foreach(page IN LISTS PAGES)
  execute_process(COMMAND ${GROFF} -man -ww -z -rCHECKSTYLE=3 ${page}
                  RESULT_VARIABLE rc ERROR_VARIABLE warnings)
  if(NOT rc EQUAL 0 OR warnings)
    message(FATAL_ERROR "${page}:\n${warnings}")
  endif()
endforeach()

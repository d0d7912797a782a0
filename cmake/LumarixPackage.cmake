# The CMake package of an installed tree: find_package(Lumarix) gives Lumarix::<subsystem> for
# every library installed (see lx_install_library).
include(CMakePackageConfigHelpers)
set(LX_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Lumarix)
get_property(LX_EXPORTED_SUBSYSTEMS GLOBAL PROPERTY LX_EXPORTED_SUBSYSTEMS)

install(EXPORT LumarixTargets NAMESPACE Lumarix:: DESTINATION ${LX_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/LumarixConfig.cmake.in
  ${PROJECT_BINARY_DIR}/LumarixConfig.cmake INSTALL_DESTINATION ${LX_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/LumarixConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
set(package_files ${PROJECT_BINARY_DIR}/LumarixConfig.cmake ${PROJECT_BINARY_DIR}/LumarixConfigVersion.cmake)
if("wm" IN_LIST LX_EXPORTED_SUBSYSTEMS)
  list(APPEND package_files ${PROJECT_SOURCE_DIR}/cmake/FindLumarixMotif.cmake)
endif()
install(FILES ${package_files} DESTINATION ${LX_PACKAGE_DIR})

# The installed tree, used by a project of its own through the package and through pkg-config.
# Skipped in a sanitizer build, whose libraries a plain program cannot link.
if(LX_BUILD_TESTS AND NOT LX_SANITIZE AND "im" IN_LIST LX_EXPORTED_SUBSYSTEMS
   AND "settings" IN_LIST LX_EXPORTED_SUBSYSTEMS)
  set(with_wm OFF)
  if("wm" IN_LIST LX_EXPORTED_SUBSYSTEMS)
    set(with_wm ON)
  endif()
  # The consumer looks settings up, which attaches to an arena when there is one: private namespaces.
  add_test(NAME package_consumer
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/run-isolated-test ${CMAKE_COMMAND}
            -DBUILD=${PROJECT_BINARY_DIR} -DWORK=${PROJECT_BINARY_DIR}/package_test -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
            -DCC=${CMAKE_C_COMPILER} -DWITH_WM=${with_wm} -P ${PROJECT_SOURCE_DIR}/cmake/package_test/package_test.cmake)
  set_tests_properties(package_consumer PROPERTIES LABELS install TIMEOUT 300 SKIP_RETURN_CODE 77)
endif()

# Finds Motif (libXm and its headers) and makes the imported target Lumarix::Motif, which brings
# Xt with it. The build uses it for the toolkit layer, and an installed Lumarix package looks it
# up again on the user's machine, so that no path of the build machine is written into the package.
include(FindPackageHandleStandardArgs)
include(CMakeFindDependencyMacro)
find_dependency(X11)
find_library(LumarixMotif_LIBRARY NAMES Xm)
find_path(LumarixMotif_INCLUDE_DIR NAMES Xm/Xm.h)
find_package_handle_standard_args(LumarixMotif
  REQUIRED_VARS LumarixMotif_LIBRARY LumarixMotif_INCLUDE_DIR X11_Xt_FOUND)
mark_as_advanced(LumarixMotif_LIBRARY LumarixMotif_INCLUDE_DIR)
if(LumarixMotif_FOUND AND NOT TARGET Lumarix::Motif)
  add_library(Lumarix::Motif UNKNOWN IMPORTED)
  set_target_properties(Lumarix::Motif PROPERTIES
    IMPORTED_LOCATION "${LumarixMotif_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${LumarixMotif_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "X11::Xt;X11::X11")
endif()

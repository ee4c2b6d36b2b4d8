# Finds civetweb and defines
#   Civetweb::Headers    its header, for who includes it only
#   Civetweb::Civetweb   that and the library
# The package files that some distributions ship beside them refer to a server program that is
# packaged apart, and then fail.
find_path(Civetweb_INCLUDE_DIR civetweb.h)
find_library(Civetweb_LIBRARY civetweb)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Civetweb REQUIRED_VARS Civetweb_LIBRARY Civetweb_INCLUDE_DIR)

if(Civetweb_FOUND AND NOT TARGET Civetweb::Headers)
    add_library(Civetweb::Headers INTERFACE IMPORTED)
    set_target_properties(Civetweb::Headers PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${Civetweb_INCLUDE_DIR}")
endif()
if(Civetweb_FOUND AND NOT TARGET Civetweb::Civetweb)
    add_library(Civetweb::Civetweb UNKNOWN IMPORTED)
    set_target_properties(Civetweb::Civetweb PROPERTIES
        IMPORTED_LOCATION "${Civetweb_LIBRARY}"
        INTERFACE_LINK_LIBRARIES Civetweb::Headers)
endif()
mark_as_advanced(Civetweb_INCLUDE_DIR Civetweb_LIBRARY)

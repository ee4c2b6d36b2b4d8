# Finds the civetweb header and library and defines Civetweb::Civetweb. The package files that some
# distributions ship beside them refer to a server program that is packaged apart, and then fail.
find_path(Civetweb_INCLUDE_DIR civetweb.h)
find_library(Civetweb_LIBRARY civetweb)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Civetweb REQUIRED_VARS Civetweb_LIBRARY Civetweb_INCLUDE_DIR)

if(Civetweb_FOUND AND NOT TARGET Civetweb::Civetweb)
    add_library(Civetweb::Civetweb UNKNOWN IMPORTED)
    set_target_properties(Civetweb::Civetweb PROPERTIES
        IMPORTED_LOCATION "${Civetweb_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${Civetweb_INCLUDE_DIR}")
endif()
mark_as_advanced(Civetweb_INCLUDE_DIR Civetweb_LIBRARY)

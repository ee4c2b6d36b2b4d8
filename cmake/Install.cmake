# What `cmake --install` puts where, in four components:
#   Runtime        the library
#   Development    its headers, the host support, the files by which CMake and pkg-config find both
#   Tools          the programs that are built, with their manual pages
#   Panel          the one of them that needs a display, with its page
include(CMakePackageConfigHelpers)

set(cmake_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ParlowenRestAPI)
set(PARLOWEN_SYSTEMD_UNIT_DIR lib/systemd/system CACHE STRING
    "Where the unit of the simulator goes, below the prefix unless absolute")

install(TARGETS ParlowenRestAPI ParlowenHostSupport EXPORT ParlowenRestAPITargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(FILES
    hostsupport/filesystemsandbox.h
    hostsupport/filesystemuser.h
    hostsupport/processsettings.h
    hostsupport/requestlog.h
    hostsupport/servicewatchdog.h
    restserver/datachunk.h
    restserver/hostmodel.h
    restserver/multipart_parser.h
    restserver/requestobserver.h
    restserver/restservermodel.h
    restserver/restserveroptions.h
    restserver/sharedqueue.h
    restserver/timestamp.h
    ${PROJECT_BINARY_DIR}/include/parlowenversion.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/parlowenrestapi
    COMPONENT Development)

install(EXPORT ParlowenRestAPITargets
    NAMESPACE ParlowenRestAPI::
    DESTINATION ${cmake_package_dir}
    COMPONENT Development)
configure_package_config_file(cmake/package/ParlowenRestAPIConfig.cmake.in
    ${PROJECT_BINARY_DIR}/package/ParlowenRestAPIConfig.cmake
    INSTALL_DESTINATION ${cmake_package_dir})
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/package/ParlowenRestAPIConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/package/ParlowenRestAPIConfig.cmake
    ${PROJECT_BINARY_DIR}/package/ParlowenRestAPIConfigVersion.cmake
    cmake/FindCivetweb.cmake
    DESTINATION ${cmake_package_dir}
    COMPONENT Development)

# The pkg-config files find their prefix from their own place, so that an installed tree can be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
    set(pc_libdir "${CMAKE_INSTALL_FULL_LIBDIR}")
    set(pc_includedir "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
    file(RELATIVE_PATH from_pc_to_prefix
        "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    string(REGEX REPLACE "/$" "" from_pc_to_prefix "${from_pc_to_prefix}")
    set(pc_prefix "\${pcfiledir}/${from_pc_to_prefix}")
    set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(pc_civetweb_cflags "")
if(NOT Civetweb_INCLUDE_DIR IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    set(pc_civetweb_cflags " -I${Civetweb_INCLUDE_DIR}")
endif()
foreach(package parlowenrestapi parlowenhostsupport)
    configure_file(cmake/package/${package}.pc.in ${PROJECT_BINARY_DIR}/package/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${package}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)
endforeach()

# An installed program finds the library of its own prefix, wherever that is moved to.
file(RELATIVE_PATH from_bin_to_lib "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
foreach(program parlowen-device parlowen-panel parlowenctl)
    if(TARGET ${program})
        set(component Tools)
        if(program STREQUAL parlowen-panel)
            set(component Panel)
        endif()
        set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
        install(TARGETS ${program}
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
        configure_file(docs/man/${program}.1.in ${PROJECT_BINARY_DIR}/package/${program}.1 @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/package/${program}.1
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
            COMPONENT ${component})
    endif()
endforeach()

if(TARGET parlowen-device)
    configure_file(packaging/systemd/parlowen-device.service.in
        ${PROJECT_BINARY_DIR}/package/parlowen-device.service @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/parlowen-device.service
        DESTINATION ${PARLOWEN_SYSTEMD_UNIT_DIR}
        COMPONENT Tools)
    install(DIRECTORY testsupport
        DESTINATION ${CMAKE_INSTALL_DATADIR}/parlowen
        COMPONENT Tools
        USE_SOURCE_PERMISSIONS
        PATTERN __pycache__ EXCLUDE)
endif()
if(TARGET parlowenctl)
    install(FILES client/completion/parlowenctl.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME parlowenctl
        COMPONENT Tools)
    install(FILES client/completion/_parlowenctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions
        COMPONENT Tools)
    install(FILES client/completion/parlowenctl.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT Tools)
endif()

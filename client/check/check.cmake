# The command `parlowenctl check`, as a part of parlowenctl_objects.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# The description of the interface, held against every answer, is part of the program.
set(description ${PROJECT_SOURCE_DIR}/api/openapi.yaml)
add_custom_command(OUTPUT openapi.json
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_LIST_DIR}/embed-description
        ${description} openapi.json
    DEPENDS ${description} ${CMAKE_CURRENT_LIST_DIR}/embed-description VERBATIM)
configure_file(${CMAKE_CURRENT_LIST_DIR}/check.qrc.in check.qrc @ONLY)
qt5_add_resources(resources ${CMAKE_CURRENT_BINARY_DIR}/check.qrc)
set_property(SOURCE ${resources} PROPERTY COMPILE_OPTIONS -w)

target_sources(parlowenctl_objects PRIVATE
    check/assertion.cpp
    check/assetassertions.cpp
    check/checkcommand.cpp
    check/checkeddevice.cpp
    check/checkreport.cpp
    check/checkrun.cpp
    check/checkworkorders.cpp
    check/endassertions.cpp
    check/expectations.cpp
    check/fileassertions.cpp
    check/filechecks.cpp
    check/htmlreport.cpp
    check/httpexchange.cpp
    check/interfacedescription.cpp
    check/checkinterruption.cpp
    check/jobassertions.cpp
    check/loadassertions.cpp
    check/methodassertions.cpp
    check/multipartform.cpp
    check/schemavalidator.cpp
    check/serverassertions.cpp
    check/storageassertions.cpp
    check/storeassertions.cpp
    check/storedfileassertions.cpp
    check/syncassertions.cpp
    check/technicianassertions.cpp
    check/uploadassertions.cpp
    ${resources}
)
target_include_directories(parlowenctl_objects PUBLIC ${CMAKE_CURRENT_LIST_DIR})

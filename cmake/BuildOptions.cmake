# What is built and how. As part of another project that is the library and the host support alone; nothing
# of the other project is changed, and nothing is installed unless it asks for that.
set(PARLOWEN_IS_TOP_LEVEL OFF)
if(CMAKE_SOURCE_DIR STREQUAL PROJECT_SOURCE_DIR)
    set(PARLOWEN_IS_TOP_LEVEL ON)
endif()

option(PARLOWEN_BUILD_DEVICE "Build the device simulator parlowen-device" ${PARLOWEN_IS_TOP_LEVEL})
option(PARLOWEN_BUILD_PANEL "Build the simulator with a window, parlowen-panel" ${PARLOWEN_IS_TOP_LEVEL})
option(PARLOWEN_BUILD_CLIENT "Build the command line client parlowenctl" ${PARLOWEN_IS_TOP_LEVEL})
option(PARLOWEN_INSTALL "Install what is built" ${PARLOWEN_IS_TOP_LEVEL})
option(PARLOWEN_BENCHMARKS "Build the benchmarks" OFF)
option(PARLOWEN_REQUIRE_ALL "Stop when something is missing for a part, instead of leaving it out" OFF)
option(PARLOWEN_WARNINGS_AS_ERRORS "Stop at the first warning" OFF)
set(PARLOWEN_SANITIZE "" CACHE STRING
    "Sanitizers to build with, as -fsanitize takes them (address,undefined or thread)")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# With a compiler cache, headers that were compiled before cost more than they save.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache|distcc|icecc")
    set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()

set(PARLOWEN_BUILD_TESTS OFF)
if(PARLOWEN_IS_TOP_LEVEL)
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
    endif()
    include(CTest)
    set(PARLOWEN_BUILD_TESTS ${BUILD_TESTING})
endif()

# parlowen_needs(variable part [PACKAGES "what find_package takes" ...] [PROGRAMS name ...] [MODULES name ...])
#
# Turns the variable off where something is missing for the part, and says so in one line. Modules are
# those of Python.
function(parlowen_needs variable part)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "PACKAGES;PROGRAMS;MODULES")
    set(missing "")
    foreach(package IN LISTS arg_PACKAGES)
        separate_arguments(words UNIX_COMMAND "${package}")
        list(GET words 0 name)
        find_package(${words} QUIET)
        if(NOT ${name}_FOUND)
            list(APPEND missing ${name})
        endif()
    endforeach()
    foreach(program IN LISTS arg_PROGRAMS)
        find_program(PARLOWEN_PROGRAM_${program} ${program})
        mark_as_advanced(PARLOWEN_PROGRAM_${program})
        if(NOT PARLOWEN_PROGRAM_${program})
            list(APPEND missing ${program})
        endif()
    endforeach()
    foreach(module IN LISTS arg_MODULES)
        execute_process(COMMAND "${Python3_EXECUTABLE}" -c "import ${module}"
            RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
        if(NOT status EQUAL 0)
            list(APPEND missing "${module} for Python")
        endif()
    endforeach()
    if(NOT missing)
        return()
    endif()
    string(REPLACE ";" ", " missing "${missing}")
    if(PARLOWEN_REQUIRE_ALL)
        message(FATAL_ERROR "Missing for ${part}: ${missing}")
    endif()
    message(STATUS "Left out: ${part}. Missing: ${missing}")
    set(${variable} OFF PARENT_SCOPE)
endfunction()

if(PARLOWEN_BUILD_DEVICE)
    parlowen_needs(PARLOWEN_BUILD_DEVICE "the simulator parlowen-device"
        PACKAGES "OpenSSL COMPONENTS Crypto")
endif()
if(NOT PARLOWEN_BUILD_DEVICE)
    set(PARLOWEN_BUILD_PANEL OFF)
endif()
if(PARLOWEN_BUILD_PANEL)
    parlowen_needs(PARLOWEN_BUILD_PANEL "the front panel parlowen-panel" PACKAGES "Qt5Widgets 5.15")
endif()
if(PARLOWEN_BUILD_CLIENT)
    parlowen_needs(PARLOWEN_BUILD_CLIENT "the client parlowenctl"
        PACKAGES "OpenSSL COMPONENTS Crypto" "Qt5Network 5.15" CLI11 "Python3 COMPONENTS Interpreter"
        MODULES yaml)
endif()
if(PARLOWEN_BUILD_TESTS)
    parlowen_needs(PARLOWEN_BUILD_TESTS "the tests" PACKAGES "GTest CONFIG" "Python3 3.9 COMPONENTS Interpreter")
endif()

# Warnings and sanitizers, as one interface library that every target of ours links privately.
add_library(parlowen_build_options INTERFACE)
target_compile_options(parlowen_build_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<BOOL:${PARLOWEN_WARNINGS_AS_ERRORS}>:-Werror>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Files above 2 GiB and times after January 2038, as on 64-bit processors.
    target_compile_definitions(parlowen_build_options INTERFACE
        _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(PARLOWEN_SANITIZE)
    # Everything is built with the sanitizer, so that no object is left out.
    add_compile_options(-fsanitize=${PARLOWEN_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${PARLOWEN_SANITIZE})
endif()

# Warnings and sanitizers, as one interface library that every target of ours links privately.
set(PARLOWEN_SANITIZE "" CACHE STRING
    "Sanitizers to build with, as -fsanitize takes them (address,undefined or thread)")
option(PARLOWEN_WARNINGS_AS_ERRORS "Stop at the first warning" ON)

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

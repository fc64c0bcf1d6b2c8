# SPDX-License-Identifier: Apache-2.0
# Warnings are errors in everything that is ours.
add_compile_options(
    -Wall
    -Wextra
    -Wpedantic
    -Wshadow
    -Wnon-virtual-dtor
    -Woverloaded-virtual
    -Wconversion
    -Wno-sign-conversion
    -Werror)
# GCC 12, optimising, takes "a" + text for a copy onto itself.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options($<$<NOT:$<CONFIG:Debug>>:-Wno-restrict>)
endif()
# Source paths are shown relative to the project, in messages and in the catalogue.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(CORVANE_SANITIZE STREQUAL "THREAD")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(CORVANE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(CORVANE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

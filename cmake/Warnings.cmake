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

# SPDX-License-Identifier: Apache-2.0
# compile_together(TARGET): compiles several sources of the target at once where a sanitizer watches.
#
# Sources of these targets are short beside what they include, and the sanitizers make much of each inline function:
# most of such a build would go into the same ones again and again. All other builds compile each source by itself,
# which shows a missing include.
function(compile_together target)
    if(CORVANE_SANITIZE AND NOT CORVANE_FUZZ)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    endif()
endfunction()

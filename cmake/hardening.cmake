# Code generation and link properties of everything that is shipped or tested: protections on, and
# no time stamp and no build path inside, so that equal sources give equal bytes.
function(zelk_hardening target)
    # Nothing throws, and the C++ runtime's machinery for it would be half of the program.
    target_compile_options(${target} PRIVATE
        -fstack-protector-strong -fno-exceptions -fno-rtti -fno-threadsafe-statics)
    if(NOT ZELK_COVERAGE)
        target_compile_options(${target} PRIVATE -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
    endif()
    target_link_options(${target} PRIVATE
        -static -Wl,--dynamicbase -Wl,--nxcompat -Wl,--no-insert-timestamp
        $<$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>:-Wl,--high-entropy-va>
        $<$<NOT:$<CONFIG:Debug>>:-s>)
endfunction()

# The one place where warnings are chosen. ZELK_WERROR (on in CI) makes each an error.
option(ZELK_WERROR "Treat warnings as errors" OFF)

function(zelk_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast
        -Wformat=2 -Wno-format-nonliteral
        $<$<BOOL:${ZELK_WERROR}>:-Werror>)
endfunction()

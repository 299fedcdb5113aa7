# Builds that watch the program and are not shipped: presets ubsan and coverage.
option(ZELK_UBSAN "End the program where its behaviour is undefined" OFF)
option(ZELK_COVERAGE "Count which lines and branches of the product run" OFF)

# The tests too: their mistakes are as good as the product's at hiding others. The runtime that
# would tell the place does not exist for Windows; a debugger shows it.
if(ZELK_UBSAN)
    add_compile_options(-fsanitize=undefined -fsanitize-undefined-trap-on-error)
endif()

# For the product alone; whatever links it needs the counters' library.
function(zelk_instrumentation target)
    if(ZELK_COVERAGE)
        # The process runner has threads, and their counts must not be lost.
        target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
        target_link_options(${target} PUBLIC --coverage)
    endif()
endfunction()

# Builds msg/<locale>/zelkpmreg.rc into package/msg/<locale>/zelkpmreg.dll: resources alone, no
# code, no entry point, no imports. A process loads libraries of its own bitness only, so every
# preset builds its own set. Left to itself the linker makes a library's base address out of the
# path that it is built at, and equal sources would give other bytes in another folder.
function(zelk_message_library locale)
    set(source ${CMAKE_SOURCE_DIR}/msg/${locale}/zelkpmreg.rc)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/msg/${locale}.o)
    set(library ${ZELK_PACKAGE_DIR}/msg/${locale}/zelkpmreg.dll)
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/msg ${ZELK_PACKAGE_DIR}/msg/${locale})
    add_custom_command(
        OUTPUT ${library}
        COMMAND ${CMAKE_RC_COMPILER} -c 65001 -O coff ${source} -o ${object}
        COMMAND ${CMAKE_C_COMPILER} -shared -nostdlib -s -Wl,--entry=0 -Wl,--no-insert-timestamp
                -Wl,--dynamicbase -Wl,--nxcompat -Wl,--disable-auto-image-base ${object}
                -o ${library}
        DEPENDS ${source} ${CMAKE_SOURCE_DIR}/msg/message_ids.h ${CMAKE_SOURCE_DIR}/src/run/version.h
        WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}/msg/${locale}
        COMMENT "Building message library ${locale}"
        VERBATIM)
    set_property(GLOBAL APPEND PROPERTY ZELK_MESSAGE_LIBRARIES ${library})
endfunction()

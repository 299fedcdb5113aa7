# Fills in the list of what is inside the programs, SPDX 2.3, as sbom.spdx.json in the build folder.
# The time is SOURCE_DATE_EPOCH, where that is set.
string(TIMESTAMP ZELK_SBOM_CREATED "%Y-%m-%dT%H:%M:%SZ" UTC)
string(UUID ZELK_SBOM_ID NAMESPACE 6ba7b811-9dad-11d1-80b4-00c04fd430c8 TYPE SHA1
    NAME "zelkpmreg-${PROJECT_VERSION}-${CMAKE_SIZEOF_VOID_P}-${ZELK_SBOM_CREATED}")
file(WRITE ${CMAKE_BINARY_DIR}/mingw_version.c "#include <_mingw.h>\n"
    "version __MINGW64_VERSION_MAJOR . __MINGW64_VERSION_MINOR . __MINGW64_VERSION_BUGFIX\n")
execute_process(COMMAND ${CMAKE_C_COMPILER} -E -P ${CMAKE_BINARY_DIR}/mingw_version.c
    OUTPUT_VARIABLE preprocessed COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "version ([0-9]+) ?\\. ?([0-9]+) ?\\. ?([0-9]+)" found "${preprocessed}")
set(ZELK_MINGW_VERSION ${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3})
configure_file(${CMAKE_CURRENT_LIST_DIR}/sbom.spdx.json.in ${CMAKE_BINARY_DIR}/sbom.spdx.json @ONLY)

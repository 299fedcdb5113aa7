# What both bitnesses share. The posix variants are named outright, so that the build does not
# depend on which variant the machine's alternatives point to.
set(CMAKE_C_COMPILER ${ZELK_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZELK_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZELK_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZELK_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine.sh)

// The version of the program and of its package: the one place where it is written. Plain defines,
// because the resource compiler reads this header too, and CMake takes the version from it.
#ifndef ZELKPMREG_RUN_VERSION_H
#define ZELKPMREG_RUN_VERSION_H

#define ZELK_VERSION "10.1.2"
#define ZELK_VERSION_NUMBERS 10, 1, 2, 0

#endif

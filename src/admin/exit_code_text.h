#pragma once

// What an exit code of zelkpmreg.exe, or of regsvr32.exe, means, for "ended with 0: the steps were
// run"; "not known" for every other number.
const char* programCodeText(int code);
const char* regsvr32CodeText(int code);

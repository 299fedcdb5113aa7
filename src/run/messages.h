// The one printer of messages. Every line goes to the log first, flushed at once, and then to the
// console. Depends on nothing else of the program but the settings.
#pragma once

#include <windows.h>

#include <cstdio>

#include "msg/message_ids.h"  // IWYU pragma: export
#include "run/exit_codes.h"

// The message library; null until it is loaded, then kept to the end of the process.
extern HMODULE messageModule;

// Where a message library is: a format with the install directory and the locale, and its name.
constexpr char MESSAGE_FOLDER_FORMAT[] = "%smsg\\%s\\";
constexpr char MESSAGE_LIBRARY_FILE[] = "zelkpmreg.dll";

// Loads a text of the library or, if it has none of that id, the English one: a new text may not be
// translated yet. At most size - 1 bytes. False when neither has it.
bool loadMessageText(HMODULE module, unsigned id, char* out, int size);

// Prints one line.
// log: may be null, then the line goes to the console only. id: of a text in module, which holds at
// most 255 bytes and gets a line end. A missing text is replaced by the English one, or by its id
// and the arguments.
// literalFormat: used instead, as it stands, when literal is set. arg1, arg2: the values of the
// text's %s conversions; may be null. verboseOnly: drops the line unless verbose is set. With
// silent set nothing goes to the console.
// The console shows the finished line formatted a second time, as a format with no arguments: a
// per cent sign that came with an argument is interpreted there, while the log keeps it.
void printMessage(FILE* log, unsigned id, const char* literalFormat, const char* arg1,
                  const char* arg2, HMODULE module, bool verboseOnly, bool literal);

// What the steps call: printMessage with the run's log and message library.
void say(unsigned id, const char* arg1 = nullptr, const char* arg2 = nullptr);
void sayVerbose(unsigned id, const char* arg1 = nullptr, const char* arg2 = nullptr);
void sayLiteral(const char* format, const char* arg1 = nullptr, const char* arg2 = nullptr);
void sayVerboseLiteral(const char* format, const char* arg1 = nullptr);

// For a check that refuses the run: prints the message and returns the code.
ExitCode refuse(ExitCode code, unsigned id, const char* argument = nullptr);

// Prints text as it is to the console alone, whatever the settings. A console shows it as written,
// whatever its code page; a file or a pipe receives it in the ANSI code page.
void printToConsole(const char* text);

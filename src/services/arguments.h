// The arguments of wmain as text of the ANSI code page.
#pragma once

// Converts count arguments, each by itself: Windows converts the whole command line, and its
// look-alikes of characters that the code page lacks would become quotation marks and options.
// Returns the texts, null where the code page lacks a character; null when there is no memory. They
// are kept until the process ends.
// Windows documentation: "WideCharToMultiByte".
char** toAnsiArguments(int count, const wchar_t* const* arguments);

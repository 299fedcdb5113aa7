// The package's .NET configuration tool, run where the .NET Framework is installed.
#pragma once

// Results of runDotNetConfigurationTool.
constexpr int DOTNET_TOOL_NOT_RUN = -100;
constexpr int DOTNET_NO_TEMPORARY_NAME = -112;
constexpr int DOTNET_TOOL_NOT_COPIED = -114;

// True when the .NET Framework is installed; writes its root folder to out, which holds at least
// 256 bytes. The text is empty when the value cannot be read. False leaves out unchanged.
bool findDotNetFrameworkRoot(char* out);

// REGISTER, with replaceExisting (-r) after unregistering once per process, or UNREGISTER.
// installDirectory may end in a backslash; makeDefault has no effect. Prints its result. Returns 0
// or one of the codes above; the tool's own exit code is not read.
int runDotNetConfigurationTool(int mode, const char* installDirectory, bool makeDefault);

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "run/run_log.h"
#include "services/files/file_system.h"
#include "services/files/log_file.h"
#include "services/files/temporary_file.h"
#include "services/programs/process_setup.h"
#include "services/system_library.h"
#include "services/system_locale.h"
#include "tests/modules/import_patch.h"

namespace {

namespace fs = std::filesystem;

class Files : public testing::Test {
  protected:
    Files() { createDirectoryTree(folder.c_str()); }
    ~Files() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    std::string put(const std::string& name, const std::string& content) const {
        std::ofstream(folder + '\\' + name) << content;
        return folder + '\\' + name;
    }
    static std::string read(const std::string& path, std::ios::openmode mode = std::ios::in) {
        std::ifstream file(path, mode);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::string folder =
        (fs::temp_directory_path() / ("zelkpmreg files " + std::to_string(GetCurrentProcessId())))
            .string();
};

TEST_F(Files, FilesAndFolders) {
    const std::string file = '"' + put("a file.txt", "x") + '"', quoted = '"' + folder + '"';
    EXPECT_TRUE(fileExists(file.c_str()) && !directoryExists(file.c_str()));
    EXPECT_TRUE(directoryExists(quoted.c_str()) && !fileExists(quoted.c_str()));
    EXPECT_FALSE(fileExists("\"") || directoryExists("\""));
    // Nothing is made of a path that is too long, not even its beginning.
    createDirectoryTree((folder + "\\e\\" + std::string(258 - folder.size(), 'x')).c_str());
    EXPECT_FALSE(directoryExists((folder + "\\e").c_str()));
}

TEST_F(Files, TemporaryNames) {
    char temporary[261] = "";
    GetEnvironmentVariableA("TMP", temporary, sizeof temporary);
    const std::string upper = CharUpperA(std::string(folder).data());
    fs::create_directory(folder + "\\x.eXe.d");
    const std::tuple<std::string, int, std::string> cases[] = {
        {folder, 0, folder + "\\ZEL"},  // as it is written, in the long form
        {upper + "\\.\\", 0, upper + "\\"},
        {folder + "\\x.eXe.d", 0, folder + "\\x.eXe.d\\ZEL"},
        {folder + "\\missing", -1, ""},
        {"C:\\" + std::string(270, 'x'), 0, ""}};
    for (const auto& [place, result, begin] : cases) {
        SetEnvironmentVariableA("TMP", place.c_str());
        char name[261] = "";
        EXPECT_EQ(makeTempFileName("ZELKRC", name), result) << place;
        EXPECT_TRUE(begin.empty() ? !*name : std::string(name).starts_with(begin)) << name;
        EXPECT_EQ(fs::exists(name), !begin.empty());
        removeTempFile(name);
        EXPECT_FALSE(fs::exists(name)) << name;
    }
    SetEnvironmentVariableA("TMP", temporary);
}

// As where a link above the file leads to a file of another name.
#define OF_ANOTHER_NAME                                                                           \
    REPLACING(GetFileInformationByHandleEx, [&](HANDLE file, auto kind, LPVOID out, DWORD size) { \
        const BOOL done = replacedGetFileInformationByHandleEx.original(file, kind, out, size);   \
        auto& name = *static_cast<FILE_NAME_INFO*>(out);                                          \
        if (kind == FileNameInfo) name.FileName[name.FileNameLength / sizeof(wchar_t) - 1] ^= 1;  \
        return done;                                                                              \
    })

TEST_F(Files, FilesOfOthersStay) {
    const std::string path = put("planted.tmp", "");
    {
        OF_ANOTHER_NAME;
        removeTempFile(path.c_str());
        EXPECT_FALSE(copyWithoutLinks(put("tool", "x").c_str(), path.c_str()));
        EXPECT_FALSE(copyWithoutLinks(put("tool", "x").c_str(), (path + ".exe").c_str()));
        EXPECT_FALSE(fs::exists(path + ".exe"));
    }
    EXPECT_TRUE(fs::exists(path));
    fs::create_hard_link(path, path + "2");
    removeTempFile(path.c_str());
    EXPECT_TRUE(fs::remove(path));
    removeTempFile(put("planted.tmp", "a program").c_str());
    EXPECT_TRUE(fs::exists(path));
    FAILING(GetFileInformationByHandleEx, FALSE);  // as on some RAM disks
    removeTempFile(put("planted.tmp", "").c_str());
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Files, CopiesFollowNoLink) {
    const std::string source = put("tool", "new");
    const std::string target = put("target", "old");
    const std::string copy = folder + "\\copy.exe";
    fs::create_hard_link(target, copy);
    EXPECT_FALSE(copyWithoutLinks(source.c_str(), copy.c_str()));
    EXPECT_EQ(read(target) + read(copy), "oldold");
    const std::string plain = put("plain.exe", "something longer");
    SetFileAttributesA(source.c_str(), FILE_ATTRIBUTE_READONLY);
    for (const std::string& path : {plain, folder + "\\fresh.exe"}) {
        EXPECT_TRUE(copyWithoutLinks(source.c_str(), path.c_str()));
        EXPECT_EQ(read(path), "new");
        EXPECT_EQ(fs::last_write_time(path), fs::last_write_time(source));
        SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    SetFileAttributesA(source.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_FALSE(copyWithoutLinks((source + "x").c_str(), plain.c_str()));
}

TEST_F(Files, LogsAreEmptiedAndNotInherited) {
    for (const auto open : {openLog, openLogWithoutLinks}) {
        const std::string path = put("run.log", "an old and longer text");
        FILE* log = open(path.c_str());
        ASSERT_NE(log, nullptr);
        DWORD flags = HANDLE_FLAG_INHERIT;
        GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(log))), &flags);
        EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
        fputs("a\n", log);
        fflush(log);
        EXPECT_EQ(read(path, std::ios::binary), "a\r\n") << "the line end of a text file";
        EXPECT_EQ(read(path), "a\n") << "while the run has it open";
        fclose(log);
        EXPECT_EQ(open((folder + "\\missing\\run.log").c_str()), nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    }
    const auto fail = +[](const char*, const char*) { return static_cast<FILE*>(nullptr); };
    const auto original = replaceImport(nullptr, "fopen", fail);
    SetLastError(ERROR_INVALID_DATA);  // of an earlier call
    EXPECT_EQ(openLog("run.log"), nullptr);
    EXPECT_EQ(GetLastError(), 0u);
    replaceImport(nullptr, "fopen", original);
}

// What the handles say: the tag of the folder or of the file, counted from 1, and whether it is a
// link.
TEST_F(Files, LogsBehindLinksAreRefused) {
    const std::string path = folder + "\\run.log";
    const auto expectRefused = [&] {
        EXPECT_EQ(openLogWithoutLinks(path.c_str()), nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    };
    for (const auto& [tag, place, link] : {std::tuple(0x9000101Au, 1, false),
                                           {0x80000021u, 1, false},
                                           {0x80000013u, 2, false},
                                           {0xA0000003u, 1, true},
                                           {0xA000000Cu, 2, true}}) {
        int call = 0;
        REPLACING(GetFileInformationByHandleEx, [&](HANDLE file, auto kind, LPVOID out,
                                                    DWORD size) {
            if (kind == FileAttributeTagInfo && ++call == place) {
                *static_cast<FILE_ATTRIBUTE_TAG_INFO*>(out) = {FILE_ATTRIBUTE_REPARSE_POINT, tag};
                return TRUE;
            }
            return replacedGetFileInformationByHandleEx.original(file, kind, out, size);
        });
        if (link) {
            expectRefused();
            EXPECT_FALSE(fs::exists(path)) << "is left";
        } else if (FILE* log = openLogWithoutLinks(path.c_str())) {
            fclose(log);
            EXPECT_TRUE(fs::remove(path));
        } else {
            ADD_FAILURE() << tag;
        }
    }
    put("run.log", "kept");
    fs::create_hard_link(path, folder + "\\second");
    expectRefused();
    fs::remove(folder + "\\second");
    {
        OF_ANOTHER_NAME;
        expectRefused();
        EXPECT_EQ(read(path), "kept");
        fs::remove(path);
        expectRefused();
        EXPECT_FALSE(fs::exists(path)) << "is left";
    }
    // What the system cannot tell, as on some RAM disks, is no reason to refuse.
    FAILING(GetFileInformationByHandleEx, FALSE);
    FILE* log = openLogWithoutLinks(path.c_str());
    EXPECT_NE(log, nullptr);
    if (log) fclose(log);
}

#define EXPECT_NO_DEFAULT_LOG(room, ...)                    \
    {                                                       \
        FAILING(__VA_ARGS__);                               \
        char path[261] = "kept";                            \
        EXPECT_FALSE(buildDefaultLogPath("x", path, room)); \
        EXPECT_STREQ(path, "kept") << #__VA_ARGS__;         \
    }

TEST(DefaultLog, IsMissingWhenTheSystemFails) {
    EXPECT_NO_DEFAULT_LOG(261, LoadLibraryExA, nullptr);
    EXPECT_NO_DEFAULT_LOG(261, GetProcAddress, nullptr);
    EXPECT_NO_DEFAULT_LOG(261, GetShortPathNameA, 0);
    EXPECT_NO_DEFAULT_LOG(261, GetShortPathNameA, 261);        // what a longer one would need
    EXPECT_NO_DEFAULT_LOG(30, GetShortPathNameA, 0, NO_CALL);  // there is no room
    FAILING(GetSystemDirectoryA, 0);
    EXPECT_EQ(loadSystemLibrary("kernel32.dll"), nullptr);
}

TEST(DefaultLog, SeparatorAndTime) {
    char path[261] = "";
    // The length of the short form, which is left empty, decides about the backslash of "C:\\".
    for (const auto& [length, begin] : {std::pair(2u, "\\ZELKLOG\\x-"), {3u, "ZELKLOG\\x-"}}) {
        FAILING(GetShortPathNameA, length);
        EXPECT_TRUE(buildDefaultLogPath("x", path, sizeof path));
        EXPECT_TRUE(std::string(path).starts_with(begin)) << path;
    }
    // What the system is asked for, and that the time is the local one
    REPLACING(GetProcAddress, [](HMODULE, LPCSTR) {
        const auto find = +[](HWND, int folder, HANDLE, DWORD, LPSTR out) WINAPI {
            strcpy(out, folder == 5 ? "C:\\" : "not the documents");
            return HRESULT{0};
        };
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(find));
    });
    _putenv("TZ=ABC-11");
    _tzset();
    const time_t now = time(nullptr) + 11 * 3600;
    EXPECT_TRUE(buildDefaultLogPath("x", path, sizeof path));
    char stamp[100];
    strftime(stamp, sizeof stamp, " %H_", gmtime(&now));
    EXPECT_TRUE(std::string(path).starts_with("C:\\ZELKLOG\\x-")) << path;
    EXPECT_TRUE(strstr(path, stamp)) << path << stamp;
    _putenv("TZ=");
    _tzset();
    FAILING(GetSystemDefaultLangID, 1234);
    EXPECT_EQ(systemLanguageId(), 1234);
    const tm date = {4, 26, 2, 5, 10, 126, 4, 0, 0};
    char text[100];
    formatLogTime(date, text, sizeof text);
    EXPECT_STREQ(text, "Thu Nov  5 02_26_04 2026");
}

TEST(ProcessSetup, WhatTheProgramsThatAreStartedInherit) {
    char value[261];
    const auto read = [&](const char* name) {
        return GetEnvironmentVariableA(name, value, sizeof value) ? value : "";
    };
    const std::vector<const char*> paths = {"ComSpec",     "windir",         "SystemRoot",
                                            "SystemDrive", "ProgramFiles",   "CommonProgramFiles",
                                            "ProgramData", "ALLUSERSPROFILE"};
    const std::vector<const char*> removed = {"COR_PROFILER",       "CoreCLR_x",  "COMPlus_x",
                                              "DOTNET_x",           "COREHOST_x", "DOTNET_CHANGED",
                                              "AppDomain_Manager_x"};
    const std::vector<const char*> kept = {"CORRECT", "XDOTNET_", "DOTNET_MINE", "DOTNET_Windows"};
    std::vector<std::string> system;
    for (const char* name : paths) system.push_back(read(name));
    for (const auto& names : {paths, removed, kept})
        for (const char* name : names) SetEnvironmentVariableA(name, "planted");
    // Of the machine's own environment
    constexpr char KEY[] = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
    SetEnvironmentVariableA("DOTNET_Windows", (system[2] + "\\x").c_str());
    for (const auto& [name, data] : {std::pair("DOTNET_MINE", "planted"),
                                     {"DOTNET_CHANGED", "Planted"},
                                     {"DOTNET_Windows", "%SystemRoot%\\x"}})
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, KEY, name, *data == '%' ? REG_EXPAND_SZ : REG_SZ, data,
                        static_cast<DWORD>(strlen(data) + 1));
    SetErrorMode(0);
    prepareProcess();
    prepareFolderVariables();
    for (const char* name : {"DOTNET_MINE", "DOTNET_CHANGED", "DOTNET_Windows"})
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, KEY, name);
    for (size_t i = 0; i < paths.size(); ++i) EXPECT_EQ(read(paths[i]), system[i]) << paths[i];
    for (const char* name : removed) EXPECT_STREQ(read(name), "") << name;
    for (const char* name : kept) EXPECT_STRNE(read(name), "") << name;
    constexpr UINT NO_BOXES = SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX;
    EXPECT_EQ(GetErrorMode() & NO_BOXES, NO_BOXES);
}

}  // namespace

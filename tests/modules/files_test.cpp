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
#include "tests/modules/import_patch.h"

namespace {

namespace fs = std::filesystem;

class Files : public testing::Test {
  protected:
    Files() { createDirectoryTree(folder.c_str()); }
    ~Files() override { fs::remove_all(folder); }

    std::string put(const std::string& name, const std::string& content) const {
        std::ofstream(folder + '\\' + name) << content;
        return folder + '\\' + name;
    }
    static std::string read(const std::string& path) {
        std::ifstream file(path);
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
    fs::create_directory(folder + "\\x.eXe.d");
    const std::tuple<std::string, int, std::string> cases[] = {
        {folder, 0, folder + "\\ZEL"},  // in the long form
        {folder + "\\missing", -1, ""},
        {folder + "\\x.eXe.d", 0, ""},  // a command would be cut at the suffix
        {"C:\\" + std::string(270, 'x'), 0, ""}};
    for (const auto& [place, result, begin] : cases) {
        SetEnvironmentVariableA("TMP", place.c_str());
        char name[261] = "";
        EXPECT_EQ(makeTempFileName("ZELKRC", name), result) << place;
        EXPECT_TRUE(begin.empty() ? !*name : std::string(name).starts_with(begin)) << name;
    }
    SetEnvironmentVariableA("TMP", folder.c_str());
    HeldTemporaryFile file;
    {
        FAILING(CreateFileA, INVALID_HANDLE_VALUE, 1, ERROR_SHARING_VIOLATION);  // as of a scanner
        FAILING(GetLongPathNameW, 0);  // as where a link may be in the path
        ASSERT_TRUE(file.make("ZELKRC"));
    }
    const std::string path = file.path();
    EXPECT_TRUE(path.starts_with(folder)) << path;
    std::ofstream(path) << "a program";
    EXPECT_FALSE(MoveFileA(path.c_str(), (path + "x").c_str()));
    EXPECT_EQ(read(path), "") << "nobody fills the file while it is held";
    file.remove();
    EXPECT_FALSE(fs::exists(path));
    SetEnvironmentVariableA("TMP", CharUpperA(std::string(folder).data()));
    EXPECT_TRUE(file.make("ZELKRC"));
    EXPECT_FALSE(std::string(file.path()).starts_with(folder)) << "the path as it is written";
    // Final paths that are unknown, not local, no part of a command, and not in the code page
    for (const std::wstring place :
         {L"", L"C:\\", L"\\\\?\\UNC\\s\\", L"\\\\?\\C:\\x.exe.d\\", L"\\\\?\\C:\\\x2603\\"}) {
        REPLACING(GetFinalPathNameByHandleW, [&](HANDLE held, LPWSTR out, DWORD size, DWORD form) {
            replacedGetFinalPathNameByHandleW.original(held, out, size, form);
            const std::wstring final = place.empty() ? place : place + (wcsrchr(out, L'\\') + 1);
            out[final.copy(out, size)] = L'\0';
            return static_cast<DWORD>(final.size());
        });
        EXPECT_FALSE(HeldTemporaryFile().make("ZELKRC"));
    }
    for (const char* content : {"a program", ""}) {
        const std::string planted = put("planted", content);
        REPLACING(GetTempFileNameA, [&](LPCSTR in, LPCSTR prefix, UINT number, LPSTR out) {
            const UINT result = replacedGetTempFileNameA.original(in, prefix, number, out);
            DeleteFileA(out);
            return CreateHardLinkA(out, planted.c_str(), nullptr) ? result : 0;
        });
        EXPECT_FALSE(HeldTemporaryFile().make("ZELKRC")) << "a link in its place";
        EXPECT_EQ(read(planted), content);
    }
    SetEnvironmentVariableA("TMP", temporary);
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
        EXPECT_EQ(fs::file_size(path), 3u) << "the line end of a text file";
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
    // A folder that a cloud service synchronizes is itself; a junction leads to another one.
    const std::string path = folder + "\\run.log";
    for (const DWORD kind : {0x9000101Au, 0xA0000003u}) {
        REPLACING(GetFileInformationByHandle, [&](HANDLE file, BY_HANDLE_FILE_INFORMATION* out) {
            const BOOL done = replacedGetFileInformationByHandle.original(file, out);
            if (out->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                out->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
            return done;
        });
        REPLACING(GetFileInformationByHandleEx,
                  [&](HANDLE, FILE_INFO_BY_HANDLE_CLASS, LPVOID out, DWORD) {
                      static_cast<FILE_ATTRIBUTE_TAG_INFO*>(out)->ReparseTag = kind;
                      return TRUE;
                  });
        FILE* log = openLogWithoutLinks(path.c_str());
        EXPECT_EQ(log != nullptr, kind == 0x9000101A);
        if (log) fclose(log);
    }
    FAILING(GetFileInformationByHandle, FALSE);
    EXPECT_EQ(openLogWithoutLinks(path.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
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
    EXPECT_NO_DEFAULT_LOG(261, GetShortPathNameA, 261);     // what a longer one would need
    EXPECT_NO_DEFAULT_LOG(30, GetShortPathNameA, 0, 1000);  // does not fail, but there is no room
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
    const tm time = {4, 26, 2, 5, 10, 126, 4, 0, 0};
    char text[100];
    formatLogTime(time, text, sizeof text);
    EXPECT_STREQ(text, "Thu Nov  5 02_26_04 2026");
}

TEST(ProcessSetup, VariablesThatLoadLibrariesAreRemoved) {
    char value[261];
    const auto read = [&](const char* name) {
        return GetEnvironmentVariableA(name, value, sizeof value) ? value : "";
    };
    const std::vector<const char*> paths = {"ComSpec", "windir", "SystemRoot"};
    const std::vector<const char*> removed = {"COR_PROFILER", "CoreCLR_x", "COMPlus_x", "DOTNET_x"};
    const std::string longest = "COR_" + std::string(252, 'x');  // than a runtime's
    const std::vector<const char*> kept = {"CORRECT", "XDOTNET_", longest.c_str()};
    for (const auto& names : {paths, removed, kept})
        for (const char* name : names) SetEnvironmentVariableA(name, "planted");
    prepareProcess();
    for (const char* name : paths) EXPECT_TRUE(fs::exists(read(name))) << name;
    for (const char* name : removed) EXPECT_STREQ(read(name), "") << name;
    for (const char* name : kept) EXPECT_STREQ(read(name), "planted") << name;
}

}  // namespace

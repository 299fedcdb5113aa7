#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "run/run_log.h"
#include "services/file_system.h"
#include "services/log_file.h"
#include "services/process_setup.h"
#include "services/system_library.h"
#include "services/temporary_file.h"
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
    std::string link(const std::string& name, const std::string& target) const {
        const std::string path = folder + '\\' + name;
        EXPECT_TRUE(CreateHardLinkA(path.c_str(), target.c_str(), nullptr));
        return path;
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
    const std::string file = put("a file.txt", "x");
    for (const std::string& path : {file, '"' + file + '"', '"' + file, file + '"'}) {
        EXPECT_TRUE(fileExists(path.c_str())) << path;
        EXPECT_FALSE(directoryExists(path.c_str())) << path;
    }
    for (const std::string& path : {folder, '"' + folder + '"'}) {
        EXPECT_TRUE(directoryExists(path.c_str())) << path;
        EXPECT_FALSE(fileExists(path.c_str())) << path;
    }
    for (const std::string& path :
         {folder + "\\missing", "\"\"" + file, std::string(), std::string("\"")}) {
        EXPECT_FALSE(fileExists(path.c_str()) || directoryExists(path.c_str())) << path;
    }
}

TEST_F(Files, FolderTrees) {
    for (const std::string& tree : {folder + "\\a\\b b\\c", folder + "\\a\\b b\\d"}) {
        createDirectoryTree(tree.c_str());
        EXPECT_TRUE(directoryExists(tree.c_str()));
    }
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
        EXPECT_EQ(std::string(name).substr(0, begin.size()), begin);
        EXPECT_EQ(fileExists(name), !begin.empty()) << name;
    }
    SetEnvironmentVariableA("TMP", folder.c_str());
    {
        HeldTemporaryFile file;
        ASSERT_TRUE(file.make("ZELKRC"));
        const std::string path = file.path();
        EXPECT_EQ(path.substr(0, folder.size()), folder) << "as the variable has it";
        std::ofstream(path) << "a program";
        EXPECT_FALSE(MoveFileA(path.c_str(), (path + "x").c_str()));
        EXPECT_EQ(read(path), "") << "nobody fills the file while it is held";
        file.remove();
        EXPECT_FALSE(fileExists(path.c_str()));
    }
    FAILING(GetFinalPathNameByHandleW, 0);
    EXPECT_FALSE(HeldTemporaryFile().make("ZELKRC"));
    SetEnvironmentVariableA("TMP", temporary);
}

decltype(GetTempFileNameA)* nameFile;
std::string planted;  // stands in the place of the temporary file
UINT WINAPI nameAndReplace(LPCSTR folder, LPCSTR prefix, UINT number, LPSTR out) {
    const UINT result = nameFile(folder, prefix, number, out);
    DeleteFileA(out);
    CreateHardLinkA(out, planted.c_str(), nullptr);
    return result;
}

TEST_F(Files, TemporaryFileThatWasReplacedIsNone) {
    const PatchedImport patch("GetTempFileNameA", nameAndReplace);
    nameFile = patch.original<decltype(GetTempFileNameA)>();
    for (const char* content : {"a program", ""}) {
        planted = put("planted", content);
        EXPECT_FALSE(HeldTemporaryFile().make("ZELKRC")) << content;
        EXPECT_EQ(read(planted), content);
    }
}

TEST_F(Files, CopiesFollowNoLink) {
    const std::string source = put("tool", "new");
    const std::string target = put("target", "old");
    const std::string copy = link("copy.exe", target);
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

bool isInherited(FILE* file) {
    DWORD flags = 0;
    GetHandleInformation(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &flags);
    return (flags & HANDLE_FLAG_INHERIT) != 0;
}

TEST_F(Files, LogsAreEmptiedAndNotInherited) {
    for (const auto open : {openLog, openLogWithoutLinks}) {
        const std::string path = put("run.log", "an old and longer text");
        FILE* log = open(path.c_str());
        ASSERT_NE(log, nullptr);
        EXPECT_FALSE(isInherited(log));
        fputs("a\n", log);
        fflush(log);
        EXPECT_EQ(fs::file_size(path), 3u) << "the line end of a text file";
        fclose(log);
        SetLastError(ERROR_INVALID_DATA);  // of an earlier call
        EXPECT_EQ(open((folder + "\\missing\\run.log").c_str()), nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    }
}

TEST(DefaultLog, Path) {
    char path[261] = "kept";
    EXPECT_FALSE(buildDefaultLogPath("quenlet", path, 30));
    EXPECT_STREQ(path, "kept");
    EXPECT_TRUE(buildDefaultLogPath("quenlet", path, sizeof path));
    std::cmatch parts;
    ASSERT_TRUE(std::regex_match(
        path, parts,
        std::regex(R"((.+)\\ZELKLOG\\quenlet-\w{3} \w{3} [ \d]\d \d\d_\d\d_\d\d \d{4}\.log)")))
        << path;
    EXPECT_TRUE(directoryExists(parts.str(1).c_str())) << path;
    const tm time = {4, 26, 2, 5, 10, 126, 4, 0, 0};
    char text[100];
    formatLogTime(time, text, sizeof text);
    EXPECT_STREQ(text, "Thu Nov  5 02_26_04 2026");
}

#define EXPECT_NO_DEFAULT_LOG(...)                                 \
    {                                                              \
        FAILING(__VA_ARGS__);                                      \
        char path[261] = "kept";                                   \
        EXPECT_FALSE(buildDefaultLogPath("x", path, sizeof path)); \
        EXPECT_STREQ(path, "kept") << #__VA_ARGS__;                \
    }

TEST(DefaultLog, IsMissingWhenTheSystemFails) {
    EXPECT_NO_DEFAULT_LOG(LoadLibraryExA, nullptr);
    EXPECT_NO_DEFAULT_LOG(GetProcAddress, nullptr);
    EXPECT_NO_DEFAULT_LOG(GetShortPathNameA, 0);
    EXPECT_NO_DEFAULT_LOG(GetShortPathNameA, 261);  // what a longer one would need
    FAILING(GetSystemDirectoryA, 0);
    EXPECT_EQ(loadSystemLibrary("kernel32.dll"), nullptr);
}

TEST(ProcessSetup, VariablesThatLoadLibrariesAreRemoved) {
    const std::pair<const char*, bool> cases[] = {{"COR_PROFILER", false}, {"CoreCLR_x", false},
                                                  {"COMPlus_x", false},    {"DOTNET_x", false},
                                                  {"CORRECT", true},       {"XDOTNET_", true}};
    for (const auto& [name, stays] : cases) SetEnvironmentVariableA(name, "planted");
    for (const char* name : {"ComSpec", "windir", "SystemRoot"}) SetEnvironmentVariableA(name, "x");
    prepareProcess();
    char value[261];
    for (const auto& [name, stays] : cases)
        EXPECT_EQ(GetEnvironmentVariableA(name, value, sizeof value) > 0, stays) << name;
    for (const char* name : {"ComSpec", "windir", "SystemRoot"}) {
        GetEnvironmentVariableA(name, value, sizeof value);
        EXPECT_TRUE(fileExists(value) || directoryExists(value)) << value;
    }
}

}  // namespace

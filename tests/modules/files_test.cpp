#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "services/file_system.h"
#include "services/log_file.h"
#include "services/temporary_file.h"

namespace {

class Files : public testing::Test {
  protected:
    Files() { createDirectoryTree(folder.c_str()); }
    ~Files() override { std::filesystem::remove_all(folder); }
    const std::string folder = (std::filesystem::temp_directory_path() /
                                ("zelkpmreg files " + std::to_string(GetCurrentProcessId())))
                                   .string();
};

TEST_F(Files, FilesAndFolders) {
    const std::string file = folder + "\\a file.txt";
    std::ofstream(file) << "x";
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
    const std::tuple<std::string, int, std::string> cases[] = {
        {folder, 0, folder + "\\ZEL"},  // in the long form
        {folder + "\\missing", -1, ""},
        {"C:\\" + std::string(270, 'x'), 0, ""}};
    for (const auto& [place, result, begin] : cases) {
        SetEnvironmentVariableA("TMP", place.c_str());
        char name[261] = "";
        EXPECT_EQ(makeTempFileName("ZELKRC", name), result) << place;
        EXPECT_EQ(std::string(name).substr(0, begin.size()), begin);
        EXPECT_EQ(fileExists(name), name[0] != '\0') << name;
    }
    SetEnvironmentVariableA("TMP", temporary);
}

TEST_F(Files, ShortPaths) {
    char path[261];
    EXPECT_EQ(toShortPath(folder.c_str(), path), 0);
    EXPECT_TRUE(directoryExists(path) && !strchr(path, ' ')) << path;
    EXPECT_EQ(toShortPath((folder + "\\not there").c_str(), path), -1);
    EXPECT_EQ(path, folder + "\\not there");
}

TEST(LogFile, DefaultPath) {
    char path[261] = "kept";
    EXPECT_FALSE(buildDefaultLogPath("quenlet", path, 30));
    EXPECT_STREQ(path, "kept");
    EXPECT_TRUE(buildDefaultLogPath("quenlet", path, sizeof path));
    std::cmatch parts;
    ASSERT_TRUE(std::regex_match(
        path, parts,
        std::regex(R"(([^ ]+)\\ZELKLOG\\quenlet-\w{3} \w{3} [ \d]\d \d\d_\d\d_\d\d \d{4}\.log)")))
        << path;
    EXPECT_TRUE(directoryExists(parts.str(1).c_str())) << path;
}

TEST(LogFile, TimeInTheName) {
    const tm time = {4, 26, 2, 5, 10, 126, 4, 0, 0};
    char text[100];
    formatLogTime(time, text, sizeof text);
    EXPECT_STREQ(text, "Thu Nov  5 02_26_04 2026");
}

}  // namespace

// What rolls the package out: the command files of the folder deploy, run by the system's command
// processor, zelkpmutil files, and the data sources that zelkpmutil exports and imports.
#include <filesystem>
#include <fstream>
#include <map>

#include "services/owners.h"
#include "tests/program/machine.h"

namespace {

namespace fs = std::filesystem;
const std::string VIEW = sizeof(void*) == 8 ? "64-bit" : "32-bit",
                  OTHER_VIEW = sizeof(void*) == 8 ? "32-bit" : "64-bit";

class Rollout : public Machine {
  protected:
    Rollout() {
        copy(package);
        for (const char* part : {"\\deploy", "\\bin\\zelkpmutil.exe"})
            fs::copy(__argv[0] + "\\..\\..\\package"s + part, package + part,
                     fs::copy_options::overwrite_existing | fs::copy_options::recursive);
        write(package + "\\README.md", "new");
    }
    ~Rollout() override { fs::remove(log); }

    static void write(const std::string& path, const std::string& text) {
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    // Every file of a folder with its contents.
    static std::map<std::string, std::string> tree(const std::string& top) {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(top))
            if (entry.is_regular_file())
                files[entry.path().string().substr(top.size() + 1)] =
                    readFile(entry.path().string());
        return files;
    }
    void expect(int code, const std::string& command, const std::vector<std::string>& texts) const {
        fs::remove(log);
        const Result result = execute(command);
        const std::string output = result.console + readFile(log);
        EXPECT_EQ(result.code, code) << command << '\n' << output;
        for (const std::string& text : texts)
            EXPECT_NE(output.find(text), output.npos) << text << '\n' << output;
    }
    void deploy(int code, const std::string& file, const std::vector<std::string>& texts) const {
        const std::string from = file == "install" ? package : dir;
        expect(code, shell + '"' + from + "\\deploy\\" + file + ".cmd\" MYCOPY \"" + dir + "\"\"",
               texts);
    }
    void util(int code, const std::string& arguments, const std::vector<std::string>& texts,
              const std::string& of = "") const {
        expect(code, '"' + (of.empty() ? dir : of) + "\\bin\\zelkpmutil.exe\" " + arguments, texts);
    }
    static OwnedHandle hold(const std::string& path) {
        return ownFile(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                   OPEN_EXISTING, 0, nullptr));
    }

    const std::string windows = getenv("SystemRoot"),
                      shell = windows + "\\System32\\cmd.exe /s /c \"",
                      log = windows + "\\Logs\\zelkpmreg-install.log";
    const std::string package = scratch + "\\Setup (1) & two^3, x=y [a]!",
                      dir = scratch + "\\Copy (1) & two^3, x=y [a]!";
};

TEST_F(Rollout, InstallsUpgradesRepairsAndUninstalls) {
    deploy(0, "install", {"All parts are right (0).", "install.cmd ended with 0."});
    auto whole = tree(dir);
    whole.erase("deploy\\files.txt");
    EXPECT_TRUE(whole == tree(package));

    // An upgrade that was ended in the middle, a file of the site, and one that is no longer there.
    write(dir + "\\~old\\~\\bin\\zelkcli.dll", "old");
    write(dir + "\\~new\\~\\bin\\more.dll", "half");
    write(dir + "\\~new\\files.txt", "\"bin\\new.dll\"\n");
    write(dir + "\\bin\\new.dll", "new");
    write(dir + "\\bin\\site.ini", "site");
    fs::remove(dir + "\\bin\\zelkodbc.dll");
    fs::remove(package + "\\README.md");
    deploy(0, "install", {"All parts are right (0)."});
    auto upgraded = tree(dir);
    EXPECT_EQ(upgraded["bin\\site.ini"], "site");
    upgraded.erase("bin\\site.ini"), upgraded.erase("deploy\\files.txt");
    EXPECT_TRUE(upgraded == tree(package));

    expect(0, shell + '"' + dir + "\\deploy\\install.cmd\" MYCOPY \"" + dir + "\"\"",
           {"All parts"});
    deploy(0, "uninstall", {"Nothing is left (0).", "uninstall.cmd ended with 0."});
    EXPECT_EQ(tree(dir).size(), 1U);
    expect(0, shell + '"' + package + "\\deploy\\uninstall.cmd\" MYCOPY \"" + dir + "\"\"", {});
    // Registered, but the files are gone: not a success.
    deploy(0, "install", {});
    fs::rename(dir + "\\bin\\zelkpmutil.exe", scratch + "\\zelkpmutil.exe");
    deploy(2, "uninstall", {"MYCOPY is registered, but there is no"});
    deploy(0, "install", {});
    deploy(0, "uninstall", {});
}

TEST_F(Rollout, ChangesNothingWhenAFileIsInUseOrCannotBeWritten) {
    deploy(0, "install", {});
    write(package + "\\bin\\zelkcli.dll", "new");
    write(package + "\\bin\\aaa.dll", "new");
    const auto before = tree(dir);
    const Registry registered = readRegistry();
    const std::string library = dir + "\\bin\\zelkcli.dll";
    {
        const OwnedModule loaded(LoadLibraryExA(library.c_str(), nullptr, 0));
        ASSERT_TRUE(loaded);
        deploy(32, "install",
               {"1 of ", " files of the package are in use (32):\n\nbin\\zelkcli.dll\n",
                "install.cmd ended with 32."});
        deploy(32, "uninstall", {"bin\\zelkcli.dll\n"});
    }
    {
        const OwnedHandle held = hold(library);
        util(32, "files \"" + dir + '"', {"\nbin\\zelkcli.dll\n  in use"}, package);
        util(32, "files --json", {R"("file": "bin\\zelkcli.dll", "state": "inUse", "code": 32)"});
    }
    // What files does not look at stops the copying in the middle.
    for (const char* name : {"\\README.md", "\\~new"}) {
        if (!fs::exists(dir + name)) write(dir + name, "a file");
        const OwnedHandle held = hold(dir + name);
        deploy(29, "install", {"The files could not be written.", "install.cmd ended with 29."});
    }
    fs::remove(dir + "\\~new");
    EXPECT_TRUE(tree(dir) == before);
    EXPECT_EQ(readRegistry(), registered);
    SetFileAttributesA(library.c_str(), FILE_ATTRIBUTE_READONLY);
    util(0, "files", {" files, none in use (0).\n"});
    deploy(0, "uninstall", {});
}

TEST_F(Rollout, CarriesDataSourcesToTheDriverOfAMovedCopy) {
    const auto slashes = [](std::string path) {
        std::replace(path.begin(), path.end(), '\\', '/');
        return "ORVANE PELLIMAR for ODBC - " + path + '/';
    };
    const auto text = [](const std::string& key, const std::string& name, const std::string& data) {
        return Registry{key + " | " + name + " = 1:" + data + '\0'};
    };
    const auto sourceKey = [](const std::string& name) {
        return SOURCES.substr(0, SOURCES.rfind('\\') + 1) + MARK + name;
    };
    const std::string moved = scratch + "\\Moved", file = scratch + "\\a (1).reg";
    deploy(0, "install", {});
    Registry sources;
    for (const char* name : {" a]", " b \"e\"", " taken", " half"}) {
        sources.merge(text(SOURCES, MARK + name, slashes(dir)));
        sources.merge(text(sourceKey(name), "Driver", dir + "\\BIN\\zelkcli.dll"));
        sources.merge(text(sourceKey(name) + "\\below", MARK, "x\r\n\\\"y"));
    }
    put(sources);
    util(0, "sources export \"" + file + '"', {"4 system data sources were exported"});
    util(80, "sources export \"" + file + '"', {"Not exported: there is such a file (error 80)"});
    util(0, "sources import \"" + file + '"', {"imported DataSource        " + MARK + " a]"});
    deploy(0, "uninstall", {});

    fs::rename(package, moved);
    util(0, "register OTHER -i EN", {}, moved);
    put(text(SOURCES, MARK + " taken", "Another driver"));
    put(text(sourceKey(" half"), "Driver", "another"));
    util(1, "sources import \"" + file + '"',
         {"2 of 4 data sources were imported (1)", "the driver Another driver)",
          "REFUSED  DataSource        " + MARK + " half"},
         moved);
    const Registry after = readRegistry();
    for (const char* name : {" a]", " b \"e\""}) {
        for (const Registry& one : {text(SOURCES, MARK + name, slashes(moved)),
                                    text(sourceKey(name), "Driver", moved + "\\BIN\\zelkcli.dll"),
                                    text(sourceKey(name) + "\\below", MARK, "x\r\n\\\"y")})
            EXPECT_TRUE(after.contains(*one.begin())) << *one.begin();
    }
    EXPECT_TRUE(after.contains(*text(SOURCES, MARK + " taken", "Another driver").begin()));

    // Nothing else of a file, and no file of another form or view.
    const auto import = [&](int code, const std::string& content, const std::string& says) {
        std::string bytes = "\xFF\xFE";
        for (const char character : "Windows Registry Editor Version 5.00\r\n" + content)
            bytes += std::string{character, '\0'};
        write(file, bytes);
        util(code, "sources import \"" + file + '"', {says}, moved);
    };
    const std::string ini = "\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\ODBC\\ODBC.INI\\";
    import(0,
           ini + "ODBC Data Sources]\r\n\"" + MARK + " other\"=\"SQL Server\"\r\n" + ini + MARK +
               " other]\r\n\"x\"=\"y\"\r\n\r\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\" + MARK +
               "]\r\n\"x\"=\"y\"\r\n",
           "0 data sources were imported (0).");
    import(13, ini + "a]\r\n\"b\"=-\r\n", "Not a .reg file in UTF-16 (line 4)");
    import(50, "; view: " + OTHER_VIEW + "\r\n", "of the other registry view");
    import(1,
           "; view: " + VIEW + ini + "ODBC Data Sources]\r\n\"ODBC File DSN\"=\"" + slashes("x") +
               "\"\r\n",
           "(not a name of a data source)");
    EXPECT_EQ(readRegistry(), after);
    OwnedKey key;
    EXPECT_NE(
        RegOpenKeyExA(HKEY_LOCAL_MACHINE, ("SOFTWARE\\" + MARK).c_str(), 0, KEY_READ, key.put()),
        0);
}

TEST_F(Rollout, CountsTheDataSourcesOfUsers) {
    const char* list = "Software\\ODBC\\ODBC.INI\\ODBC Data Sources";
    for (const char* driver : {"ORVANE PELLIMAR for ODBC - C:/x/", "ORVANE PELLIMAR", "SQL Server"})
        RegSetKeyValueA(HKEY_CURRENT_USER, list, (MARK + driver).c_str(), REG_SZ, driver,
                        static_cast<DWORD>(strlen(driver)));
    char user[256] = "";
    DWORD size = sizeof user;
    GetUserNameA(user, &size);
    util(0, "list", {"loaded:\n    1  ", '\\' + std::string(user) + "\n\n"}, package);
    util(0, "list --json", {R"(", "count": 1})", "\"profilesNotRead\": 0"}, package);
    for (const char* driver : {"ORVANE PELLIMAR for ODBC - C:/x/", "ORVANE PELLIMAR", "SQL Server"})
        RegDeleteKeyValueA(HKEY_CURRENT_USER, list, (MARK + driver).c_str());
}

}  // namespace

// What programs without elevation can plant, and an elevated run must not start, load or empty.
#include <windows.h>

#include <winioctl.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "services/owners.h"
#include "tests/program/machine.h"

namespace {

namespace fs = std::filesystem;

// Points a folder to another one, as any user can on Windows; false where the system cannot.
bool makeJunction(const std::string& path, const std::string& target) {
    fs::create_directory(path);
    const std::wstring name = L"\\??\\" + fs::path(target).wstring();
    const auto bytes = static_cast<WORD>(name.size() * sizeof(wchar_t));
    const auto word = [](size_t value) { return static_cast<wchar_t>(value); };
    // REPARSE_DATA_BUFFER: tag, length, where the two names are, the names
    const std::wstring data = {
        word(0x0003), word(0xA000), word(bytes + 12u), 0, 0, word(bytes), word(bytes + 2u), 0};
    const std::wstring buffer = data + name + L'\0' + L'\0';
    const HANDLE folder =
        CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    DWORD size = 0;
    const bool made =
        DeviceIoControl(folder, FSCTL_SET_REPARSE_POINT, const_cast<wchar_t*>(buffer.data()),
                        bytes + 20u, nullptr, 0, &size, nullptr);
    CloseHandle(folder);
    return made;
}

class Attacks : public Machine {
  protected:
    Attacks() {
        copy(scratch + "\\Plants", {"plant.exe", "plant.dll"});
        fs::create_directories(att);
        std::ofstream(victim) << "kept";
    }
    ~Attacks() override {
        for (const auto& file : fs::recursive_directory_iterator(scratch))
            EXPECT_NE(file.path().extension(), ".mark") << "a plant was used: " << file.path();
        EXPECT_EQ(readFile(victim), "kept");
        for (const std::string& path : plants_) {
            execute('"' + path + '"');
            const OwnedModule library(LoadLibraryA(path.c_str()));
            char loaded[MAX_PATH] = "";
            GetModuleFileNameA(library.get(), loaded, MAX_PATH);
            // Wine 10 loads its own library of a name whatever the path is.
            if (library && _stricmp(loaded, path.c_str()) != 0) continue;
            EXPECT_TRUE(fs::exists(path + ".mark")) << "would not have worked: " << path;
        }
        for (const char* variable : {"TMP", "PATH", "ComSpec"})
            SetEnvironmentVariableA(variable, getenv(variable));
        fs::current_path(start_);
    }
    // Puts a program, or a library, where it must not be used. In the end it is used.
    std::string plant(const std::string& path, const std::string& kind = ".exe") {
        const std::string source = scratch + "\\Plants\\bin\\plant" + kind;
        EXPECT_TRUE(CopyFileA(source.c_str(), path.c_str(), FALSE)) << path;
        plants_.push_back(path);
        return path;
    }
    // With the log at its default place.
    Result runWithDefaultLog(const std::string& arguments) const {
        return execute('"' + folder + "\\bin\\zelkpmreg.exe\" -i EN " + arguments);
    }
    const std::string att = scratch + "\\att", victim = att + "\\victim";

    void race(bool byJunction);

  private:
    std::vector<std::string> plants_;
    const fs::path start_ = fs::current_path();
};

TEST_F(Attacks, ProgramsAndLibrariesOfTheUser) {
    for (const char* program : {"\\x.com", "\\regsvr32.exe"}) plant(att + program);
    fs::create_directory(att + "\\x.company");  // the command is cut after ".com"
    for (const char* library : {"\\ZELKOSSE.dll", "\\shfolder.dll", "\\odbccp32.dll"})
        plant(att + library, ".dll");
    fs::current_path(att);
    SetEnvironmentVariableA("TMP", (att + "\\x.company").c_str());
    SetEnvironmentVariableA("PATH", (att + ';' + getenv("PATH")).c_str());
    SetEnvironmentVariableA("ComSpec", plant(att + "\\processor.exe").c_str());
    EXPECT_EQ(runWithDefaultLog("-c MYCOPY").code, 0);
    EXPECT_FALSE(fs::is_empty(att + "\\x.company"));

    // A command that the command processor runs when it starts, before the pause. The user's own
    // key works in the same way, but another administrator could not put it back.
    constexpr char KEY[] = "SOFTWARE\\Microsoft\\Command Processor";
    char old[1024] = "";
    DWORD size = sizeof old;
    RegGetValueA(HKEY_LOCAL_MACHINE, KEY, "AutoRun", RRF_RT_REG_SZ, nullptr, old, &size);
    const std::string command = plant(att + "\\autorun.exe");
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, KEY, "AutoRun", REG_SZ, command.c_str(),
                    static_cast<DWORD>(command.size() + 1));
    EXPECT_TRUE(run("-c MYCOPY -p", {.input = "\n"}).inputWasRead);
    RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, KEY, "AutoRun");
    if (*old) RegSetKeyValueA(HKEY_LOCAL_MACHINE, KEY, "AutoRun", REG_SZ, old, size);
}

// Another program fills the new file and links its copy's name, or points the folder elsewhere.
// With -r there is time for it: the unregistration comes between the file and the command that
// names it.
void Attacks::race(bool byJunction) {
    const std::string program = plant(att + "\\program.exe"), junction = att + "\\junction";
    const std::string one = scratch + "\\temp", two = att + "\\two";
    fs::create_directory(two);
    if (byJunction && !makeJunction(junction, one)) GTEST_SKIP() << "There are no junctions here.";
    int planted = 0;
    for (int round = 0; round < 3; ++round) {
        if (byJunction) SetEnvironmentVariableA("TMP", junction.c_str());
        std::jthread racing([&](const std::stop_token& stop) {
            std::set<std::string> done;
            while (!stop.stop_requested()) {
                for (const auto& found : fs::directory_iterator(one)) {
                    const std::string name = found.path().filename().string();
                    if (!name.ends_with(".tmp") || !done.insert(name).second) continue;
                    const std::string file = (byJunction ? two : one) + '\\' + name;
                    CreateHardLinkA((file + ".exe").c_str(), victim.c_str(), nullptr);
                    CopyFileA(program.c_str(), file.c_str(), FALSE);
                    if (!byJunction) continue;
                    RemoveDirectoryA(junction.c_str());
                    makeJunction(junction, two);
                }
            }
        });
        EXPECT_EQ(run("-r -c MYCOPY").code, 0);
        racing = {};
        SetEnvironmentVariableA("TMP", one.c_str());
        if (byJunction && RemoveDirectoryA(junction.c_str())) makeJunction(junction, one);
        for (const std::string& place : {one, two}) {
            std::set<fs::path> files;  // as they are now
            for (const auto& found : fs::directory_iterator(place)) files.insert(found.path());
            for (const fs::path& file : files) {
                EXPECT_NE(file.extension(), ".mark") << "a plant was used";
                if (file.extension() != ".tmp") continue;
                execute('"' + file.string() + '"');  // shows that the plant would have run
                planted += fs::remove(file.string() + ".mark") && fs::remove(file);
            }
        }
    }
    EXPECT_GT(planted, 0) << "no race was won";
    RemoveDirectoryA(junction.c_str());
}

TEST_F(Attacks, RacesForTheTemporaryFile) {
    race(false);
}

TEST_F(Attacks, RacesForTheTemporaryFolder) {
    race(true);
}

TEST_F(Attacks, DefaultLogThatIsALink) {
    const std::string console = runWithDefaultLog("-u -c MYCOPY").console;
    const size_t end = console.find("\\quenlet-"), begin = console.rfind(":\\", end) - 1;
    ASSERT_NE(end, std::string::npos);
    const std::string logs = console.substr(begin, end - begin);
    const bool mine = CreateDirectoryA(logs.c_str(), nullptr) != FALSE;
    const std::string target = logs + "\\victim";  // on the same drive
    std::ofstream(target) << "kept";
    std::vector<std::string> links;
    for (time_t second = time(nullptr); links.size() < 60; ++second) {
        char stamp[40];
        strftime(stamp, sizeof stamp, "%a %b %d %H_%M_%S %Y", localtime(&second));
        if (stamp[8] == '0') stamp[8] = ' ';
        links.push_back(logs + "\\quenlet-" + stamp + ".log");
        if (CreateHardLinkA(links.back().c_str(), target.c_str(), nullptr)) continue;
        DeleteFileA(target.c_str());
        if (mine) RemoveDirectoryA(logs.c_str());
        GTEST_SKIP() << "The documents folder takes no hard links.";
    }
    const auto expectRefused = [&] {
        const Result result = runWithDefaultLog("-c MYCOPY");
        EXPECT_EQ(result.code, -111);
        EXPECT_EQ(result.console, "Could not open log file. error: 5");
        EXPECT_EQ(readRegistry(), Registry());
    };
    expectRefused();
    EXPECT_EQ(readFile(target), "kept");
    links.push_back(target);
    for (const std::string& link : links) DeleteFileA(link.c_str());
    if (!mine || !RemoveDirectoryA(logs.c_str()) || !makeJunction(logs, att)) return;
    expectRefused();
    RemoveDirectoryA(logs.c_str());
}

}  // namespace

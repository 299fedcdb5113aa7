// What zelkpmutil says of each part of a registration, whole and damaged. The steps that register
// a copy write it; the provider's class and the files are put there.
#include <filesystem>
#include <fstream>
#include <functional>

#include "admin/entry_owner.h"
#include "admin/parts.h"
#include "admin/without_record.h"
#include "odbc/odbc_keys.h"
#include "odbc/odbc_registration_step.h"
#include "registration/copy_record.h"
#include "registration/installed_copies_keys.h"
#include "registration/uninstall_entry.h"
#include "registration/uninstall_keys.h"
#include "services/files/image_file.h"
#include "services/text.h"
#include "tests/modules/registry_sandbox.h"

namespace {

namespace fs = std::filesystem;

constexpr char LONG_NAME[] = "_LONG_NAME_OF_64_CHARACTERS_456789012345678901234567890123456789";
constexpr WORD OTHER_MACHINE =
    sizeof(void*) == 8 ? IMAGE_FILE_MACHINE_I386 : IMAGE_FILE_MACHINE_AMD64;
const std::string CLASSES = "SOFTWARE\\Classes\\CLSID\\", UNINSTALL = UNINSTALL_KEY;
const std::string RECORD = INSTALLED_COPIES_KEY + "\\MYCOPY"s;

std::string text(const std::string& value) {
    return value + '\0';
}

void deleteValue(const std::string& key, const std::string& name) {
    EXPECT_EQ(RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str()), 0) << name;
}

class Parts : public RegistrySandbox {
  protected:
    Parts() {
        // As Windows writes it, because the temporary folder may be named in its short form.
        char found[PATH_BYTES] = "";
        GetLongPathNameA(fs::temp_directory_path().string().c_str(), found, sizeof found);
        root = found + "zelkpmutil "s + std::to_string(GetCurrentProcessId()) + '\\';
        dir = root + "Copy (1) & 100% [a] ^!\\", driver = formatDriver(dir);
        lay(dir);
    }
    ~Parts() override { fs::remove_all(root); }

    static std::string formatDriver(std::string folder) {
        replaceBackslashes(folder.data());
        return "ORVANE PELLIMAR for ODBC - " + folder;
    }
    static void image(const std::string& path, WORD machine = ownView().machine) {
        std::string file(128, '\0');
        file.replace(0, 2, "MZ"), file[60] = 64, file.replace(64, 2, "PE");
        file.replace(68, 2, reinterpret_cast<const char*>(&machine), 2);
        std::ofstream(path, std::ios::binary) << file;
    }
    static void lay(const std::string& folder) {
        fs::create_directories(folder + "bin");
        for (const char* file :
             {"zelkcli.dll", "zelkodbc.dll", "ZELKAPP.DLL", "orvanedazelk.dll", "zelkswtch.exe"})
            image(folder + "bin\\" + file);
        fs::copy_file(_pgmptr + "\\..\\..\\package\\bin\\zelkpmreg.exe"s,
                      folder + "bin\\zelkpmreg.exe");
    }
    static void registerCopy(const std::string& folder, const char* name, bool makeDefault) {
        outcomeOf([=] {
            formatText(displayName, sizeof displayName, DISPLAY_NAME_FORMAT, name);
            writeCopyRecord(0, folder.c_str(), name, makeDefault, false);
            OdbcRegistrationStep(0, folder.c_str(), false);
            writeUninstallEntry(0, folder.c_str(), name);
            return 0;
        });
    }
    static void registerProvider(const std::string& classId, const std::string& path) {
        putValue(CLASSES + classId + "\\InprocServer32", nullptr, REG_SZ, text(path));
    }
    void registerAll() {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE");
        fs::remove_all(root);
        lay(dir);
        registerCopy(dir, "MYCOPY", false);
        registerProvider("{A}", dir + "bin\\orvanedazelk.dll");
        putValue(UNINSTALL + "MYCOPY", "DisplayVersion", REG_SZ, text("10.1.2"));
    }

    // A line for each part: its name, its state, and what is said, with "*" for the folder.
    std::string check(const char* name = "MYCOPY", PartContext context = {}) {
        CopyList copies;
        listCopies(ownView(), copies);
        RegisteredCopy copy, other;
        findThisCopy(copies, dir.c_str(), name, copy, other);
        copy.view = view_;
        context.copy = &copy, context.copies = &copies;
        std::string lines;
        for (const Part& part : PARTS) {
            PartResult result;
            part.check(context, result);
            std::string said = result.text;
            for (size_t at; (at = said.find(dir)) != said.npos;) said.replace(at, dir.size(), "*");
            lines += part.name + " "s + partStateText(result.state) + ' ' + said + '\n';
        }
        return lines;
    }
    // Damages a whole registration, and expects the line of that part to begin so.
    void expect(const std::string& line, const std::function<void()>& damage,
                const PartContext& context = {}) {
        registerAll();
        damage();
        const std::string lines = check("MYCOPY", context);
        EXPECT_NE(("\n" + lines).find("\n" + line), lines.npos) << line << "\n" << lines;
    }
    // As expect, and all other parts are right.
    void expectOnly(const std::string& line, const std::function<void()>& damage,
                    const PartContext& context = {}) {
        expect(line, damage, context);
        size_t wrong = 0;
        std::istringstream lines(check("MYCOPY", context));
        for (std::string one; getline(lines, one);)
            wrong += one.find(" MISSING ") != one.npos || one.find(" WRONG ") != one.npos;
        EXPECT_EQ(wrong, line.find(" info ") == line.npos ? 1u : 0u) << line << "\n" << check();
    }
    std::string file(const std::string& name) const { return dir + "bin\\" + name; }

    std::string root, dir, driver;
    const View* view_ = &ownView();
};

TEST_F(Parts, OfAWholeRegistration) {
    const std::string machine = machineName(ownView().machine);
    const auto lines = [&](const std::string& name) {
        std::string all = "Record ok names this folder and is complete\nDriver ok " + driver;
        all += "\nDriverLibrary ok there, " + machine +
               ": *BIN\\zelkcli.dll\nSetupLibrary ok "
               "there, " +
               machine +
               ": *BIN\\zelkodbc.dll\nPoolingPerfMon ok the value exists\n"
               "PoolingRetryWait ok the value exists\nXA ";
        all += view_ == allViews().data()
                   ? "ok listed, and the library is there, " + machine + ": *BIN\\ZELKAPP.DLL"
                   : "info listed in the 32-bit view; the coordinator is a 64-bit program and "
                     "reads the 64-bit view";
        return all +
               "\nUninstallEntry ok command of this copy\nUninstallVersion ok 10.1.2, as "
               "bin\\zelkpmreg.exe\nOleDb ok server of class {A}: *bin\\orvanedazelk.dll\n"
               "DefaultCopy ok " +
               name + "; bin\\zelkswtch.exe is there\n";
    };
    registerAll();
    registerCopy(dir, LONG_NAME, true);
    putValue(UNINSTALL + LONG_NAME, "DisplayVersion", REG_SZ, text("10.1.2"));
    EXPECT_EQ(check(LONG_NAME), lines(LONG_NAME));
    // The class of the record decides before any other one.
    char id[39] = "";
    DWORD size = sizeof id;
    RegGetValueA(HKEY_LOCAL_MACHINE,
                 (INSTALLED_COPIES_KEY + "\\"s + LONG_NAME + OLEDB_SUBKEY).c_str(), "ORVANEDAZELK",
                 RRF_RT_ANY, nullptr, id, &size);
    registerProvider(id, dir + "BIN\\..\\bin\\orvanedazelk.dll");  // another spelling of the file
    EXPECT_NE(check(LONG_NAME).find("OleDb ok server of the class of the record: "),
              std::string::npos);
}

TEST_F(Parts, Damage) {
    const std::string drivers = INSTALLED_DRIVERS_KEY,
                      driverKey = ODBC_DRIVERS_KEY + "\\"s + driver;
    const std::string own = machineName(ownView().machine), other = machineName(OTHER_MACHINE);
    const auto without = [](const std::string& key, const char* value) {
        return [=] { deleteValue(key, value); };
    };
    const auto with = [](const std::string& key, const char* value, const std::string& data) {
        return [=] { putValue(key, value, REG_SZ, text(data)); };
    };
    const auto noFile = [this](const char* name) { return [=, this] { fs::remove(file(name)); }; };
    const auto noImage = [this](const char* name) {
        return [=, this] { std::ofstream(file(name)) << "MZ, but no program"; };
    };
    const auto otherImage = [this](const char* name) {
        return [=, this] { image(file(name), OTHER_MACHINE); };
    };

    expect("Record MISSING not there: ",
           [] { RegDeleteTreeA(HKEY_LOCAL_MACHINE, RECORD.c_str()); });
    expect("Record WRONG incomplete: no value \"Zelk Path Name\"", without(RECORD, PATH_VALUE));
    expect("Record WRONG names C:\\Other\\, expected *", with(RECORD, PATH_VALUE, "C:\\Other\\"));
    std::string plain =
        dir.substr(0, dir.size() - 1);  // the registration program wants a backslash
    expect("Record WRONG names ", with(RECORD, PATH_VALUE, plain));
    for (const char* value : {REMOTE_COPY_VALUE, CLIENT_ONLY_VALUE}) {
        const std::string line = "Record WRONG incomplete: \""s + value + "\" is not \"YES\"";
        expectOnly(line, without(RECORD, value));
        expectOnly(line, with(RECORD, value, "NO"));
    }
    for (const char* subkey : VERSION_SUBKEYS)
        for (const auto& value : VERSION_VALUES)
            expectOnly("Record WRONG incomplete: no value \""s + value.name + "\" in HKLM\\" +
                           RECORD + subkey + '\n',
                       without(RECORD + subkey, value.name));
    for (const char* value : OLEDB_VALUES)
        expectOnly("Record WRONG incomplete: no value \""s + value + '"',
                   without(RECORD + OLEDB_SUBKEY, value));

    expectOnly("Driver MISSING no value ", without(drivers, driver.c_str()));
    expectOnly("Driver WRONG Removed, expected ", with(drivers, driver.c_str(), "Removed"));
    for (const auto& [part, value, library] :
         {std::tuple("DriverLibrary", "Driver", "zelkcli.dll"),
          std::tuple("SetupLibrary", "Setup", "zelkodbc.dll")}) {
        const std::string name = part, path = library;
        expectOnly(name + " MISSING no value \"" + value, without(driverKey, value));
        expectOnly(name + " WRONG x\" & y.exe \", expected *BIN\\" + path,
                   with(driverKey, value, "x\" & y.exe \""));
        expectOnly(name + " MISSING file not found: *BIN\\" + path, noFile(library));
        expectOnly(name + " WRONG not a program or library: *BIN\\" + path, noImage(library));
        expectOnly(name + " WRONG " + other + ", expected " + own + ": *BIN\\" + path,
                   otherImage(library));
    }
    expectOnly("PoolingPerfMon MISSING no value ", without(POOLING_KEY, "PerfMon"));
    expectOnly("PoolingRetryWait MISSING no value ", without(POOLING_KEY, "RetryWait"));
    const std::string xa = dir + "BIN\\ZELKAPP.DLL";
    if (view_ == allViews().data()) {
        expectOnly("XA MISSING no value ", without(XA_LIBRARIES_KEY, xa.c_str()));
        expectOnly("XA MISSING file not found: ", noFile("ZELKAPP.DLL"));
        expectOnly("XA WRONG " + other + ", expected " + own, otherImage("ZELKAPP.DLL"));
        expectOnly("XA WRONG x, expected ", with(XA_LIBRARIES_KEY, xa.c_str(), "x"));
    } else {
        expectOnly("XA info not listed in the 32-bit view", without(XA_LIBRARIES_KEY, xa.c_str()));
    }

    const std::string entry = UNINSTALL + "MYCOPY";
    expect("UninstallEntry MISSING not there: ",
           [&] { RegDeleteTreeA(HKEY_LOCAL_MACHINE, entry.c_str()); });
    expectOnly("UninstallEntry WRONG incomplete: no value \"DisplayName\"",
               without(entry, "DisplayName"));
    expectOnly("UninstallEntry MISSING incomplete: no value \"UninstallString\"",
               without(entry, "UninstallString"));
    expectOnly("UninstallEntry WRONG y.exe, expected ", with(entry, "UninstallString", "y.exe"));
    expectOnly("UninstallEntry MISSING file not found: *bin\\zelkpmreg.exe", [&] {
        without(entry, "DisplayVersion")();
        fs::remove(file("zelkpmreg.exe"));
    });
    expectOnly("UninstallVersion info none; ", without(entry, "DisplayVersion"));
    expectOnly("UninstallVersion WRONG 10.1.1, expected 10.1.2",
               with(entry, "DisplayVersion", "10.1.1"));

    const std::string server = CLASSES + "{A}\\InprocServer32";
    expectOnly("OleDb MISSING no class of the ", without(server, ""));
    expectOnly("OleDb WRONG C:\\x\\ORVANEDAZELK.DLL, expected *bin\\orvanedazelk.dll",
               with(server, nullptr, "C:\\x\\ORVANEDAZELK.DLL"));
    expectOnly("OleDb MISSING file not found: ", noFile("orvanedazelk.dll"));
    expectOnly("OleDb WRONG " + other + ", expected " + own, otherImage("orvanedazelk.dll"));
    expectOnly("OleDb MISSING not registered: regsvr32.exe ended with 3 for *bin\\orvanedazelk.dll",
               [] {}, {.regsvr32Code = 3});
    expectOnly("OleDb info provided by OTHER: ", [&] {
        lay(root + "Other\\");
        registerCopy(root + "Other\\", "OTHER", false);
        registerProvider("{9}", "C:\\x\\orvanedazelk.dll");
        registerProvider("{A}", root + "Other\\bin\\orvanedazelk.dll");
        registerProvider("{B}", "C:\\y\\orvanedazelk.dll");
    });

    const std::string copies = INSTALLED_COPIES_KEY;
    expectOnly("DefaultCopy info (none)\n", [] {});
    expectOnly("DefaultCopy info OTHER\n", with(copies, DEFAULT_COPY_VALUE, "OTHER"));
    expectOnly("DefaultCopy MISSING (none), expected MYCOPY", [] {}, {.wantDefault = true});
    expectOnly("DefaultCopy WRONG OTHER, expected MYCOPY",
               with(copies, DEFAULT_COPY_VALUE, "OTHER"), {.wantDefault = true});
    expectOnly("DefaultCopy MISSING file not found: *bin\\zelkswtch.exe", [&] {
        with(copies, DEFAULT_COPY_VALUE, "mycopy")();
        fs::remove(file("zelkswtch.exe"));
    });
}

TEST_F(Parts, OwnerOfAnUninstallEntry) {
    const std::string own = dir + "bin\\zelkpmreg.exe -u -p -c MYCOPY",
                      name =
                          "Orvane Pellimar "
                          "Package - Remote - MYCOPY";
    const std::string elsewhere = "D:\\x\\bin\\zelkpmreg.exe -u -p -c MYCOPY";
    RegisteredCopy copy = {.view = &ownView(), .name = "MYCOPY", .dir = "", .isDefault = false};
    copyText(copy.dir, dir.c_str());
    const std::string key = UNINSTALL + "MYCOPY";
    EXPECT_EQ(findEntryOwner(copy), EntryOwner::NONE);
    makeKey(key);
    EXPECT_EQ(findEntryOwner(copy), EntryOwner::THIS_COPY) << "an empty one";
    makeKey(key + "\\below");
    EXPECT_EQ(findEntryOwner(copy), EntryOwner::OTHER_PRODUCT) << "with something else in it";
    const std::tuple<std::string, std::string, EntryOwner> cases[] = {
        {name, "", EntryOwner::THIS_COPY},
        {"", own, EntryOwner::THIS_COPY},
        {"Renamed by a site", own, EntryOwner::THIS_COPY},
        {name, "\"C:\\wrapper.exe\" MYCOPY", EntryOwner::THIS_COPY},
        {"", dir + "bin\\..\\bin\\zelkpmreg.exe -u -p -c mycopy", EntryOwner::THIS_COPY},
        {name, elsewhere, EntryOwner::OTHER_FOLDER},
        {"", elsewhere, EntryOwner::OTHER_FOLDER},
        {"7-Zip 24.09", "", EntryOwner::OTHER_PRODUCT},
        {"", "C:\\7z\\u.exe", EntryOwner::OTHER_PRODUCT},
        {name + "X", own + "X", EntryOwner::OTHER_PRODUCT},
        {"7-Zip 24.09", "bin\\zelkpmreg.exe -u -p -c MYCOPY", EntryOwner::OTHER_PRODUCT},
    };
    for (const auto& [display, command, owner] : cases) {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, key.c_str());
        if (!display.empty()) putValue(key, "DisplayName", REG_SZ, text(display));
        if (!command.empty()) putValue(key, "UninstallString", REG_SZ, text(command));
        EXPECT_EQ(findEntryOwner(copy), owner) << display << '|' << command;
    }
}

TEST_F(Parts, LeftAndWithoutARecord) {
    const auto left = [this] {
        RegisteredCopy copy = {.view = &ownView(), .name = "MYCOPY", .dir = "", .isDefault = false};
        copyText(copy.dir, dir.c_str());
        std::string names;
        for (const Part& part : PARTS) {
            char said[PART_TEXT_BYTES];
            if (part.isLeft && part.isLeft({.copy = &copy, .copies = nullptr}, said, sizeof said))
                names += part.name + " "s;
        }
        return names;
    };
    const auto lost = [] {
        CopyList copies;
        listCopies(ownView(), copies);
        List<LostPart> parts;
        findLostParts(ownView(), copies, parts);
        std::string lines;
        for (const LostPart& part : parts)
            lines +=
                std::to_string(static_cast<int>(part.kind)) + part.name + '(' + part.shown + ")\n";
        return lines;
    };
    registerAll();
    makeKey(UNINSTALL + "7-Zip");
    putValue(INSTALLED_DRIVERS_KEY, "Other driver", REG_SZ, text("Installed"));
    putValue(XA_LIBRARIES_KEY, "other.dll", REG_SZ, text("other.dll"));
    EXPECT_EQ(lost(), "");
    EXPECT_EQ(left(), "Record Driver XA UninstallEntry OleDb ");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, RECORD.c_str());
    EXPECT_EQ(lost(), "0" + driver + "()\n1MYCOPY(Orvane Pellimar Package - Remote - MYCOPY)\n2" +
                          dir + "BIN\\ZELKAPP.DLL()\n");
    deleteValue(INSTALLED_DRIVERS_KEY, driver);
    EXPECT_EQ(left(), "Driver XA UninstallEntry OleDb ") << "the driver's key is still there";
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, (ODBC_DRIVERS_KEY + "\\"s + driver).c_str());
    deleteValue(XA_LIBRARIES_KEY, dir + "BIN\\ZELKAPP.DLL");
    registerProvider("{A}", "C:\\x\\orvanedazelk.dll");
    EXPECT_EQ(left(), "UninstallEntry ");
    putValue(UNINSTALL + "MYCOPY", "DisplayName", REG_SZ, text("7-Zip 24.09"));
    putValue(UNINSTALL + "MYCOPY", "UninstallString", REG_SZ, text("C:\\7z\\u.exe"));
    EXPECT_EQ(left() + lost(), "");
}

TEST_F(Parts, CopyOfAFolder) {
    const auto find = [this](const char* name, std::string folder = "") {
        CopyList copies;
        listAllCopies(copies);
        RegisteredCopy copy, other;
        const CopyFound found =
            findThisCopy(copies, (folder.empty() ? dir : folder).c_str(), name, copy, other);
        return std::to_string(static_cast<int>(found)) + ' ' + copy.name + '|' +
               (copy.dir == dir ? "*" : copy.dir) + '|' + other.name;
    };
    const std::string record = INSTALLED_COPIES_KEY;
    EXPECT_EQ(find(""), "1 |*|");
    EXPECT_EQ(find("NEW"), "1 NEW|*|");
    putValue(record + "\\X -f", PATH_VALUE, REG_SZ, text(dir));
    EXPECT_EQ(find(""), "1 |*|") << "what follows the blank would be an option";
    EXPECT_EQ(find("NEW"), "1 NEW|*|");
    registerCopy(dir, "MYCOPY", false);
    registerCopy("C:\\Other\\", "OTHER", false);
    std::string upper = dir, below = dir + "bin\\..\\";
    CharUpperA(upper.data());
    for (const std::string& spelling : {dir, upper, below}) {
        EXPECT_EQ(find("", spelling), "0 MYCOPY|*|") << "the spelling of the registry";
        EXPECT_EQ(find("mycopy", spelling), "0 MYCOPY|*|");
        EXPECT_EQ(find("NEW", spelling), "3 NEW|*|MYCOPY");
        EXPECT_EQ(find("other", spelling), "2 OTHER|*|OTHER");
    }
    putValue(record + "\\SECOND", PATH_VALUE, REG_SZ, text(dir));
    EXPECT_EQ(find("MYCOPY"), "0 MYCOPY|*|SECOND");
    EXPECT_EQ(find("SECOND"), "0 SECOND|*|MYCOPY");
    EXPECT_EQ(find(""), "0 MYCOPY|*|SECOND");
    EXPECT_FALSE(isSameFolder("", "") || isSameFolder("", "C:\\"));
    EXPECT_TRUE(isSameFolder("Q:\\None\\", "q:\\NONE\\")) << "of folders that are not there";
}

}  // namespace

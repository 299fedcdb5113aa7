#include "services/registry.h"

#include "tests/modules/import_patch.h"
#include "tests/modules/registry_sandbox.h"

namespace {

class Registry : public RegistrySandbox {
  protected:
    uint32_t deleteTree(const char* path, const char* except = nullptr) {
        return registry.DeleteKeyTree(HKEY_LOCAL_MACHINE, path, 0, except);
    }
    ZELKiRegistry registry;
};

TEST_F(Registry, ResultsOfOpeningAndMaking) {
    makeKey("Plain");
    makeKeyWithout(KEY_SET_VALUE, "Guarded");
    makeKey("Volatile", REG_OPTION_VOLATILE);
    const std::string longest = std::string(128, 'a') + "\\" + std::string(129, 'b');
    const std::tuple<std::string, uint32_t, uint32_t> cases[] = {
        {"Plain", 0, 0},
        {"Guarded", ZELKI_REGISTRY_ERROR, ERROR_ACCESS_DENIED},
        {"Volatile\\Below", ZELKI_REGISTRY_ERROR, ZELKI_REGISTRY_ERROR},
        {longest, ZELKI_REGISTRY_ERROR, 0},
        {longest + "b", ZELKI_REGISTRY_ERROR, ZELKI_REGISTRY_ERROR}};
    for (const auto& [name, opened, made] : cases) {
        const char* path = name.c_str();
        EXPECT_EQ(registry.Open(HKEY_LOCAL_MACHINE, path, REGISTRY_WRITE), opened) << path;
        EXPECT_EQ(registry.IsOpen(), opened == 0) << path;
        EXPECT_EQ(registry.Create(HKEY_LOCAL_MACHINE, path, REGISTRY_WRITE, 0), made) << path;
        // After a failure nothing is held that a value could go into.
        EXPECT_EQ(registry.SetValue("V", "x", 2, REG_SZ), made ? ZELKI_REGISTRY_ERROR : 0);
        EXPECT_EQ(registry.DeleteValue("V"), made ? ZELKI_REGISTRY_ERROR : 0);
    }
    registry.Open(HKEY_LOCAL_MACHINE, "Plain", REGISTRY_READ);
    EXPECT_EQ(registry.SetValue("V", "x", 2, REG_SZ), DWORD{ERROR_ACCESS_DENIED});
    ZELKiCopyNameRegistry made(HKEY_LOCAL_MACHINE, "Made", true, nullptr, REGISTRY_READ, 0);
    EXPECT_EQ(made.SetValue("V", "x", 2, REG_SZ), 0u) << "a key that was made can be written to";
}

TEST_F(Registry, ValuesReadAsText) {
    const std::tuple<DWORD, std::string, size_t, std::string> cases[] = {
        {REG_BINARY, "YES", 3, "YE"},
        {REG_BINARY, "YES", 2, "unread"},
        {REG_DWORD, "AB\0\0"s, 261, "AB"},
        {REG_SZ, std::string(260, 'x') + '\0', 261, std::string(260, 'x')},
        {REG_SZ, "YES\0"s + std::string(258, 'x'), 261, "unread"}};  // longer than the buffer
    for (const auto& [type, data, room, expected] : cases) {
        std::string out(400, '#');
        putValue("K", "V", type, data);
        registry.Open(HKEY_LOCAL_MACHINE, "K", REGISTRY_READ);
        const bool read = readRegistryText(registry, "V", out.data(), room);
        EXPECT_EQ(read, expected != "unread") << expected;
        EXPECT_EQ(out.c_str(), read ? expected : "") << "type " << type;
        EXPECT_EQ(out[261], '#');
    }
}

TEST_F(Registry, CircularSearch) {
    for (const char* name : {"A", "B"}) putValue("K", name, REG_SZ, "x\0"s);
    putValue("K", "Long", REG_SZ, std::string(261, 'x'));
    putValue("K", "Next", REG_SZ, std::string(259, 'x') + '\0');
    registry.Open(HKEY_LOCAL_MACHINE, "K", REGISTRY_READ);
    bool found = true;
    // The name, where the search starts, and the index that it leaves: the start when it fails.
    const std::tuple<const char*, unsigned, unsigned> cases[] = {
        {"A", 0, 1}, {"B", 2, 2}, {"B", 9, 2}, {"b", 0, 0}, {"Long", 0, 0}, {"Next", 3, 4}};
    for (const auto& [name, start, end] : cases) {
        unsigned index = start;
        EXPECT_EQ(registry.FindValue(name, &found, &index), 0u);
        EXPECT_EQ(found, end != 0) << name;
        EXPECT_EQ(index, end) << name;
    }
    // Searches that could go on for ever: an error at every index, and a key that is gone
    unsigned index = 0;
    {
        FAILING(RegEnumValueA, ERROR_NO_SYSTEM_RESOURCES);
        registry.FindValue("X", &found, &index);
        EXPECT_LE(failingRegEnumValueA.calls, 2000);
    }
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "K");
    registry.FindValue("A", &found, &index);
    ZELKiRegistry().FindValue("A", &found, &index);
    EXPECT_FALSE(found);
}

TEST_F(Registry, DeletedTrees) {
    for (const char* path : {"T\\Keep\\In", "T\\A\\B\\C", "T\\A\\D", "T\\Z"}) makeKey(path);
    for (const char* path : {"", static_cast<const char*>(nullptr)})
        EXPECT_EQ(deleteTree(path), DWORD{ERROR_BADKEY});
    EXPECT_EQ(deleteTree("Missing"), DWORD{ERROR_FILE_NOT_FOUND});
    // A path that is empty once the name is in it is not the root key's.
    EXPECT_EQ(ZELKiCopyNameRegistry().DeleteKeyTree(HKEY_LOCAL_MACHINE, "$CurrentInstallationName$",
                                                    0, "", nullptr),
              DWORD{ERROR_BADKEY});
    // The key above a spared one cannot go, and its code is returned.
    EXPECT_EQ(deleteTree("T", "Keep"), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(keyExists("T\\Keep\\In"));
    EXPECT_FALSE(keyExists("T\\A") || keyExists("T\\Z"));
    EXPECT_EQ(deleteTree("T", ""), 0u);
    EXPECT_FALSE(keyExists("T"));
    // A subkey that cannot be read keeps the keys above it, at any depth, and that is no failure.
    // Its name is one character longer than Windows allows; Wine accepts it.
    OwnedKey damaged;
    makeKey("T\\Z");
    RegCreateKeyA(makeKey("T\\A\\B").get(), std::string(256, 'n').c_str(), damaged.put());
    EXPECT_EQ(deleteTree("T"), 0u);
    EXPECT_EQ(keyExists("T\\A\\B"), damaged.get() != nullptr);
    EXPECT_FALSE(keyExists("T\\Z"));
}

TEST_F(Registry, LinksGoAndTheirTargetsStay) {
    const auto link = [this](const std::string& path, const std::string& target) {
        const std::string whole = "\\Registry\\User\\" + scratch + target;
        const std::wstring wide(whole.begin(), whole.end());
        OwnedKey key;
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                        KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
        RegSetValueExW(key.get(), L"SymbolicLinkValue", 0, REG_LINK,
                       reinterpret_cast<const BYTE*>(wide.data()),
                       static_cast<DWORD>(wide.size() * sizeof(wchar_t)));
    };
    makeKey("Target\\Below");
    makeKey("T\\Deep");
    link("Top", "\\Target");
    link("T\\Out", "\\Target");
    link("T\\Deep\\Up", "\\T");
    ASSERT_TRUE(keyExists("T\\Out\\Below") && keyExists("T\\Deep\\Up\\Deep"));
    for (const char* path : {"T", "Top"}) {
        EXPECT_EQ(deleteTree(path), 0u);
        EXPECT_FALSE(keyExists(path, REG_OPTION_OPEN_LINK));
        EXPECT_TRUE(keyExists("Target\\Below"));
    }
}

}  // namespace

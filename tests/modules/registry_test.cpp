#include "services/registry.h"

#include "tests/modules/registry_sandbox.h"

namespace {

class Registry : public RegistrySandbox {
  protected:
    ZELKiRegistry registry;
};

TEST_F(Registry, ResultsOfOpeningAndMaking) {
    makeKey("Plain");
    makeKeyWithout(KEY_SET_VALUE, "Guarded");
    makeKey("Volatile", REG_OPTION_VOLATILE);
    const std::string longest = std::string(128, 'a') + "\\" + std::string(129, 'b');
    const std::tuple<std::string, uint32_t, uint32_t> cases[] = {
        {"Plain", 0, 0},
        {"New\\Nested", ZELKI_REGISTRY_ERROR, 0},
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
    }
    registry.Open(HKEY_LOCAL_MACHINE, "Plain", REGISTRY_READ);
    EXPECT_EQ(registry.SetValue("V", "x", 2, REG_SZ), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(registry.DeleteValue("V"), ZELKI_REGISTRY_ERROR);
    registry.Open(HKEY_LOCAL_MACHINE, "Plain", REGISTRY_WRITE);
    EXPECT_EQ(registry.DeleteValue("V"), 0u);
    EXPECT_EQ(registry.DeleteValue("V"), ZELKI_REGISTRY_ERROR);
    ZELKiCopyNameRegistry made(HKEY_LOCAL_MACHINE, "Made", true, nullptr, REGISTRY_READ, 0);
    EXPECT_EQ(made.SetValue("V", "x", 2, REG_SZ), 0u) << "a key that was made can be written to";
}

TEST_F(Registry, AdoptedKeysStayOpen) {
    const OwnedKey adopted = makeKey("Adopted");
    EXPECT_EQ(registry.Attach(adopted.get()), adopted.get());
    EXPECT_FALSE(registry.IsOpen());
    registry.Close();
    ZELKiRegistry().Attach(adopted.get());
    EXPECT_EQ(RegDeleteValueA(adopted.get(), "V"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, ValuesReadAsText) {
    const std::string longText(300, 'x');
    const std::tuple<DWORD, std::string, size_t, std::string> cases[] = {
        {REG_SZ, "YES\0"s, 261, "YES"},
        {REG_SZ, "2\0\0\0Fix Le"s, 261, "2"},
        {REG_BINARY, "YES", 261, "YES"},
        {REG_BINARY, "YES", 3, "YE"},
        {REG_DWORD, "AB\0\0"s, 261, "AB"},
        {REG_SZ, longText + '\0', 261, longText.substr(0, 260)},
        {REG_BINARY, longText, 261, longText.substr(0, 260)}};
    std::string out(400, '#');
    for (const auto& [type, data, room, expected] : cases) {
        putValue("K", "V", type, data);
        registry.Open(HKEY_LOCAL_MACHINE, "K", REGISTRY_READ);
        EXPECT_TRUE(readRegistryText(registry, "V", out.data(), room));
        EXPECT_EQ(out.c_str(), expected) << "type " << type;
        EXPECT_EQ(out[261], '#');
    }
    EXPECT_FALSE(readRegistryText(registry, "Missing", out.data(), 261));
    EXPECT_STREQ(out.c_str(), "");
}

TEST_F(Registry, CircularSearch) {
    for (const char* name : {"A", "B", "C"}) putValue("K", name, REG_SZ, "x\0"s);
    putValue("K", "Long", REG_SZ, std::string(261, 'x'));
    putValue("K", "Next", REG_SZ, std::string(259, 'x') + '\0');
    registry.Open(HKEY_LOCAL_MACHINE, "K", REGISTRY_READ);
    // The name, where the search starts, and the index that it leaves: the start when it fails.
    const std::tuple<const char*, unsigned, unsigned> cases[] = {
        {"A", 0, 1}, {"C", 1, 3},    {"A", 2, 1},    {"B", 9, 2},
        {"b", 0, 0}, {"Long", 0, 0}, {"Next", 4, 5}, {"X", 2, 2}};
    for (const auto& [name, start, end] : cases) {
        bool found = start == end;
        unsigned index = start;
        EXPECT_EQ(registry.FindValue(name, &found, &index), 0u);
        EXPECT_EQ(found, start != end) << name;
        EXPECT_EQ(index, end) << name;
    }
    // A key that goes while it is held must not be searched for ever.
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "K");
    bool found = true;
    unsigned index = 0;
    registry.FindValue("A", &found, &index);
    EXPECT_FALSE(found);
}

TEST_F(Registry, DeletedTrees) {
    for (const char* path : {"T\\Keep\\In", "T\\A\\B\\C", "T\\A\\D", "T\\Z"}) makeKey(path);
    const auto deleteTree = [this](const char* path, const char* except) {
        return registry.DeleteKeyTree(HKEY_LOCAL_MACHINE, path, 0, except);
    };
    EXPECT_EQ(deleteTree("", nullptr), DWORD{ERROR_BADKEY});
    EXPECT_EQ(deleteTree(nullptr, nullptr), DWORD{ERROR_BADKEY});
    EXPECT_EQ(deleteTree("Missing", nullptr), DWORD{ERROR_FILE_NOT_FOUND});
    // The key above a spared one cannot go, and that is what is told.
    EXPECT_EQ(deleteTree("T", "Keep"), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(keyExists("T\\Keep\\In"));
    EXPECT_FALSE(keyExists("T\\A") || keyExists("T\\Z"));
    EXPECT_EQ(deleteTree("T", ""), 0u);
    EXPECT_FALSE(keyExists("T"));
    // A subkey that cannot be read keeps the keys above it, at any depth, and that is no failure.
    // Its name is one character longer than Windows allows; Wine has it.
    OwnedKey damaged;
    makeKey("T\\Z");
    RegCreateKeyA(makeKey("T\\A\\B").get(), std::string(256, 'n').c_str(), damaged.receive());
    EXPECT_EQ(deleteTree("T", nullptr), 0u);
    EXPECT_TRUE(keyExists("T\\A\\B"));
    EXPECT_FALSE(keyExists("T\\Z"));
}

}  // namespace

// HKEY_LOCAL_MACHINE as a test sees it: an empty key of its own, for this process only.
#pragma once

#include <windows.h>

#include <sddl.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "run/run_settings.h"
#include "services/owners.h"
#include "tests/support/names.h"

using namespace std::string_literals;

class RegistrySandbox : public testing::Test {
  protected:
    RegistrySandbox() {
        resetRunSettings();
        RegCreateKeyA(HKEY_USERS, scratch.c_str(), key_.put());
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, key_.get());
    }
    ~RegistrySandbox() override {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegDeleteTreeA(HKEY_USERS, scratch.c_str());
    }
    const std::string scratch =
        ".DEFAULT\\Software\\zelkpmreg-tests-" + std::to_string(GetCurrentProcessId());

  private:
    OwnedKey key_;
};

// What a step returns and prints: without a message library, "[NAME] arguments" on each line.
using Outcome = std::pair<uint32_t, std::string>;
template <typename Step>
Outcome outcomeOf(Step step) {
    testing::internal::CaptureStdout();
    const uint32_t result = step();
    return {result, withNames(testing::internal::GetCapturedStdout())};
}

inline OwnedKey makeKey(const std::string& path, DWORD options = REG_OPTION_NON_VOLATILE) {
    OwnedKey key;
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, options, MAXIMUM_ALLOWED, nullptr,
                    key.put(), nullptr);
    return key;
}

// Makes a key that grants nobody the rights denied.
inline void makeKeyWithout(REGSAM denied, const std::string& path) {
    const std::string rules = "D:P(A;;" + std::to_string(KEY_ALL_ACCESS & ~denied) + ";;;WD)";
    PSECURITY_DESCRIPTOR security = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(rules.c_str(), SDDL_REVISION_1, &security,
                                                         nullptr);
    RegSetKeySecurity(makeKey(path).get(), DACL_SECURITY_INFORMATION, security);
    LocalFree(security);
}

// data has its terminating zero, where there is to be one, inside; a zero behind it would be
// stored.
inline void putValue(const std::string& path, const char* name, DWORD type,
                     const std::string& data) {
    const std::string padded = data + 'Z';
    RegSetValueExA(makeKey(path).get(), name, 0, type, reinterpret_cast<const BYTE*>(padded.data()),
                   static_cast<DWORD>(data.size()));
}

// With REG_OPTION_OPEN_LINK also for a link without a target.
inline bool keyExists(const std::string& path, DWORD options = 0) {
    OwnedKey key;
    return RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), options, READ_CONTROL, key.put()) == 0;
}

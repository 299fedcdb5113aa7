// Makes the system fail: puts a function of the tests in the place of an imported one.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

// Where a module (null: the program) keeps the address of what it imports by that name; null when
// nothing is imported.
template <typename Function>
Function** findImport(const char* importer, const char* name) {
    const auto base = reinterpret_cast<char*>(GetModuleHandleA(importer));
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto library =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        auto names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto places = reinterpret_cast<Function**>(base + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++places) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const auto entry =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) return places;
        }
    }
    return nullptr;
}

// Replaces what a module imports, and returns what it was. Ends the program when nothing is
// imported, because the test would then test nothing.
template <typename Function>
Function* replaceImport(const char* importer, const char* name, Function* function) {
    Function** const place = findImport<Function>(importer, name);
    if (!place) abort();
    DWORD protection = 0;
    VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection);
    Function* const original = std::exchange(*place, function);
    VirtualProtect(place, sizeof *place, protection, &protection);
    return original;
}

constexpr int EACH_CALL = 0;
constexpr int NO_CALL = -1;

// For as long as the object lives, a lambda takes the place of a function that the test program, or
// another module, imports; or one call of it, counted from 1, or each of them, gives a result
// instead of doing its work. Each object has a tag of its own.
template <typename Function, typename Tag>
class ReplacedImport;

template <typename Result, typename... Arguments, typename Tag>
class ReplacedImport<Result WINAPI(Arguments...), Tag> {
  public:
    using Hook = std::function<Result(Arguments...)>;
    ReplacedImport(const char* name, Hook hook, const char* importer = nullptr)
        : name_(name), importer_(importer) {
        hook_ = std::move(hook);
        original = replaceImport(importer, name, run);
    }
    ReplacedImport(const char* name, Result result, int call = EACH_CALL, DWORD error = 0,
                   const char* importer = nullptr)
        : ReplacedImport(
              name,
              [=, this](Arguments... arguments) {
                  if (++calls != call && call != EACH_CALL) return original(arguments...);
                  SetLastError(error);
                  return result;
              },
              importer) {}
    ReplacedImport(const ReplacedImport&) = delete;
    ReplacedImport& operator=(const ReplacedImport&) = delete;
    ~ReplacedImport() { replaceImport(importer_, name_, original); }

    Result(WINAPI* original)(Arguments...);
    int calls = 0;

  private:
    static inline Hook hook_;
    static Result WINAPI run(Arguments... arguments) { return hook_(arguments...); }

    const char* const name_;
    const char* const importer_;
};

#define REPLACING_AS(object, function, ...) \
    ReplacedImport<decltype(function), decltype([] {})> object = {#function, __VA_ARGS__}
#define REPLACING(function, ...) REPLACING_AS(replaced##function, function, __VA_ARGS__)
#define COUNTING(function) REPLACING_AS(counted##function, function, {}, NO_CALL)
#define FAILING(function, ...) REPLACING_AS(failing##function, function, __VA_ARGS__)

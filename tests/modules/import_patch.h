// Makes the system fail: puts a function of the tests in the place of one that a module imports,
// for all code that is linked into that module, which is the test program unless another is named.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>

// The place of a module's import table that holds the function's address. Ends the program when the
// module does not import the function, because the test would then test nothing.
inline void** findImport(const char* name, HMODULE module) {
    const auto base = reinterpret_cast<char*>(module);
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto library =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        auto names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto places = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++places) {
            if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
            const auto entry =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) return places;
        }
    }
    abort();
}

// Replaces the function for as long as the object lives.
template <typename Function>
class PatchedImport {
  public:
    PatchedImport(const char* name, Function* replacement, HMODULE module)
        : place_(findImport(name, module)), original(reinterpret_cast<Function*>(*place_)) {
        write(replacement);
    }
    PatchedImport(const PatchedImport&) = delete;
    PatchedImport& operator=(const PatchedImport&) = delete;
    ~PatchedImport() { write(original); }

  private:
    void write(Function* address) {
        DWORD protection = 0;
        VirtualProtect(place_, sizeof *place_, PAGE_READWRITE, &protection);
        *place_ = reinterpret_cast<void*>(address);
        VirtualProtect(place_, sizeof *place_, protection, &protection);
    }

    void** const place_;

  public:
    Function* const original;
};

constexpr int EACH_CALL = 0;

// Replaces a function of the system by what a lambda does, or makes one call of it, counted from 1,
// or each of them, give a result instead of doing its work. Each object has a tag of its own.
template <typename Function, typename Tag>
class ReplacedImport;

template <typename Result, typename... Arguments, typename Tag>
class ReplacedImport<Result WINAPI(Arguments...), Tag> {
  public:
    using Hook = std::function<Result(Arguments...)>;
    ReplacedImport(const char* name, Hook hook, HMODULE module = GetModuleHandleA(nullptr))
        : patch_(name, run, module) {
        hook_ = std::move(hook);
    }
    ReplacedImport(const char* name, Result result, int call = EACH_CALL, DWORD error = 0,
                   HMODULE module = GetModuleHandleA(nullptr))
        : ReplacedImport(
              name,
              [=, this](Arguments... arguments) {
                  if (++calls != call && call != EACH_CALL) return original(arguments...);
                  SetLastError(error);
                  return result;
              },
              module) {}
    Result original(Arguments... arguments) const { return patch_.original(arguments...); }

    int calls = 0;

  private:
    static inline Hook hook_;
    static Result WINAPI run(Arguments... arguments) { return hook_(arguments...); }

    const PatchedImport<Result WINAPI(Arguments...)> patch_;
};

#define REPLACING(function, ...)                                             \
    ReplacedImport<decltype(function), decltype([] {})> replaced##function { \
#function, __VA_ARGS__                                               \
    }
#define FAILING(function, ...)                                              \
    ReplacedImport<decltype(function), decltype([] {})> failing##function { \
#function, __VA_ARGS__                                              \
    }

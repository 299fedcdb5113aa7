// Makes the system fail: puts a function of the tests in the place of an imported one, for all code
// that is linked into the test program.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <utility>

// The place of the test program's import table that holds the function's address. Ends the program
// when nothing imports the function, because the test would then test nothing.
inline void** findImport(const char* name) {
    const auto base = reinterpret_cast<char*>(GetModuleHandleA(nullptr));
    const auto dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    auto library =
        reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; library->Name != 0; ++library) {
        auto names = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto places = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++places) {
            const auto entry =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
            if (strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0) return places;
        }
    }
    abort();
}

// Replaces the function for as long as the object lives.
class PatchedImport {
  public:
    template <typename Function>
    PatchedImport(const char* name, Function* replacement)
        : place_(findImport(name)), original_(*place_) {
        write(reinterpret_cast<void*>(replacement));
    }
    PatchedImport(const PatchedImport&) = delete;
    PatchedImport& operator=(const PatchedImport&) = delete;
    ~PatchedImport() { write(original_); }

    template <typename Function>
    Function* original() const {
        return reinterpret_cast<Function*>(original_);
    }

  private:
    void write(void* address) {
        DWORD protection = 0;
        VirtualProtect(place_, sizeof *place_, PAGE_READWRITE, &protection);
        *place_ = address;
        VirtualProtect(place_, sizeof *place_, protection, &protection);
    }

    void** place_;
    void* original_;
};

constexpr int EACH_CALL = 0;

// Makes one call of a system function, counted from 1, or each of them, give a result of the test's
// instead of doing its work. One object for each type of function at a time.
template <typename Function>
class FailingImport;

template <typename Result, typename... Arguments>
class FailingImport<Result WINAPI(Arguments...)> {
  public:
    FailingImport(const char* name, Result result, int call = EACH_CALL, DWORD error = 0)
        : patch_(name, fail) {
        state = {patch_.template original<Result WINAPI(Arguments...)>(), result, call, error, 0};
    }
    static int calls() { return state.calls; }

  private:
    struct State {
        Result(WINAPI* original)(Arguments...);
        Result result;
        int failing;
        DWORD error;
        int calls;
    };
    static inline State state;

    static Result WINAPI fail(Arguments... arguments) {
        ++state.calls;
        if (state.failing != EACH_CALL && state.calls != state.failing) {
            return state.original(arguments...);
        }
        SetLastError(state.error);
        return state.result;
    }

    PatchedImport patch_;
};

#define FAILING(function, ...) \
    const FailingImport<decltype(function)> failing_##function(#function, __VA_ARGS__)

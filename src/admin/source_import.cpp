#include "admin/source_import.h"

#include <algorithm>
#include <cwchar>

#include "admin/data_sources.h"
#include "admin/view.h"
#include "odbc/attribute_list.h"
#include "odbc/odbc_keys.h"
#include "run/package_names.h"
#include "services/owners.h"
#include "services/path.h"
#include "services/same_name.h"
#include "services/text.h"
#include "services/wide_text.h"

namespace {

constexpr wchar_t ROOT_NAME[] = L"HKEY_LOCAL_MACHINE";
constexpr size_t NAME_CHARACTERS = 256;  // the longest name of a key, with its zero
constexpr DWORD MOST_BYTES = 16 << 20;

bool isSame(const wchar_t* left, size_t length, const wchar_t* right) {
    return CompareStringOrdinal(left, static_cast<int>(length), right, -1, TRUE) == CSTR_EQUAL;
}

// What is behind "prefix\" in a path; null when it begins in another way.
const wchar_t* skipKey(const wchar_t* path, const wchar_t* prefix) {
    const size_t length = wcslen(prefix);
    if (!path || wcslen(path) <= length || path[length] != L'\\') return nullptr;
    return isSame(path, length, prefix) ? path + length + 1 : nullptr;
}

// The path below the key of the data sources, or null.
const wchar_t* belowSources(const wchar_t* path) {
    return skipKey(skipKey(path, ROOT_NAME), SOURCES_PATH);
}

struct Source {
    wchar_t name[NAME_CHARACTERS];
    SourceOutcome outcome;
    DWORD error;
    wchar_t detail[NAME_CHARACTERS];
};

class Importer {
  public:
    Importer(const List<RegistryCharacter>& text, const char* driver, const char* library)
        : text_(text) {
        toWide(driver, driver_);
        toWide(library, library_);
        char prefix[64];
        formatText(prefix, sizeof prefix, "%s - ", DRIVER_NAME_PREFIX);
        toWide(prefix, prefix_);
        openKey(SOURCES_PATH, sources_);
        openKey(SOURCE_LIST, list_, sources_.get());
    }

    void run(ImportReceiver receive, void* context) {
        findSources();
        writeKeys();
        for (Source& source : found_) {
            if (source.outcome == SourceOutcome::IMPORTED) completeSource(source);
            report(source, receive, context);
        }
    }

  private:
    static DWORD openKey(const wchar_t* path, OwnedKey& key, HKEY root = HKEY_LOCAL_MACHINE) {
        return static_cast<DWORD>(RegCreateKeyExW(root, path, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                                                  nullptr, key.put(), nullptr));
    }

    // The list names the data sources and their drivers.
    void findSources() {
        RegistryFile file(text_.begin(), text_.count());
        bool inList = false;
        for (;;) {
            const RegistryFile::Item item = file.next();
            if (item == RegistryFile::Item::END || item == RegistryFile::Item::INVALID) return;
            if (item == RegistryFile::Item::KEY) {
                const wchar_t* below = belowSources(file.key());
                inList = below && isSameName(below, SOURCE_LIST);
            } else if (item == RegistryFile::Item::VALUE && inList && isOurs(file)) {
                addSource(file.name());
            }
        }
    }

    // True for a text that begins as the description of every driver of the package.
    bool isOurs(const RegistryFile& file) const {
        const size_t length = wcslen(prefix_);
        if (file.type() != REG_SZ || file.size() < length * sizeof(wchar_t)) return false;
        return isSame(reinterpret_cast<const wchar_t*>(file.data()), length, prefix_);
    }

    void addSource(const wchar_t* name) {
        if (findSource(name, wcslen(name))) return;
        Source source = {};
        const bool fits = wcslen(name) < NAME_CHARACTERS;
        wcsncpy(source.name, name, NAME_CHARACTERS - 1);
        source.outcome = SourceOutcome::BAD_NAME;
        if (fits && isSourceName(name)) decide(source);
        found_.add(source);
    }

    // A data source that is there is changed only if it is one of this driver.
    void decide(Source& source) const {
        DWORD size = sizeof source.detail - sizeof(wchar_t);
        DWORD type = 0;
        const LSTATUS status = RegQueryValueExW(list_.get(), source.name, nullptr, &type,
                                                reinterpret_cast<BYTE*>(source.detail), &size);
        const bool isListed = status != ERROR_FILE_NOT_FOUND;
        source.outcome = SourceOutcome::IMPORTED;
        if (isListed &&
            (status != ERROR_SUCCESS || type != REG_SZ || !isSameName(source.detail, driver_))) {
            source.outcome = SourceOutcome::OTHER_DRIVER;
        } else if (!isListed && hasOtherLibrary(source.name)) {
            source.outcome = SourceOutcome::KEY_IN_USE;
        }
    }

    // True for a key with another library than the driver's. The key of a data source can be there
    // without its entry: the removal of a data source leaves one that has subkeys.
    bool hasOtherLibrary(const wchar_t* name) const {
        wchar_t text[1024];
        char library[1024];
        DWORD size = sizeof text;
        const LSTATUS status =
            RegGetValueW(sources_.get(), name, L"Driver", RRF_RT_REG_SZ, nullptr, text, &size);
        if (status == ERROR_FILE_NOT_FOUND) return false;
        if (status != ERROR_SUCCESS || !toAnsi(text, library)) return true;
        const char* last = findLastBackslash(library);
        return !isSameName(last ? last + 1 : library, DRIVER_FILE);
    }

    Source* findSource(const wchar_t* name, size_t length) {
        Source* const source = std::find_if(found_.begin(), found_.end(), [&](const Source& one) {
            return isSame(name, length, one.name);
        });
        return source == found_.end() ? nullptr : source;
    }

    // Writes the keys of the data sources that are imported, and no others.
    void writeKeys() {
        RegistryFile file(text_.begin(), text_.count());
        OwnedKey key;
        Source* source = nullptr;
        for (;;) {
            const RegistryFile::Item item = file.next();
            if (item == RegistryFile::Item::END || item == RegistryFile::Item::INVALID) return;
            if (item == RegistryFile::Item::KEY) {
                source = openSourceKey(file.key(), key);
            } else if (item == RegistryFile::Item::VALUE && source) {
                writeValue(key.get(), file, *source);
            }
        }
    }

    // The data source to which the key belongs; null when its values are not to be written.
    Source* openSourceKey(const wchar_t* path, OwnedKey& key) {
        const wchar_t* below = belowSources(path);
        if (!below) return nullptr;
        Source* source = findSource(below, wcscspn(below, L"\\"));
        if (!source || source->outcome != SourceOutcome::IMPORTED) return nullptr;
        const DWORD error = openKey(below, key, sources_.get());
        if (error == ERROR_SUCCESS) return source;
        fail(*source, error);
        return nullptr;
    }

    static void fail(Source& source, DWORD error) {
        source.outcome = SourceOutcome::FAILED;
        source.error = error;
    }

    static void writeValue(HKEY key, const RegistryFile& file, Source& source) {
        if (source.outcome != SourceOutcome::IMPORTED) return;
        // Links could lead the data source to any other key.
        const LSTATUS status = file.type() == REG_LINK
                                   ? ERROR_NOT_SUPPORTED
                                   : RegSetValueExW(key, file.name(), 0, file.type(), file.data(),
                                                    static_cast<DWORD>(file.size()));
        if (status != ERROR_SUCCESS) fail(source, static_cast<DWORD>(status));
    }

    static LSTATUS writeText(HKEY key, const wchar_t* name, const wchar_t* text) {
        const auto size = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
        return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
    }

    // The entry of the list comes last: without it the key is a data source for nobody.
    void completeSource(Source& source) const {
        OwnedKey key;
        auto status = static_cast<LSTATUS>(openKey(source.name, key, sources_.get()));
        if (status == ERROR_SUCCESS) status = writeText(key.get(), L"Driver", library_);
        if (status == ERROR_SUCCESS) status = writeText(list_.get(), source.name, driver_);
        if (status != ERROR_SUCCESS) fail(source, static_cast<DWORD>(status));
    }

    static void report(const Source& source, ImportReceiver receive, void* context) {
        char name[4 * NAME_CHARACTERS];
        char detail[4 * NAME_CHARACTERS];
        toAnsi(source.name, name);
        toAnsi(source.detail, detail);
        receive(context, {name, source.outcome, source.error, detail});
    }

    const List<RegistryCharacter>& text_;
    wchar_t driver_[512] = L"";
    wchar_t library_[LIBRARY_PATH_BYTES] = L"";
    wchar_t prefix_[64] = L"";
    OwnedKey sources_;
    OwnedKey list_;
    List<Source> found_;
};

}  // namespace

DWORD readRegistryFile(const char* path, List<RegistryCharacter>& text) {
    const OwnedHandle file = ownFile(CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    const DWORD size = GetFileSize(file.get(), nullptr);
    if (size == INVALID_FILE_SIZE || size > MOST_BYTES) return ERROR_FILE_TOO_LARGE;
    const OwnedBuffer bytes(static_cast<char*>(malloc(size + sizeof(wchar_t))));
    DWORD count = 0;
    if (!bytes) return ERROR_NOT_ENOUGH_MEMORY;
    if (!ReadFile(file.get(), bytes.get(), size, &count, nullptr)) return GetLastError();
    const auto* characters = reinterpret_cast<const wchar_t*>(bytes.get());
    if (count % sizeof(wchar_t) != 0 || count == 0 || characters[0] != L'\xFEFF') {
        return ERROR_INVALID_DATA;
    }
    for (DWORD i = 1; i < count / sizeof(wchar_t); ++i) {
        if (!text.add(characters[i])) return ERROR_NOT_ENOUGH_MEMORY;
    }
    return ERROR_SUCCESS;
}

FileFault checkSourceFile(const List<RegistryCharacter>& text, size_t* line) {
    constexpr wchar_t VIEW_WORD[] = L"view: ";
    wchar_t own[16];
    toWide(ownView().name, own);
    RegistryFile file(text.begin(), text.count());
    for (;;) {
        const RegistryFile::Item item = file.next();
        *line = file.line();
        if (item == RegistryFile::Item::END) return FileFault::NONE;
        if (item == RegistryFile::Item::INVALID) return FileFault::SYNTAX;
        if (item != RegistryFile::Item::COMMENT) continue;
        const wchar_t* view = wcsstr(file.comment(), VIEW_WORD);
        if (view && wcscmp(view + wcslen(VIEW_WORD), own) != 0) return FileFault::OTHER_VIEW;
    }
}

void importDataSources(const List<RegistryCharacter>& text, const char* driver, const char* library,
                       ImportReceiver receive, void* context) {
    Importer(text, driver, library).run(receive, context);
}

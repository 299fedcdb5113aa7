#include "acceptance/leftovers.h"

#include <windows.h>

#include <filesystem>
#include <vector>

#include "acceptance/cases.h"
#include "services/files/documents_folder.h"
#include "services/owners.h"

namespace {

namespace fs = std::filesystem;

std::wstring systemDirectory() {
    wchar_t path[MAX_PATH] = L"";
    GetSystemDirectoryW(path, MAX_PATH);
    return path;
}

std::wstring windowsDirectory() {
    wchar_t path[MAX_PATH] = L"";
    GetSystemWindowsDirectoryW(path, MAX_PATH);
    return path;
}

void removeTask(const std::wstring& name) {
    constexpr unsigned SECONDS = 60;
    const std::wstring program = systemDirectory() + L"\\schtasks.exe", task = L" /tn " + name;
    if (runProgram(program, L"/query" + task, SECONDS).code == 0)
        runProgram(program, L"/delete /f" + task, SECONDS);
}

// A log has one name; a link that a test made to another file has two.
bool isLink(const fs::path& path) {
    const OwnedHandle file = ownFile(CreateFileW(path.c_str(), 0, 7, nullptr, OPEN_EXISTING,
                                                 FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    return GetFileInformationByHandle(file.get(), &information) && information.nNumberOfLinks > 1;
}

}  // namespace

LogFolder findLogFolder() {
    char documents[PATH_BYTES] = "";
    if (!findDocumentsFolder(documents)) return {};
    const fs::path path = fs::path(documents) / "ZELKLOG";
    std::error_code ignored;
    return {path.native(), fs::exists(path, ignored)};
}

void removeLeftovers(const LogFolder& logs) {
    std::error_code ignored;
    for (const wchar_t* bits : {L"64", L"32"}) {
        removeTask(std::wstring(L"zelkpmreg-tests-") + bits);
        fs::remove_all(windowsDirectory() + L"\\zelkpmreg-tests-" + bits, ignored);
    }
    RemoveDirectoryW((windowsDirectory() + L"\\Logs\\Orvane").c_str());  // if empty
    if (logs.path.empty()) return;
    const DWORD attributes = GetFileAttributesW(logs.path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return;
    std::vector<fs::path> links;  // all are found before the first one goes
    if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        for (const auto& file : fs::directory_iterator(logs.path, ignored))
            if (isLink(file.path())) links.push_back(file.path());
    for (const fs::path& link : links) DeleteFileW(link.c_str());
    if (!logs.wasThere) RemoveDirectoryW(logs.path.c_str());  // a junction, or an empty folder
}

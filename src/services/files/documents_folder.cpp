#include "services/files/documents_folder.h"

#include "services/owners.h"
#include "services/system_library.h"

bool findDocumentsFolder(char (&folder)[PATH_BYTES]) {
    constexpr int PERSONAL_DOCUMENTS = 5;  // CSIDL_PERSONAL
    using GetFolderPath = HRESULT WINAPI(HWND, int, HANDLE, DWORD, LPSTR);
    const OwnedModule library(loadTrustedLibrary("shfolder.dll"));
    const auto getFolderPath = findFunction<GetFolderPath>(library.get(), "SHGetFolderPathA");
    return getFolderPath && getFolderPath(nullptr, PERSONAL_DOCUMENTS, nullptr, 0, folder) >= 0;
}

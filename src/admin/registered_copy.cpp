#include "admin/registered_copy.h"

#include <cstring>

#include "registration/installed_copies_keys.h"
#include "run/copy_name.h"
#include "services/files/same_file.h"
#include "services/owners.h"
#include "services/same_name.h"
#include "services/text.h"

namespace {

void addBackslash(char (&path)[PATH_BYTES]) {
    const char* last = findLastBackslash(path);
    if (path[0] != '\0' && (!last || last[1] != '\0')) appendText(path, "\\");
}

RegisteredCopy readCopy(const View& view, HKEY copies, const char* name, const char* defaultName) {
    RegisteredCopy copy = {};
    copy.view = &view;
    copyText(copy.name, name);
    copy.isDefault = isSameName(name, defaultName);
    ZELKiRegistry key;
    if (key.TryOpen(copies, name, REGISTRY_READ | view.flag)) {
        readRegistryText(key, PATH_VALUE, copy.dir, sizeof copy.dir);
    }
    addBackslash(copy.dir);
    return copy;
}

}  // namespace

void listCopies(const View& view, CopyList& copies) {
    ZELKiRegistry key;
    if (!openForReading(key, view, INSTALLED_COPIES_KEY)) return;
    char defaultName[COPY_NAME_BYTES];
    readRegistryText(key, DEFAULT_COPY_VALUE, defaultName, sizeof defaultName);
    EnumerationEnd end;
    for (DWORD index = 0;; ++index) {
        char name[COPY_NAME_BYTES];
        const LSTATUS status = RegEnumKeyA(key.GetHandle(), index, name, sizeof name);
        if (end.reached(status)) return;
        if (status == ERROR_SUCCESS) {
            copies.add(readCopy(view, key.GetHandle(), name, defaultName));
        }
    }
}

void listAllCopies(CopyList& copies) {
    for (const View& view : allViews()) listCopies(view, copies);
}

void formatCopyFile(const RegisteredCopy& copy, const char* folder, const char* file,
                    char (&out)[LIBRARY_PATH_BYTES]) {
    formatText(out, sizeof out, "%s%s\\%s", copy.dir, folder, file);
}

bool isSameFolder(const char* left, const char* right) {
    return *left != '\0' && *right != '\0' && isSameFile(left, right);
}

bool findOwnFolder(char (&folder)[PATH_BYTES]) {
    folder[0] = '\0';
    char program[PATH_BYTES] = "";
    const DWORD length = GetModuleFileNameA(nullptr, program, sizeof program);
    // A path that fills the buffer was cut, and would name another place.
    if (length == 0 || length >= sizeof program) return false;
    cutLastComponent(program);  // the program's name
    cutLastComponent(program);  // its folder, "bin"
    copyText(folder, program);
    return appendText(folder, "\\") == TEXT_OK;
}

CopyFound findThisCopy(const CopyList& copies, const char* folder, const char* name,
                       RegisteredCopy& copy, RegisteredCopy& other) {
    const RegisteredCopy* ofName = nullptr;
    const RegisteredCopy* ofFolder = nullptr;  // of another name
    const RegisteredCopy* both = nullptr;
    for (const RegisteredCopy& one : copies) {
        // Another name is not of the registration program, which would take a blank in it for the
        // end of the name, and what follows for an option.
        if (one.view != &ownView() || !isValidCopyName(one.name)) continue;
        const bool isHere = isSameFolder(one.dir, folder);
        const bool isNamed = *name == '\0' ? isHere && !both : isSameName(one.name, name);
        if (isNamed && isHere) {
            both = &one;
        } else if (isNamed) {
            ofName = &one;
        } else if (isHere && !ofFolder) {
            ofFolder = &one;
        }
    }
    copy = {};
    copy.view = &ownView();
    copyText(copy.name, name);
    copyText(copy.dir, folder);
    if (ofFolder) copyText(copy.dir, ofFolder->dir);
    if (ofName) copyText(copy.name, ofName->name);
    if (both) copy = *both;
    other = {};
    if (const RegisteredCopy* inTheWay = ofName ? ofName : ofFolder) other = *inTheWay;
    if (both) return CopyFound::REGISTERED;
    if (ofName) return CopyFound::OTHER_FOLDER;
    return ofFolder ? CopyFound::OTHER_NAME : CopyFound::NOT_REGISTERED;
}

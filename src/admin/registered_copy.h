// The copies that are registered on this machine.
#pragma once

#include "admin/view.h"
#include "services/list.h"
#include "services/path.h"

constexpr size_t COPY_NAME_BYTES = 256;  // the longest name of a key, with its zero

struct RegisteredCopy {
    const View* view;
    char name[COPY_NAME_BYTES];  // as it is in the registry
    char dir[PATH_BYTES];  // "Zelk Path Name" as it is there, but always with a backslash at its
                           // end; empty when there is none
    bool isDefault;        // the default client interface copy of its view
};

using CopyList = List<RegisteredCopy>;

// Adds the copies of a view, or of all views, to the list, in the order of the registry.
void listCopies(const View& view, CopyList& copies);
void listAllCopies(CopyList& copies);

// Writes the path of a file in a folder of the copy, BIN_FOLDER for example.
void formatCopyFile(const RegisteredCopy& copy, const char* folder, const char* file,
                    char (&out)[LIBRARY_PATH_BYTES]);

// True when both paths lead to the same folder, however they are written (services/files).
bool isSameFolder(const char* left, const char* right);

// Writes the install directory of this program, the parent of its folder, to folder, with a
// backslash at its end. False when the path of the program is not known or is too long.
bool findOwnFolder(char (&folder)[PATH_BYTES]);

// The copy that a command is for.
enum class CopyFound {
    REGISTERED,      // this folder has a record of that name
    NOT_REGISTERED,  // neither the name nor the folder has a record
    OTHER_FOLDER,    // the name has a record, which names another folder
    OTHER_NAME,      // this folder has a record, but of another name
};

// Finds the copy of this program's folder, in its own view. name: what the command names, or empty
// for the name that the folder is registered as. copy gets the name and the path in the spelling of
// the registry, which the registration program compares as text; where there is no record, the
// folder as Windows names it and the given name. other gets the record that is in the way: for
// OTHER_FOLDER that of the name, otherwise another one of this folder; its name is empty when there
// is none.
CopyFound findThisCopy(const CopyList& copies, const char* folder, const char* name,
                       RegisteredCopy& copy, RegisteredCopy& other);

// What the JSON of every command has, and refusals in both forms of output.
#pragma once

#include "admin/command.h"
#include "admin/json.h"
#include "admin/registered_copy.h"
#include "admin/saved_record.h"

// Begins the whole and writes its first members, to "error", which is null without a refusal.
void beginReport(JsonWriter& json, const Command& command, int exitCode, const char* refusal);

// Writes the members of a copy into an object that was begun; version may be null.
void writeCopy(JsonWriter& json, const RegisteredCopy& copy, const char* version);

// What commands left that were ended: a line for each on standard output, and the array of JSON.
void printInterrupted(const List<Interrupted>& interrupted);
void writeInterrupted(JsonWriter& json, const List<Interrupted>& interrupted);

// Says why the command is refused, on standard error or as JSON, and returns code.
int refuse(const Command& command, int code, const char* text);

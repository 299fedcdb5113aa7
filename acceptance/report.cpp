#include "acceptance/report.h"

#include <windows.h>

#include <cstdio>

#include "services/owners.h"

namespace {

FILE* file;
bool written = true;

std::wstring toWide(const std::string& text, UINT codePage) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<size_t>(MultiByteToWideChar(codePage, 0, text.data(),
                                                        static_cast<int>(text.size()), wide.data(),
                                                        static_cast<int>(wide.size()))));
    return wide;
}

}  // namespace

bool openReport(const std::wstring& folder) {
    file = _wfopen((folder + L"\\checks.txt").c_str(), L"wb");
    return file != nullptr;
}

void say(const std::string& line) {
    const std::string whole = line + "\r\n";
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    const std::wstring wide = toWide(whole, CP_UTF8);
    DWORD size = 0;
    if (!WriteConsoleW(output, wide.data(), static_cast<DWORD>(wide.size()), &size, nullptr))
        WriteFile(output, whole.data(), static_cast<DWORD>(whole.size()), &size, nullptr);
    if (file && (fwrite(whole.data(), 1, whole.size(), file) != whole.size() || fflush(file) != 0))
        written = false;
}

bool closeReport() {
    if (file) fclose(file);
    file = nullptr;
    return written;
}

std::string toUtf8(const std::wstring& text) {
    std::string out(text.size() * 3, '\0');
    out.resize(static_cast<size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(),
                            static_cast<int>(out.size()), nullptr, nullptr)));
    return out;
}

std::string toUtf8(const std::string& ansi) {
    return toUtf8(toWide(ansi, CP_ACP));
}

std::string describeError(unsigned long error) {
    wchar_t text[512] = L"";
    const DWORD size = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr, error, 0, text, 512, nullptr);
    std::string out = "error " + std::to_string(error);
    if (size > 0) out += ": " + toUtf8(std::wstring(text, size));
    return out.substr(0, out.find_last_not_of("\r\n ") + 1);
}

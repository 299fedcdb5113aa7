// Names for the numbers that the program prints where its messages have no text, and traces.
#pragma once

#include <string>
#include <utility>

inline std::string withNames(std::string text) {
    static const std::pair<std::string, std::string> names[] = {
#include "names.inc"  // made of msg/message_ids.h and src/odbc/trace.h
    };
    for (const auto& [number, name] : names)
        for (size_t at; (at = text.find(number)) != text.npos;)
            text.replace(at, number.size(), name);
    return text;
}

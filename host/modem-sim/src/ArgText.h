/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Renders a call's arguments as the call record shows them: decimal, ", "-separated, in
// declaration order; callbacks and user data as "cb" or "null"; byte buffers passed in as their
// length; texts in fixed-size buffers, or of a given length, double-quoted as received.

#pragma once

#include <string>

#include "BoundedText.h"

namespace modemsim {

inline std::string argText(long long value) {
    return std::to_string(value);
}
inline std::string argText(const std::string& text) {
    return text;
}
inline std::string pointerArg(bool set) {
    return set ? "cb" : "null";
}

/** A buffer the library reads: its length, or "null". */
inline std::string bufferArg(const void* data, size_t length) {
    return data != nullptr ? std::to_string(length) : "null";
}
/** An in/out count: the value passed in, or "null". */
template <typename Count>
std::string countArg(const Count* count) {
    return count != nullptr ? std::to_string(*count) : "null";
}
/** A text in a buffer of `bufferSize` bytes, between double quotes, unescaped; or null. */
inline std::string quotedArg(const char* text, size_t bufferSize) {
    return text != nullptr ? "\"" + boundedText(text, bufferSize) + "\"" : "null";
}

/** Exactly `length` bytes passed as a text, between double quotes, unescaped; or null. */
inline std::string quotedBytesArg(const void* data, size_t length) {
    return data != nullptr ? "\"" + std::string(static_cast<const char*>(data), length) + "\""
                           : "null";
}

template <typename... Values>
std::string argList(const Values&... values) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + argText(values)), ...);
    return text;
}

}  // namespace modemsim

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Texts the daemon passes in fixed-size buffers (property keys, MBN names). They are read up to
// the buffer's size and no further: a missing terminator must not make the library read past
// the buffer.

#pragma once

#include <cstring>
#include <string>

namespace modemsim {

/** The text's characters before its terminator or the end of its buffer, whichever comes first. */
inline std::string boundedText(const char* text, size_t bufferSize) {
    return text != nullptr ? std::string(text, strnlen(text, bufferSize)) : std::string();
}

/** Whether the buffer holds a non-empty text and its terminator. */
inline bool isTerminatedText(const char* text, size_t bufferSize) {
    if (text == nullptr)
        return false;
    const size_t length = strnlen(text, bufferSize);
    return length > 0 && length < bufferSize;
}

}  // namespace modemsim

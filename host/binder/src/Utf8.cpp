/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Utf8.h"

namespace hostbinder {

namespace {

bool isContinuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

bool isValidUtf8(const uint8_t* bytes, size_t size) {
    size_t i = 0;
    while (i < size) {
        const uint8_t lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        size_t length;
        uint32_t codePoint;
        uint32_t smallest;
        if ((lead & 0xE0) == 0xC0) {
            length = 2;
            codePoint = lead & 0x1F;
            smallest = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            length = 3;
            codePoint = lead & 0x0F;
            smallest = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            length = 4;
            codePoint = lead & 0x07;
            smallest = 0x10000;
        } else {
            return false;  // a continuation byte without a lead, or 0xF8 and above
        }
        if (size - i < length)
            return false;
        for (size_t k = 1; k < length; ++k) {
            if (!isContinuation(bytes[i + k]))
                return false;
            codePoint = (codePoint << 6) | (bytes[i + k] & 0x3F);
        }
        if (codePoint < smallest)
            return false;  // overlong
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF)
            return false;  // surrogate
        if (codePoint > 0x10FFFF)
            return false;
        i += length;
    }
    return true;
}

}  // namespace hostbinder

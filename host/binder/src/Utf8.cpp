/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Utf8.h"

namespace hostbinder {

namespace {

// The length of the sequence `lead` starts, from its top bits alone.
size_t sequenceLength(uint8_t lead) {
    if (lead < 0xC0)
        return 1;
    if (lead < 0xE0)
        return 2;
    if (lead < 0xF0)
        return 3;
    return 4;
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendUtf8(uint32_t codePoint, std::string& out) {
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (codePoint >> 18));
        out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

}  // namespace

bool utf8ToUtf16(const uint8_t* bytes, size_t size, std::u16string* out) {
    static constexpr uint8_t kLeadBits[] = {0xFF, 0x1F, 0x0F, 0x07};
    std::u16string units;
    units.reserve(size);
    for (size_t i = 0; i < size;) {
        const size_t length = sequenceLength(bytes[i]);
        if (size - i < length)
            return false;
        // A single byte stands for itself, 0x80..0xBF too.
        uint32_t codePoint = length == 1 ? bytes[i] : bytes[i] & kLeadBits[length - 1];
        for (size_t k = 1; k < length; ++k)
            codePoint = (codePoint << 6) | (bytes[i + k] & 0x3F);
        if (codePoint > 0xFFFF) {
            // Four bytes carry at most 21 bits; past U+10FFFF the pair is garbled, not refused.
            codePoint -= 0x10000;
            units += static_cast<char16_t>(0xD800 | ((codePoint >> 10) & 0x3FF));
            units += static_cast<char16_t>(0xDC00 | (codePoint & 0x3FF));
        } else {
            units += static_cast<char16_t>(codePoint);
        }
        i += length;
    }
    *out = std::move(units);
    return true;
}

std::string utf16ToUtf8(const char16_t* units, size_t count) {
    std::string out;
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const char16_t unit = units[i];
        if (isHighSurrogate(unit) && i + 1 < count && isLowSurrogate(units[i + 1])) {
            appendUtf8(0x10000 + ((static_cast<uint32_t>(unit) - 0xD800) << 10) +
                               (static_cast<uint32_t>(units[i + 1]) - 0xDC00),
                       out);
            ++i;
        } else {
            appendUtf8(unit, out);
        }
    }
    return out;
}

}  // namespace hostbinder

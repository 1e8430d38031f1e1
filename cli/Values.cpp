/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Values.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace com::vyr::plim::cli {

namespace {

int digitValue(char c, int base) {
    int value = -1;
    if (c >= '0' && c <= '9') {
        value = c - '0';
    } else if (c >= 'a' && c <= 'f') {
        value = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
        value = c - 'A' + 10;
    }
    return value < base ? value : -1;
}

void appendHex(std::string& text, uint8_t byte) {
    static constexpr char kDigits[] = "0123456789abcdef";
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0f];
}

/** Length of the valid UTF-8 sequence at text[i], 0 if the byte there does not start one. */
size_t utf8Length(std::string_view text, size_t i) {
    const auto at = [&](size_t k) { return static_cast<uint8_t>(text[k]); };
    const uint8_t lead = at(i);
    size_t length = 0;
    uint32_t code = 0;
    if (lead < 0x80) {
        return 1;
    } else if (lead >= 0xc2 && lead <= 0xdf) {
        length = 2;
        code = lead & 0x1f;
    } else if (lead >= 0xe0 && lead <= 0xef) {
        length = 3;
        code = lead & 0x0f;
    } else if (lead >= 0xf0 && lead <= 0xf4) {
        length = 4;
        code = lead & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) {
        return 0;
    }
    for (size_t k = 1; k < length; ++k) {
        if ((at(i + k) & 0xc0) != 0x80) {
            return 0;
        }
        code = (code << 6) | (at(i + k) & 0x3f);
    }
    // Overlong forms, surrogates and values beyond Unicode are not UTF-8.
    const bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return overlong || surrogate || code > 0x10ffff ? 0 : length;
}

}  // namespace

bool parseInteger(std::string_view text, int64_t min, int64_t max, int64_t* value) {
    size_t i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
        negative = text[i] == '-';
        ++i;
    }
    int base = 10;
    if (text.size() - i > 2 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i == text.size()) {
        return false;
    }
    int64_t magnitude = 0;
    for (; i < text.size(); ++i) {
        const int digit = digitValue(text[i], base);
        if (digit < 0) {
            return false;
        }
        magnitude = magnitude * base + digit;
        // Far beyond every range asked for, and far from overflowing.
        if (magnitude > (int64_t{1} << 40)) {
            return false;
        }
    }
    const int64_t result = negative ? -magnitude : magnitude;
    if (result < min || result > max) {
        return false;
    }
    *value = result;
    return true;
}

bool parseSeconds(std::string_view text, double* seconds) {
    const std::string copy(text);
    if (copy.empty() || !(copy[0] == '.' || (copy[0] >= '0' && copy[0] <= '9'))) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(copy.c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(value) || value <= 0 || value > 86400) {
        return false;
    }
    *seconds = value;
    return true;
}

bool parseHex(std::string_view text, Bytes* bytes, std::string* why) {
    if (text.size() % 2 != 0) {
        *why = "odd number of hex digits";
        return false;
    }
    Bytes parsed;
    parsed.reserve(text.size() / 2);
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = digitValue(text[i], 16);
        const int low = digitValue(text[i + 1], 16);
        if (high < 0 || low < 0) {
            *why = "not a hex digit at position " + std::to_string(high < 0 ? i + 1 : i + 2);
            return false;
        }
        parsed.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    *bytes = std::move(parsed);
    return true;
}

bool readFile(const std::string& path, size_t limit, Bytes* bytes, std::string* why) {
    FILE* file = std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        *why = std::strerror(errno);
        return false;
    }
    // One byte more than allowed tells a file at the limit from a longer one without reading
    // all of a huge (or endless, like a device) file.
    Bytes read(limit + 1);
    const size_t count = std::fread(read.data(), 1, read.size(), file);
    const bool failed = std::ferror(file) != 0;
    const int error = errno;
    std::fclose(file);
    if (failed) {
        *why = std::strerror(error);
        return false;
    }
    if (count > limit) {
        *why = "larger than " + std::to_string(limit) + " bytes";
        return false;
    }
    read.resize(count);
    *bytes = std::move(read);
    return true;
}

std::string spacedHex(const Bytes& bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0) {
            text += ' ';
        }
        appendHex(text, bytes[i]);
    }
    return text;
}

std::string compactHex(const Bytes& bytes) {
    std::string text;
    for (uint8_t byte : bytes) {
        appendHex(text, byte);
    }
    return text;
}

std::string printable(std::string_view text) {
    std::string shown;
    for (char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte < 0x20 || byte == 0x7f) {
            shown += "\\x";
            appendHex(shown, byte);
        } else {
            shown += c;
        }
    }
    return shown;
}

std::string jsonString(std::string_view text) {
    std::string json = "\"";
    for (size_t i = 0; i < text.size();) {
        const char c = text[i];
        const size_t length = utf8Length(text, i);
        if (length > 1) {
            json.append(text.substr(i, length));
            i += length;
            continue;
        }
        const auto byte = static_cast<uint8_t>(c);
        switch (c) {
            case '"':
                json += "\\\"";
                break;
            case '\\':
                json += "\\\\";
                break;
            case '\n':
                json += "\\n";
                break;
            case '\r':
                json += "\\r";
                break;
            case '\t':
                json += "\\t";
                break;
            default:
                if (length == 0 || byte < 0x20 || byte == 0x7f) {
                    json += "\\u00";
                    appendHex(json, byte);
                } else {
                    json += c;
                }
        }
        ++i;
    }
    return json + "\"";
}

}  // namespace com::vyr::plim::cli

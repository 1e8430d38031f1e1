/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Renders a call's arguments as the call record shows them: decimal, ", "-separated, in
// declaration order; callbacks and user data as "cb" or "null".

#pragma once

#include <string>

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

template <typename... Values>
std::string argList(const Values&... values) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + argText(values)), ...);
    return text;
}

}  // namespace modemsim

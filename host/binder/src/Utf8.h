/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Parcel strings travel as UTF-16, as on a device, where the conversion from UTF-8 is lenient:
// only a sequence cut off by the end of the string fails; other malformed bytes pass, decoded
// as best they go (garbled), so that a string a device delivers is delivered here too.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace hostbinder {

// `size` bytes of UTF-8, or what passes for it, as UTF-16. A lead byte's top bits say how many
// bytes its sequence takes (a stray continuation byte or 0xF8..0xFF counts by the same rule)
// and the following bytes' low six bits are taken without checking them; code points above
// U+FFFF become surrogate pairs. False, with `out` untouched, when the last sequence runs past
// the end.
bool utf8ToUtf16(const uint8_t* bytes, size_t size, std::u16string* out);

// UTF-16 as UTF-8; a surrogate without its partner is encoded on its own, in three bytes.
std::string utf16ToUtf8(const char16_t* units, size_t count);

}  // namespace hostbinder

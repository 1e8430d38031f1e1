/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Command-line values in and response values out: numbers, hex, files, escaped texts.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace com::vyr::plim::cli {

using Bytes = std::vector<uint8_t>;

/**
 * A decimal or 0x-prefixed hexadecimal integer, optionally signed, within [min, max]. Nothing
 * else is accepted: no spaces, no trailing characters, no octal.
 */
bool parseInteger(std::string_view text, int64_t min, int64_t max, int64_t* value);

/** Positive seconds, fractions allowed (0.5), at most a day. */
bool parseSeconds(std::string_view text, double* seconds);

/** Pairs of hex digits, either case, nothing between them; false with a reason otherwise. */
bool parseHex(std::string_view text, Bytes* bytes, std::string* why);

/** The bytes of a file of at most `limit` bytes; false with a reason otherwise. */
bool readFile(const std::string& path, size_t limit, Bytes* bytes, std::string* why);

/** "00 7f ff": for people. */
std::string spacedHex(const Bytes& bytes);
/** "007fff": for machines. */
std::string compactHex(const Bytes& bytes);

/** The text with control bytes written as \xNN, so that a response cannot drive the terminal. */
std::string printable(std::string_view text);

/**
 * The text as a JSON string, quotes included. Control characters are escaped, and so is every
 * byte that is not part of valid UTF-8, as \u00NN of the byte's value.
 */
std::string jsonString(std::string_view text);

}  // namespace com::vyr::plim::cli

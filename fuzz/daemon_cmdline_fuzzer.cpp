/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon's command line through ModemOptions::parse, as main() hands it over: argv is the
// input split on NUL bytes (the first piece is the program name; an empty input is argc 0), each
// argument a heap block of its own so that a read past one is ASan's to report.
//
// Checks: the documented results only; the same command line parsed twice in a row gives the same
// answer (getopt keeps state between runs); and where every argument is a bare word, "-i VALUE"
// or "-iVALUE", the exact answer of a plain model: the first -i decides, VALUE read as a decimal
// number as strtol reads it, anything but 0 or 1 refused.

#include <android/log.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <plim/Errno.h>

#include "FuzzCheck.h"
#include "ModemOptions.h"

namespace {

using com::vyr::plim::INVALID_ARGUMENT;
using com::vyr::plim::OK;
using com::vyr::plim::modem::ModemOptions;

std::vector<std::string> splitOnNul(const uint8_t* data, size_t size) {
    std::vector<std::string> pieces;
    if (size == 0) {
        return pieces;
    }
    std::string piece;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            pieces.push_back(piece);
            piece.clear();
        } else {
            piece += static_cast<char>(data[i]);
        }
    }
    pieces.push_back(piece);
    return pieces;
}

struct Outcome {
    int result;
    std::optional<int> id;

    bool operator==(const Outcome& other) const { return result == other.result && id == other.id; }
};

/** Parses `args` from a fresh argv; getopt may permute it, so every run gets its own. */
Outcome parse(const std::vector<std::string>& args) {
    std::vector<std::unique_ptr<char[]>> storage;
    std::unique_ptr<char*[]> argv(new char*[args.size() + 1]);
    for (size_t i = 0; i < args.size(); ++i) {
        storage.emplace_back(new char[args[i].size() + 1]);
        std::memcpy(storage.back().get(), args[i].c_str(), args[i].size() + 1);
        argv[i] = storage.back().get();
    }
    argv[args.size()] = nullptr;
    ModemOptions::clearForTesting();
    const int result = ModemOptions::parse(static_cast<int>(args.size()), argv.get());
    return {result, ModemOptions::instanceId()};
}

/** The answer for a command line of bare words and -i options only; empty for any other. */
std::optional<Outcome> model(const std::vector<std::string>& args) {
    if (args.empty()) {
        return Outcome{INVALID_ARGUMENT, std::nullopt};
    }
    std::optional<std::string> first;
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg.empty() || arg[0] != '-') {
            continue;
        }
        if (arg.size() < 2 || arg[1] != 'i') {
            return std::nullopt;
        }
        std::string value = arg.substr(2);
        if (value.empty()) {
            if (i + 1 == args.size()) {
                return std::nullopt;
            }
            value = args[++i];
        }
        if (!first) {
            first = value;
        }
    }
    if (!first) {
        return Outcome{OK, std::nullopt};
    }
    const long id = std::strtol(first->c_str(), nullptr, 10);
    if (id < 0 || id > 1) {
        return Outcome{INVALID_ARGUMENT, std::nullopt};
    }
    return Outcome{OK, static_cast<int>(id)};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // Every option is logged; at fuzzing rates that drowns libFuzzer's own output.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> args = splitOnNul(data, size);
    const Outcome outcome = parse(args);

    CHECK(outcome.result == OK || outcome.result == INVALID_ARGUMENT);
    CHECK(!outcome.id || *outcome.id == 0 || *outcome.id == 1);
    CHECK(outcome.result == OK || !outcome.id);
    CHECK(parse(args) == outcome);
    if (const std::optional<Outcome> expected = model(args); expected) {
        CHECK(outcome == *expected);
    }
    ModemOptions::clearForTesting();
    return 0;
}

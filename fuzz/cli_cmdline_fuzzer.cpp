/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-modem-cli's command line through parseCommandLine, as main() hands it over: the input
// split on NUL bytes, the first piece the program name. Nothing is sent: parsing only decides.
//
// --data-file values are kept inside a scratch directory of a few files (empty, small, one byte
// over the limit; a '/' becomes '_'), so that no input reads a device or a file of this machine.
//
// Checks: an exit is help (0) or a one-message usage error (64); a request carries every argument
// its subcommand needs, and the same request written out canonically (--name=value, --data HEX,
// on/off and the path in place) parses back to the same arguments; a sim command has a line and
// a socket; and parsing is repeatable (getopt keeps state between runs).

#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "Cli.h"
#include "CommandLine.h"
#include "Commands.h"
#include "FuzzCheck.h"
#include "Values.h"

namespace {

using com::vyr::plim::cli::ArgKind;
using com::vyr::plim::cli::Args;
using com::vyr::plim::cli::Argument;
using com::vyr::plim::cli::Bytes;
using com::vyr::plim::cli::Command;
using com::vyr::plim::cli::compactHex;
using com::vyr::plim::cli::EXIT_OK;
using com::vyr::plim::cli::EXIT_USAGE;
using com::vyr::plim::cli::Invocation;
using com::vyr::plim::cli::kMaxDataFile;
using com::vyr::plim::cli::parseCommandLine;

constexpr const char* kDataFileOption = "--data-file";
constexpr const char* kProgramPrefix = "plim-modem-cli: ";

std::string scratch;

void writeFile(const std::string& name, size_t size) {
    FILE* file = std::fopen((scratch + "/" + name).c_str(), "wb");
    CHECK(file != nullptr);
    for (size_t i = 0; i < size; ++i) {
        std::fputc(static_cast<int>(i * 7 & 0xff), file);
    }
    std::fclose(file);
}

void removeScratch() {
    std::error_code ec;
    std::filesystem::remove_all(scratch, ec);
}

std::string insideScratch(std::string name) {
    for (char& c : name) {
        if (c == '/') {
            c = '_';
        }
    }
    return scratch + "/" + name;
}

/** The command line without the program name, its --data-file values moved into scratch. */
std::vector<std::string> argsOf(const uint8_t* data, size_t size) {
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            pieces.emplace_back();
        } else {
            pieces.back() += static_cast<char>(data[i]);
        }
    }
    pieces.erase(pieces.begin());
    const std::string withValue = std::string(kDataFileOption) + "=";
    for (size_t i = 0; i < pieces.size(); ++i) {
        if (pieces[i] == kDataFileOption && i + 1 < pieces.size()) {
            pieces[i + 1] = insideScratch(pieces[i + 1]);
            ++i;
        } else if (pieces[i].rfind(withValue, 0) == 0) {
            pieces[i] = withValue + insideScratch(pieces[i].substr(withValue.size()));
        }
    }
    return pieces;
}

struct Parsed {
    Invocation invocation;
    std::string err;
};

Parsed parse(const std::vector<std::string>& args) {
    std::ostringstream err;
    Parsed parsed{parseCommandLine(args, err), ""};
    parsed.err = err.str();
    return parsed;
}

bool sameArgs(const Command& command, const Args& a, const Args& b) {
    for (const Argument& argument : command.args) {
        if (!a.has(argument.name) || !b.has(argument.name)) {
            return false;
        }
        const bool bytes = argument.kind == ArgKind::Data || argument.kind == ArgKind::Text ||
                           argument.kind == ArgKind::Path;
        if (bytes ? a.bytes(argument.name) != b.bytes(argument.name)
                  : a.number(argument.name) != b.number(argument.name)) {
            return false;
        }
    }
    return true;
}

/** The request written out as plainly as the client takes it. */
std::vector<std::string> canonical(const Command& command, const Args& args) {
    std::vector<std::string> line{command.name};
    for (const Argument& argument : command.args) {
        const std::string option = std::string("--") + argument.name;
        switch (argument.kind) {
            case ArgKind::Int:
            case ArgKind::Byte:
                line.push_back(option + "=" + std::to_string(args.number(argument.name)));
                break;
            case ArgKind::OnOff:
                line.push_back(args.on(argument.name) ? "--on" : "--off");
                break;
            case ArgKind::Text: {
                const Bytes& bytes = args.bytes(argument.name);
                line.push_back(option + "=" + std::string(bytes.begin(), bytes.end()));
                break;
            }
            case ArgKind::Data:
                line.push_back("--data=" + compactHex(args.bytes(argument.name)));
                break;
            case ArgKind::Path: {
                const Bytes& bytes = args.bytes(argument.name);
                line.emplace_back(bytes.begin(), bytes.end());
                break;
            }
        }
    }
    return line;
}

void checkOutcome(const Parsed& parsed) {
    const Invocation& invocation = parsed.invocation;
    switch (invocation.action) {
        case Invocation::Action::Exit:
            CHECK(invocation.exitStatus == EXIT_OK || invocation.exitStatus == EXIT_USAGE);
            CHECK(!parsed.err.empty() && parsed.err.back() == '\n');
            if (invocation.exitStatus == EXIT_USAGE) {
                CHECK(parsed.err.rfind(kProgramPrefix, 0) == 0);
            }
            return;
        case Invocation::Action::Request: {
            CHECK(parsed.err.empty());
            CHECK(invocation.command != nullptr);
            CHECK(invocation.options.instance == 0 || invocation.options.instance == 1);
            CHECK(invocation.options.timeoutSeconds > 0 &&
                  invocation.options.timeoutSeconds <= 24 * 3600);
            const Command& command = *invocation.command;
            for (const Argument& argument : command.args) {
                CHECK(invocation.args.has(argument.name));
            }
            const Parsed again = parse(canonical(command, invocation.args));
            CHECK(again.invocation.action == Invocation::Action::Request);
            CHECK(again.invocation.command == invocation.command);
            CHECK(sameArgs(command, invocation.args, again.invocation.args));
            return;
        }
        case Invocation::Action::Sim:
            CHECK(parsed.err.empty());
            CHECK(!invocation.simLine.empty() && !invocation.simPath.empty());
            CHECK(invocation.options.instance == 0 && !invocation.options.json &&
                  !invocation.options.serial);
            return;
    }
    CHECK(false);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/plim-cli-fuzz.XXXXXX";
    CHECK(mkdtemp(pattern.data()) != nullptr);
    scratch = pattern;
    std::atexit(removeScratch);
    writeFile("empty", 0);
    writeFile("small", 16);
    writeFile("limit", kMaxDataFile);
    writeFile("over", kMaxDataFile + 1);
    // `sim` without --control takes the socket from the environment: leave it to the input.
    unsetenv("PLIM_MODEM_SIM_CONTROL");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<std::string> args = argsOf(data, size);
    const Parsed parsed = parse(args);
    checkOutcome(parsed);

    const Parsed again = parse(args);
    CHECK(again.invocation.action == parsed.invocation.action);
    CHECK(again.invocation.exitStatus == parsed.invocation.exitStatus);
    CHECK(again.err == parsed.err);
    CHECK(again.invocation.simLine == parsed.invocation.simLine);
    return 0;
}

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-modem-cli's command line, parsed apart from what it asks for: parsing prints usage, help
// and errors but sends nothing, so that it can be tested and fuzzed without a daemon.

#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "Commands.h"

namespace com::vyr::plim::cli {

/** The options before the subcommand. */
struct GlobalOptions {
    int32_t instance = 0;
    double timeoutSeconds = 5;
    bool json = false;
    std::optional<int32_t> serial;
};

/** What a command line asks for. */
struct Invocation {
    enum class Action {
        Exit,     // nothing to do: usage error or help, printed already; see exitStatus
        Request,  // send `command` with `args`
        Sim,      // send `simLine` to the simulator's control socket `simPath` (host builds)
    };
    Action action = Action::Exit;
    int exitStatus = 0;
    GlobalOptions options;
    const Command* command = nullptr;
    Args args;
    std::string simPath;
    std::string simLine;
};

/**
 * Parses `args` (the command line without the program name), printing usage, help and errors on
 * `err`. Reads --data-file files and, for `sim`, the control socket's environment variable; sends
 * nothing. Not reentrant: the global options go through getopt_long. Any thread.
 */
Invocation parseCommandLine(const std::vector<std::string>& args, std::ostream& err);

}  // namespace com::vyr::plim::cli

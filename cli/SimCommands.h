/*
 * Copyright (C) 2026 The plim-modem developers
 */

// HOST ONLY: `plim-modem-cli sim COMMAND [ARGS]` steers the simulated modem of a running host
// daemon through the control channel the simulated library opens where PLIM_MODEM_SIM_CONTROL
// says (see host/modem-sim/include/modem_sim/ModemSimControl.h): one command line sent, its
// reply line printed. The device build leaves SimCommands.cpp out.

#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace com::vyr::plim::cli {

/** The exit status when the simulator refused the command; the others are Cli.h's. */
constexpr int EXIT_SIM_REFUSED = 1;

/** The environment variable naming the control channel's socket. */
constexpr const char* kSimControlVariable = "PLIM_MODEM_SIM_CONTROL";

/**
 * The control line for `args` (the command and its arguments), numbers in decimal as the
 * channel takes them; false with a reason when they are not a command the channel would take.
 */
bool simLine(const std::vector<std::string>& args, std::string* line, std::string* why);

/**
 * Parses `sim`'s `args` (what follows "sim" on the command line) into the control socket's
 * `path` and the `line` to send. Empty when there is something to send; else the exit status of
 * a usage error or of --help, printed on `err`. Sends nothing.
 */
std::optional<int> parseSim(const std::vector<std::string>& args, std::string* path,
                            std::string* line, std::ostream& err);

/**
 * Sends `line` to the control socket at `path`, waiting up to `timeoutSeconds` for the reply.
 * Exit status: 0 "ok" (printed on `out`), EXIT_SIM_REFUSED an "error: ..." reply (printed on
 * `out`), EXIT_USAGE for a path that cannot be a socket's, EXIT_NO_SERVICE when the channel
 * cannot be reached or closes without a reply, EXIT_TIMEOUT, EXIT_BAD_ANSWER for any other reply.
 */
int exchangeSim(const std::string& path, const std::string& line, double timeoutSeconds,
                std::ostream& out, std::ostream& err);

/** The `sim` lines of --help. */
void printSimUsage(std::ostream& err);

}  // namespace com::vyr::plim::cli

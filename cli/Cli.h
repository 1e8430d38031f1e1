/*
 * Copyright (C) 2026 The plim-modem developers
 */

// plim-modem-cli: sends one IModem request from the command line and prints its response.

#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace com::vyr::plim::cli {

/** Exit statuses; a modem error e (1..5) exits with EXIT_MODEM_ERROR_BASE + e. */
enum ExitStatus : int {
    EXIT_OK = 0,
    EXIT_MODEM_ERROR_BASE = 10,
    EXIT_USAGE = 64,        // bad command line: nothing was sent
    EXIT_NO_SERVICE = 69,   // the instance's service is not registered
    EXIT_BAD_ANSWER = 70,   // the response's error is outside 0..5
    EXIT_CALL_FAILED = 74,  // a binder call failed, not because the daemon died
    EXIT_TIMEOUT = 75,      // no response with our serial in time
    EXIT_DAEMON_DIED = 76,  // the daemon died before it answered
};

/**
 * Runs the client with `args` (the command line without the program name), printing results on
 * `out` and usage and errors on `err`; returns the exit status. Talks to the service from the
 * calling thread's binder process and starts that process's binder thread pool if needed.
 * Not reentrant: the global options go through getopt_long.
 */
int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

/** runCli over main()'s arguments, with stdout and stderr. */
int runCli(int argc, char** argv);

}  // namespace com::vyr::plim::cli

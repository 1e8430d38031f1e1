/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "CommandLine.h"

#include <getopt.h>

#include <cstdint>

#include "Cli.h"
#include "Values.h"
#ifdef PLIM_CLI_SIM_COMMANDS
#include "SimCommands.h"
#endif

namespace com::vyr::plim::cli {

namespace {

constexpr const char* kProgram = "plim-modem-cli";

void printUsage(std::ostream& err) {
    err << "usage: " << kProgram
        << " [--instance 0|1] [--timeout SECONDS] [--json] [--serial N] SUBCOMMAND [ARGS]\n"
           "       "
        << kProgram
        << " [SUBCOMMAND] --help\n\n"
           "Sends one request to vendor.vyr.plim.modem.IModem/instance<0|1>, waits for its\n"
           "response and prints it on stdout.\n\n"
           "options (before the subcommand):\n"
           "  --instance 0|1     the service instance (default 0)\n"
           "  --timeout SECONDS  how long to wait for the response (default 5)\n"
           "  --json             print the response as one JSON object, byte results in hex\n"
           "  --serial N         the request's serial (default: one of the client's own)\n\n"
           "subcommands:\n";
    for (const Command& command : commands()) {
        err << "  " << synopsis(command) << "\n      " << command.help << "\n";
    }
#ifdef PLIM_CLI_SIM_COMMANDS
    err << "  sim [--control PATH] COMMAND [ARGS]\n      host only: steers the simulated modem "
           "(sim --help)\n";
#endif
    err << "\nN: a 32-bit integer, decimal or 0x hex. B: a byte, 0..255 or -128..127 (its bits "
           "are sent).\nTEXT, PATH: sent as their bytes. HEX: pairs of hex digits. FILE: at most "
        << kMaxDataFile
        << " bytes.\n\n"
           "exit status: 0 the response's error is 0 (OK); 11..15 the modem's error 1..5;\n"
           "64 usage error (nothing was sent); 69 service not found; 70 an error outside "
           "0..5;\n74 a binder call failed; 75 no response in time; 76 the daemon died.\n\n"
           "The daemon holds one response callback, the last one registered: clients running "
           "at\nthe same time replace each other's, and a replaced client times out.\n";
}

Invocation exitWith(int status) {
    Invocation invocation;
    invocation.exitStatus = status;
    return invocation;
}

Invocation usageError(std::ostream& err, const std::string& message) {
    err << kProgram << ": " << message << " (see --help)\n";
    return exitWith(EXIT_USAGE);
}

/** Parses the options before the subcommand; returns the subcommand's index, or -1. */
int parseOptions(std::vector<char*>& argv, GlobalOptions* options, bool* help, std::string* why) {
    static const struct option kOptions[] = {
            {"instance", required_argument, nullptr, 'i'},
            {"timeout", required_argument, nullptr, 't'},
            {"json", no_argument, nullptr, 'j'},
            {"serial", required_argument, nullptr, 's'},
            {"help", no_argument, nullptr, 'h'},
            {nullptr, 0, nullptr, 0},
    };
    const int argc = static_cast<int>(argv.size()) - 1;
    // Reset for a second run in one process; '+' stops at the subcommand, ':' reports a missing
    // value apart from an unknown option, and opterr = 0 keeps getopt's own messages away.
    optind = 0;
    opterr = 0;
    int option = 0;
    while ((option = getopt_long(argc, argv.data(), "+:h", kOptions, nullptr)) != -1) {
        int64_t number = 0;
        switch (option) {
            case 'i':
                if (!parseInteger(optarg, 0, 1, &number)) {
                    *why = std::string("--instance: '") + optarg + "' is not 0 or 1";
                    return -1;
                }
                options->instance = static_cast<int32_t>(number);
                break;
            case 't':
                if (!parseSeconds(optarg, &options->timeoutSeconds)) {
                    *why = std::string("--timeout: '") + optarg +
                           "' is not a number of seconds above 0";
                    return -1;
                }
                break;
            case 'j':
                options->json = true;
                break;
            case 's':
                if (!parseInteger(optarg, INT32_MIN, INT32_MAX, &number)) {
                    *why = std::string("--serial: '") + optarg + "' is not a 32-bit integer";
                    return -1;
                }
                options->serial = static_cast<int32_t>(number);
                break;
            case 'h':
                *help = true;
                return optind;
            case ':':
                *why = std::string(argv[optind - 1]) + " needs a value";
                return -1;
            default:
                *why = "unknown option " + (optopt != 0 ? std::string("-") + char(optopt)
                                                        : std::string(argv[optind - 1]));
                return -1;
        }
    }
    return optind;
}

}  // namespace

Invocation parseCommandLine(const std::vector<std::string>& args, std::ostream& err) {
    std::vector<std::string> storage;
    storage.reserve(args.size() + 1);
    storage.push_back(kProgram);
    storage.insert(storage.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : storage) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    Invocation invocation;
    bool help = false;
    std::string why;
    const int first = parseOptions(argv, &invocation.options, &help, &why);
    if (first < 0) {
        return usageError(err, why);
    }
    if (help) {
        printUsage(err);
        return exitWith(EXIT_OK);
    }
    if (static_cast<size_t>(first) >= args.size() + 1) {
        return usageError(err, "missing subcommand");
    }
    if (storage[first] == std::string("sim")) {
#ifdef PLIM_CLI_SIM_COMMANDS
        // The simulator's socket is named apart from any instance, and its reply is one line.
        if (invocation.options.instance != 0 || invocation.options.json ||
            invocation.options.serial) {
            return usageError(err, "sim: of the options only --timeout applies");
        }
        if (const std::optional<int> status =
                    parseSim(std::vector<std::string>(storage.begin() + first + 1, storage.end()),
                             &invocation.simPath, &invocation.simLine, err);
            status) {
            return exitWith(*status);
        }
        invocation.action = Invocation::Action::Sim;
        return invocation;
#else
        return usageError(err, "sim: not available on this build");
#endif
    }
    invocation.command = findCommand(storage[first]);
    if (invocation.command == nullptr) {
        return usageError(err, "unknown subcommand '" + storage[first] + "'");
    }
    const std::vector<std::string> tokens(storage.begin() + first + 1, storage.end());
    if (!parseArgs(*invocation.command, tokens, &invocation.args, &help, &why)) {
        return usageError(err, std::string(invocation.command->name) + ": " + why);
    }
    if (help) {
        err << "usage: " << kProgram << " [OPTIONS] " << synopsis(*invocation.command) << "\n  "
            << invocation.command->help << "\n";
        return exitWith(EXIT_OK);
    }
    invocation.action = Invocation::Action::Request;
    return invocation;
}

}  // namespace com::vyr::plim::cli

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Cli.h"

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>

#include "Commands.h"
#include "Output.h"
#include "Response.h"
#ifdef PLIM_CLI_SIM_COMMANDS
#include "SimCommands.h"
#endif

namespace com::vyr::plim::cli {

namespace {

using aidl::vendor::vyr::plim::modem::IModem;

constexpr const char* kProgram = "plim-modem-cli";

struct Options {
    int32_t instance = 0;
    double timeoutSeconds = 5;
    bool json = false;
    std::optional<int32_t> serial;
};

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

int usageError(std::ostream& err, const std::string& message) {
    err << kProgram << ": " << message << " (see --help)\n";
    return EXIT_USAGE;
}

/** Parses the options before the subcommand; returns the subcommand's index, or -1. */
int parseOptions(std::vector<char*>& argv, Options* options, bool* help, std::string* why) {
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

/** A serial unlikely to be another client's: this process's id mixed with the clock. */
int32_t makeSerial() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    const uint32_t mixed =
            static_cast<uint32_t>(getpid()) * 2654435761u ^ static_cast<uint32_t>(now);
    const int32_t serial = static_cast<int32_t>(mixed & 0x7fffffff);
    return serial == 0 ? 1 : serial;
}

// The death recipient's cookie owns a reference to the waiter until the link is gone, so that a
// notice running while the client returns never finds it destroyed.
void onDaemonDied(void* cookie) {
    (*static_cast<std::shared_ptr<ResponseWaiter>*>(cookie))->daemonDied();
}

void onUnlinked(void* cookie) {
    delete static_cast<std::shared_ptr<ResponseWaiter>*>(cookie);
}

int callFailed(const Command& command, const char* call, const ndk::ScopedAStatus& status,
               std::ostream& err) {
    err << kProgram << ": " << command.name << ": ";
    if (status.getStatus() == STATUS_DEAD_OBJECT) {
        err << "the daemon died before it answered\n";
        return EXIT_DAEMON_DIED;
    }
    err << call << " failed: " << status.getDescription() << "\n";
    return EXIT_CALL_FAILED;
}

int request(const Options& options, const Command& command, const Args& args, std::ostream& out,
            std::ostream& err) {
    const std::string name =
            std::string(IModem::descriptor) + "/instance" + std::to_string(options.instance);
    const ndk::SpAIBinder binder(AServiceManager_checkService(name.c_str()));
    const std::shared_ptr<IModem> modem = IModem::fromBinder(binder);
    if (modem == nullptr) {
        err << kProgram << ": service " << name << " not found\n";
        return EXIT_NO_SERVICE;
    }
    // Responses are oneway calls into this process: one binder thread takes them in order.
    if (!ABinderProcess_isThreadPoolStarted()) {
        ABinderProcess_setThreadPoolMaxThreadCount(0);
        ABinderProcess_startThreadPool();
    }

    const int32_t serial = options.serial ? *options.serial : makeSerial();
    auto waiter = std::make_shared<ResponseWaiter>(serial, responseMethod(command));
    const ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(onDaemonDied));
    AIBinder_DeathRecipient_setOnUnlinked(recipient.get(), onUnlinked);
    const binder_status_t linked = AIBinder_linkToDeath(
            binder.get(), recipient.get(), new std::shared_ptr<ResponseWaiter>(waiter));
    // A failed link has already released its cookie. A service in this very process (a local
    // binder) cannot die before us and needs no link.
    if (linked == STATUS_DEAD_OBJECT) {
        err << kProgram << ": " << command.name << ": the daemon died before it answered\n";
        return EXIT_DAEMON_DIED;
    }

    ndk::ScopedAStatus status =
            modem->setCallback(makeResponseReceiver(waiter), makeIndicationReceiver());
    if (!status.isOk()) {
        return callFailed(command, "setCallback", status, err);
    }
    status = command.send(*modem, serial, args);
    if (!status.isOk()) {
        return callFailed(command, command.method, status, err);
    }

    const auto timeout = std::chrono::milliseconds(
            std::max<long long>(1, std::llround(options.timeoutSeconds * 1000)));
    Reply reply;
    switch (waiter->wait(timeout, &reply)) {
        case ResponseWaiter::Outcome::Answered:
            break;
        case ResponseWaiter::Outcome::TimedOut:
            err << kProgram << ": " << command.name << ": no response to serial " << serial
                << " within " << options.timeoutSeconds << " s\n";
            return EXIT_TIMEOUT;
        case ResponseWaiter::Outcome::Died:
            err << kProgram << ": " << command.name << ": the daemon died before it answered\n";
            return EXIT_DAEMON_DIED;
    }
    out << (options.json ? jsonText(command, serial, reply) : humanText(command, reply));
    out.flush();
    return exitStatusOf(reply);
}

}  // namespace

int runCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::vector<std::string> storage;
    storage.reserve(args.size() + 1);
    storage.push_back(kProgram);
    storage.insert(storage.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& arg : storage) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    Options options;
    bool help = false;
    std::string why;
    const int first = parseOptions(argv, &options, &help, &why);
    if (first < 0) {
        return usageError(err, why);
    }
    if (help) {
        printUsage(err);
        return EXIT_OK;
    }
    if (static_cast<size_t>(first) >= args.size() + 1) {
        return usageError(err, "missing subcommand");
    }
    if (storage[first] == std::string("sim")) {
#ifdef PLIM_CLI_SIM_COMMANDS
        // The simulator's socket is named apart from any instance, and its reply is one line.
        if (options.instance != 0 || options.json || options.serial) {
            return usageError(err, "sim: of the options only --timeout applies");
        }
        return runSim(std::vector<std::string>(storage.begin() + first + 1, storage.end()),
                      options.timeoutSeconds, out, err);
#else
        return usageError(err, "sim: not available on this build");
#endif
    }
    const Command* command = findCommand(storage[first]);
    if (command == nullptr) {
        return usageError(err, "unknown subcommand '" + storage[first] + "'");
    }
    const std::vector<std::string> tokens(storage.begin() + first + 1, storage.end());
    Args parsed;
    if (!parseArgs(*command, tokens, &parsed, &help, &why)) {
        return usageError(err, std::string(command->name) + ": " + why);
    }
    if (help) {
        err << "usage: " << kProgram << " [OPTIONS] " << synopsis(*command) << "\n  "
            << command->help << "\n";
        return EXIT_OK;
    }
    return request(options, *command, parsed, out, err);
}

int runCli(int argc, char** argv) {
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    return runCli(args, std::cout, std::cerr);
}

}  // namespace com::vyr::plim::cli

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Cli.h"

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>

#include "CommandLine.h"
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

int request(const GlobalOptions& options, const Command& command, const Args& args,
            std::ostream& out, std::ostream& err) {
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
    const Invocation invocation = parseCommandLine(args, err);
    switch (invocation.action) {
        case Invocation::Action::Exit:
            break;
        case Invocation::Action::Request:
            return request(invocation.options, *invocation.command, invocation.args, out, err);
        case Invocation::Action::Sim:
#ifdef PLIM_CLI_SIM_COMMANDS
            return exchangeSim(invocation.simPath, invocation.simLine,
                               invocation.options.timeoutSeconds, out, err);
#else
            break;
#endif
    }
    return invocation.exitStatus;
}

int runCli(int argc, char** argv) {
    const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
    return runCli(args, std::cout, std::cerr);
}

}  // namespace com::vyr::plim::cli

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// getOperatingMode between real processes: the daemon binary runs as a child process, and this
// process is its client through the command-line client's own response receiver, over the host
// binder's socket transport, callbacks registered once as a long-lived client would. Beside it,
// in the same run, a raw ping-pong of about a request's frame over a Unix socket to a child
// process: the least a round trip between two processes costs.

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "DaemonProcess.h"
#include "RatioReporter.h"
#include "Response.h"
#include "RoundTrips.h"

namespace com::vyr::plim::bench {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using cli::Reply;
using cli::ResponseWaiter;

// About a getOperatingMode transaction's frame: header, interface token and serial.
constexpr size_t kFrameBytes = 160;
constexpr uint32_t kSocketSamples = 20'000;
constexpr uint32_t kRequestSamples = 5'000;

bool exchange(int fd, std::array<char, kFrameBytes>& frame, bool writeFirst) {
    auto all = [&](auto io) {
        for (size_t done = 0; done < frame.size();) {
            const ssize_t n = io(fd, frame.data() + done, frame.size() - done);
            if (n <= 0)
                return false;
            done += static_cast<size_t>(n);
        }
        return true;
    };
    auto writeSome = [](int f, char* d, size_t n) { return write(f, d, n); };
    auto readSome = [](int f, char* d, size_t n) { return read(f, d, n); };
    return writeFirst ? all(writeSome) && all(readSome) : all(readSome) && all(writeSome);
}

void RawSocketPingPong(benchmark::State& state) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        state.SkipWithError("socketpair failed");
        return;
    }
    const pid_t echo = fork();
    if (echo == 0) {
        close(fds[0]);
        std::array<char, kFrameBytes> frame{};
        while (exchange(fds[1], frame, false)) {
        }
        _exit(0);
    }
    close(fds[1]);
    std::array<char, kFrameBytes> frame{};
    measure(
            state,
            [&](uint32_t) {
                exchange(fds[0], frame, true);
                return steadyNowNs();
            },
            kSocketSamples);
    close(fds[0]);
    waitpid(echo, nullptr, 0);
}

void CliRequestRoundTrip(benchmark::State& state) {
    DaemonProcess daemon;
    if (!daemon.start()) {
        state.SkipWithError("the daemon binary did not start");
        return;
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    std::shared_ptr<IModem> modem;
    for (int tries = 0; !modem && tries < 500; ++tries) {
        modem = IModem::fromBinder(ndk::SpAIBinder(
                AServiceManager_checkService("vendor.vyr.plim.modem.IModem/instance0")));
        if (!modem)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!modem) {
        state.SkipWithError("the daemon's service never appeared");
        return;
    }
    auto waiter = std::make_shared<ResponseWaiter>(0, "respondGetOperatingMode");
    modem->setCallback(cli::makeResponseReceiver(waiter), cli::makeIndicationReceiver());
    // Until the modem's DMS service is up, the daemon answers 4.
    Reply reply;
    for (int32_t serial = -1; reply.error != 0 || reply.method.empty(); --serial) {
        waiter->expect(serial);
        modem->getOperatingMode(serial);
        if (waiter->wait(std::chrono::seconds(5), &reply) != ResponseWaiter::Outcome::Answered) {
            state.SkipWithError("the daemon does not answer");
            return;
        }
        if (reply.error != 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    measure(
            state,
            [&](uint32_t serial) {
                waiter->expect(static_cast<int32_t>(serial));
                modem->getOperatingMode(static_cast<int32_t>(serial));
                waiter->wait(std::chrono::seconds(5), &reply);
                return steadyNowNs();
            },
            kRequestSamples);
}

}  // namespace
}  // namespace com::vyr::plim::bench

int main(int argc, char** argv) {
    using namespace com::vyr::plim::bench;
    benchmark::Initialize(&argc, argv);
    // The raw ping-pong first: it forks before this process has binder threads.
    benchmark::RegisterBenchmark("CrossProcess/socket", RawSocketPingPong)
            ->Iterations(1)
            ->UseRealTime();
    benchmark::RegisterBenchmark("CrossProcess/binder", CliRequestRoundTrip)
            ->Iterations(1)
            ->UseRealTime();
    RatioReporter reporter({"socket", "Unix-socket ping-pong"},
                           {{"binder", "getOperatingMode, client to daemon process"}});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

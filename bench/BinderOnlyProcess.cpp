/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "BinderOnlyProcess.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "FutexFlag.h"
#include "Response.h"

namespace com::vyr::plim::bench {

namespace {

using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

constexpr const char* kServiceName = "vendor.vyr.plim.modem.IModemResponse/binder-only";
// This process's object that the child calls back, as the daemon calls its client's callback.
constexpr const char* kClientName = "vendor.vyr.plim.modem.IModemResponse/binder-only-client";
// Long enough for the binder's threads to finish what a step set off (and free what it freed).
constexpr std::chrono::milliseconds kSettle(300);
constexpr int kReportTimeoutMs = 10'000;

uint64_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/** The binder's growth of the heap since `before`, as a line for the parent. */
void report(int fd, const char* label, uint64_t before) {
    const uint64_t now = heapInUse();
    const uint64_t bytes = now > before ? now - before : 0;
    char line[64];
    const int length = std::snprintf(line, sizeof(line), "%s %" PRIu64 "\n", label, bytes);
    (void)!write(fd, line, static_cast<size_t>(length));
}

}  // namespace

BinderOnlyProcess::BinderOnlyProcess() {
    int report[2];
    int stop[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        return;
    }
    if (pipe2(stop, O_CLOEXEC) != 0) {
        close(report[0]);
        close(report[1]);
        return;
    }
    pid_ = fork();
    if (pid_ == 0) {
        close(report[0]);
        close(stop[1]);
        runChild(report[1], stop[0]);
    }
    close(report[1]);
    close(stop[0]);
    reportFd_ = report[0];
    stopFd_ = stop[1];
}

BinderOnlyProcess::~BinderOnlyProcess() {
    if (stopFd_ >= 0) {
        close(stopFd_);
    }
    if (reportFd_ >= 0) {
        close(reportFd_);
    }
    if (pid_ > 0) {
        // It exits once the stop pipe closes; a child stuck in the binder is killed instead.
        for (int tries = 0; tries < 100 && waitpid(pid_, nullptr, WNOHANG) == 0; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (kill(pid_, SIGKILL) == 0) {
            waitpid(pid_, nullptr, 0);
        }
    }
}

void BinderOnlyProcess::runChild(int reportFd, int stopFd) {
    const uint64_t before = heapInUse();
    // As the daemon does (binder/AidlService.cpp).
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    FutexFlag served;
    {
        std::shared_ptr<IModemResponse> service =
                cli::makeResponseReceiver([&served](cli::Reply) { served.set(1); });
        if (AServiceManager_addService(service->asBinder().get(), kServiceName) != EX_NONE) {
            _exit(1);
        }
        std::this_thread::sleep_for(kSettle);
        report(reportFd, "registered", before);
        served.waitFor(1);
        // As the daemon answers: through a proxy of the client's object, whose interface is
        // checked as it arrives, so the child holds a connection each way like the daemon.
        std::shared_ptr<IModemResponse> client = IModemResponse::fromBinder(
                ndk::SpAIBinder(AServiceManager_checkService(kClientName)));
        if (!client || !client->respondGetOperatingMode(ResponseInfo{}, 0).isOk()) {
            _exit(1);
        }
        std::this_thread::sleep_for(kSettle);
        report(reportFd, "served", before);
        // Held until the parent is done: a service that left would free its share.
        char byte;
        while (read(stopFd, &byte, 1) > 0) {
        }
    }
    _exit(0);
}

bool BinderOnlyProcess::readFigure(const char* label, uint64_t* bytes) {
    std::string line;
    while (line.find('\n') == std::string::npos) {
        pollfd polled{reportFd_, POLLIN, 0};
        char byte;
        // One byte at a time: the next line must stay in the pipe for the next read.
        if (poll(&polled, 1, kReportTimeoutMs) != 1 || read(reportFd_, &byte, 1) != 1) {
            return false;
        }
        line += byte;
    }
    const std::string format = std::string(label) + " %" SCNu64;
    return std::sscanf(line.c_str(), format.c_str(), bytes) == 1;
}

std::optional<BinderOnlyProcess::Share> BinderOnlyProcess::measure() {
    Share share;
    if (pid_ <= 0) {
        return std::nullopt;
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    clientObject_ = cli::makeResponseReceiver([](cli::Reply) {});
    if (AServiceManager_addService(clientObject_->asBinder().get(), kClientName) != EX_NONE ||
        !readFigure("registered", &share.registeredBytes)) {
        return std::nullopt;
    }
    std::shared_ptr<IModemResponse> service =
            IModemResponse::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(kServiceName)));
    if (!service || !service->respondGetOperatingMode(ResponseInfo{}, 0).isOk() ||
        !readFigure("served", &share.servedBytes)) {
        return std::nullopt;
    }
    return share;
}

}  // namespace com::vyr::plim::bench

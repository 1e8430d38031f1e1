/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DaemonProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace com::vyr::plim::test {

DaemonProcess::DaemonProcess(const std::vector<std::string>& args) {
    int fds[2];
    if (pipe(fds) != 0) {
        throw std::runtime_error("pipe failed");
    }
    std::vector<char*> argv;
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        dup2(fds[1], STDERR_FILENO);
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(fds[1]);
    outFd_ = fds[0];
}

DaemonProcess::~DaemonProcess() {
    if (!exited_ && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    if (outFd_ >= 0) {
        close(outFd_);
    }
}

bool DaemonProcess::readSome(std::chrono::milliseconds timeout) {
    pollfd pfd{outFd_, POLLIN, 0};
    if (poll(&pfd, 1, static_cast<int>(timeout.count())) <= 0) {
        return true;
    }
    char buffer[4096];
    ssize_t n = read(outFd_, buffer, sizeof(buffer));
    if (n <= 0) {
        return false;
    }
    output_.append(buffer, static_cast<size_t>(n));
    return true;
}

bool DaemonProcess::waitForOutput(const std::string& text, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (output_.find(text) == std::string::npos) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !readSome(left)) {
            return output_.find(text) != std::string::npos;
        }
    }
    return true;
}

int DaemonProcess::waitForExit(std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            exited_ = true;
            while (readSome(std::chrono::milliseconds(0)) && output_.size() < (1u << 20)) {
                pollfd pfd{outFd_, POLLIN, 0};
                if (poll(&pfd, 1, 0) <= 0) {
                    break;
                }
            }
            return status;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            return -1;
        }
        readSome(std::chrono::milliseconds(20));
    }
}

void DaemonProcess::kill(int signal) {
    ::kill(pid_, signal);
}

}  // namespace com::vyr::plim::test

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace com::vyr::plim::test {

/**
 * The daemon binary run as a child process, with its log output (stderr on the host) collected.
 * The destructor kills a child that is still running.
 */
class DaemonProcess {
  public:
    explicit DaemonProcess(const std::vector<std::string>& args);
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    /** Reads output until `text` appears; false on timeout or when the child closes its output. */
    bool waitForOutput(const std::string& text,
                       std::chrono::milliseconds timeout = std::chrono::seconds(20));

    /** Reads output until the child exits; returns its raw wait status, or -1 on timeout. */
    int waitForExit(std::chrono::milliseconds timeout = std::chrono::seconds(20));

    void kill(int signal);
    pid_t pid() const { return pid_; }
    const std::string& output() const { return output_; }

  private:
    /** Reads what is available within `timeout`; false at end of output. */
    bool readSome(std::chrono::milliseconds timeout);

    pid_t pid_ = -1;
    int outFd_ = -1;
    bool exited_ = false;
    std::string output_;
};

}  // namespace com::vyr::plim::test

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace com::vyr::plim::bench {

/**
 * The daemon binary (instance 0) as a child process, in a binder socket directory of this run:
 * the directory is made, and named to this process's host binder, as the object is made, so that
 * whatever this process starts later finds the same one. The child is killed and the directory
 * removed when the object goes.
 */
class DaemonProcess {
  public:
    DaemonProcess();
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    /** Starts the daemon with "NAME=value" entries added to this process's environment. */
    bool start(const std::vector<std::string>& environment = {});

    /** The socket directory; empty if it could not be made. */
    const std::string& directory() const { return directory_; }
    /** The child's process id; -1 before it started. */
    pid_t pid() const { return pid_; }

  private:
    std::string directory_;
    pid_t pid_ = -1;
};

}  // namespace com::vyr::plim::bench

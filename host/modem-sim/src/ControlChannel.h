/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The control channel: the test control of a running process's simulated modem, reached over a
// Unix-domain stream socket, so that a daemon started as a process can have faults injected
// from outside (plim-modem-cli's `sim` subcommands, end-to-end tests). The protocol is described
// with kControlSocketVariable in <modem_sim/ModemSimControl.h>.
//
// Every connection is served on the channel's one thread, polled together, so an idle client
// holds up no one. A line is acted on only once its newline has arrived: a client that goes
// away mid-line changes nothing. Nothing a client sends can end the process: replies are sent
// without SIGPIPE and without blocking, and a client that does not read them is dropped.
//
// Threads: open() and the destructor from any thread but the channel's own; execute() from any
// thread but a library callback's.

#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace modemsim {

class ControlChannel {
  public:
    /** Longest command line served, its newline not counted. */
    static constexpr size_t kMaxLine = 1024;
    /** Clients served at once; more wait in the listen queue until one leaves. */
    static constexpr size_t kMaxClients = 8;

    /**
     * Listens on `path` and serves clients running as `owner` until destroyed. A socket left
     * there by an earlier process is replaced; any other file there is left alone. Null, with
     * the reason in `why`, when it cannot listen.
     */
    static std::unique_ptr<ControlChannel> open(const std::string& path, uid_t owner,
                                                std::string* why);
    /**
     * Opens the channel the environment names, if any, for the rest of the process; its socket
     * is removed at exit. Reasons it cannot be opened go to stderr: the library works on
     * without it. Called as the library is first used; later calls do nothing.
     */
    static void openFromEnvironment();

    /** Stops serving, closes every connection and removes the socket. */
    ~ControlChannel();
    ControlChannel(const ControlChannel&) = delete;
    ControlChannel& operator=(const ControlChannel&) = delete;

    /** Runs one command line (no newline) on the library; its reply line, no newline. */
    static std::string execute(std::string_view line);

  private:
    ControlChannel(std::string path, int listener, int wakeRead, int wakeWrite, uid_t owner,
                   dev_t device, ino_t inode);

    void serve();
    // Accepts a waiting client; a stranger is logged and turned away.
    int accept() const;
    // Removes the socket file unless another process has put its own there since.
    void removeSocket() const;

    const std::string mPath;
    const int mListener;
    // Written by the destructor to wake the thread from poll().
    const int mWakeRead;
    const int mWakeWrite;
    const uid_t mOwner;
    // The socket file bound, to tell it from one a later process bound at the same path.
    const dev_t mDevice;
    const ino_t mInode;
    std::thread mThread;
};

}  // namespace modemsim

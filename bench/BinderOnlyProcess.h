/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace com::vyr::plim::bench {

/**
 * The host binder's share of a daemon's heap: a child process, forked from this one, that runs
 * only the host binder as the daemon sets it up (a pool of one binder thread, one registered
 * service), then serves one call of this process and calls back an object of this one, as the
 * daemon answers its client. It measures its own heap before it first uses the binder and after
 * each step; the differences are the binder's.
 *
 * Fork it before this process has threads of its own (the binder's included): the child copies
 * only the forking thread. measure() starts this process's binder pool (one thread) and
 * registers an object here; the binder is used in the socket directory set before
 * (PLIM_BINDER_SOCKET_DIR).
 */
class BinderOnlyProcess {
  public:
    struct Share {
        uint64_t registeredBytes = 0;  // pool started and service registered
        uint64_t servedBytes = 0;      // and a call served, and one made to the caller's object
    };

    BinderOnlyProcess();
    ~BinderOnlyProcess();
    BinderOnlyProcess(const BinderOnlyProcess&) = delete;
    BinderOnlyProcess& operator=(const BinderOnlyProcess&) = delete;

    /** Calls the child's service from this process and collects its figures; nothing on failure. */
    std::optional<Share> measure();

  private:
    [[noreturn]] static void runChild(int reportFd, int stopFd);
    bool readFigure(const char* label, uint64_t* bytes);

    pid_t pid_ = -1;
    int reportFd_ = -1;  // the child's lines
    int stopFd_ = -1;    // closed to let the child exit
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> clientObject_;
};

}  // namespace com::vyr::plim::bench

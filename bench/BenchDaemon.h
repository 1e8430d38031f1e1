/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_host.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include <plim/Looper.h>

#include "FutexFlag.h"
#include "SteadyClock.h"

namespace com::vyr::plim::bench {

class PingResponse;

/**
 * Daemon instance 0 on the simulated modem in this process, as on a device (main looper thread,
 * service in the default binder process with its production pool), and one client process that
 * has registered a response callback. The callback stores when it ran in `answeredAtNs`, then
 * sets `answered` to the serial of an operating-mode or build-time response.
 */
class BenchDaemon {
  public:
    BenchDaemon();
    ~BenchDaemon();

    /** The service proxy; call it from inside client(). */
    aidl::vendor::vyr::plim::modem::IModem& modem() { return *modem_; }
    /**
     * The proxy of a service with the same interface that answers getOperatingMode and
     * getBuildTime at once from its binder thread, straight to the callback: the binder's own
     * share of a request. Call it from inside client().
     */
    aidl::vendor::vyr::plim::modem::IModem& echo() { return *echo_; }
    ABinderHost_Process* client() { return client_.get(); }

    FutexFlag answered;
    std::atomic<int64_t> answeredAtNs{0};

  private:
    std::shared_ptr<Looper> mainLooper_;
    std::thread main_;
    ndk::host::ScopedProcess client_{"bench-client"};
    std::shared_ptr<PingResponse> response_;
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> modem_;
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> echoService_;
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> echo_;
};

}  // namespace com::vyr::plim::bench

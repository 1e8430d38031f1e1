/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace com::vyr::plim::bench {

/**
 * Many cheap requests at once from several threads of this process, each thread calling as fast
 * as the daemon takes the calls, answered to one response object registered once: the load of a
 * busy client. Only one storm runs at a time.
 */
class RequestStorm {
  public:
    struct Outcome {
        uint64_t sent = 0;
        uint64_t answered = 0;
        uint64_t failed = 0;        // answered with an error
        uint64_t peakInFlight = 0;  // most sent and not yet answered, as sampled
        double seconds = 0;
        bool complete = false;  // every request answered in time
    };

    explicit RequestStorm(std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> modem);

    /** The response object to register with setCallback: it counts every response. */
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> receiver();

    /**
     * Plants the NV item the mix reads, then sends one request of each kind and waits for their
     * answers: true if none failed (every modem service the mix needs is up).
     */
    bool ready();

    /**
     * Sends `requests` requests, a mix of cheap reads, from `threads` threads; while they are
     * answered, calls `sample` again and again on this thread. Returns once every request is
     * answered, or after a minute.
     */
    Outcome run(uint32_t threads, uint32_t requests, const std::function<void()>& sample);

  private:
    void send(uint32_t index);
    bool waitForAnswers(uint64_t count, std::chrono::steady_clock::time_point deadline);

    const std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> modem_;
    std::atomic<uint64_t> sent_{0};
    std::atomic<uint64_t> answered_{0};
    std::atomic<uint64_t> failed_{0};
    int32_t nextSerial_ = 1;
};

}  // namespace com::vyr::plim::bench

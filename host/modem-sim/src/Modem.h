/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The simulated modem and its library, one per process like the closed library it stands in
// for: the device state, the event thread and the reply thread. The C API and the test control
// are thin layers over it.
//
// Locks: mLifecycleLock (start and reset) before mLock (the device) before the job threads'
// own. No lock is held while a callback of the daemon runs.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <modem_api.h>

#include "Device.h"
#include "JobThread.h"
#include "Mutex.h"
#include "WorkCounter.h"

namespace modemsim {

class Modem {
  public:
    using Clock = std::chrono::steady_clock;
    /** Runs with the device locked; returns the call's result. */
    using Body = std::function<modem_api_result_type(Device&)>;
    /** Runs with the device locked on the reply thread; fills the reply's payload. */
    using ReplyBody = std::function<modem_api_result_type(Device&, uint8_t* payload)>;

    /** For calls that need no service connection. */
    static constexpr int32_t kNoService = -1;

    static Modem& instance();

    modem_api_result_type initPre() HOST_EXCLUDES(mLifecycleLock, mLock);

    /**
     * One synchronous call: recorded, then the planned latency and fault, then `argsValid`
     * (else MODEM_API_INVALID_ARGUMENT), then the service (else MODEM_API_SERVICE_NOT_READY),
     * then `body`; connections are settled after it.
     */
    modem_api_result_type call(const char* function, std::string args, int32_t service,
                               bool argsValid, const Body& body) HOST_EXCLUDES(mLock);

    /**
     * One asynchronous call: checked like call(), then answered on the reply thread after the
     * planned latency by `body`, or with MODEM_API_SERVICE_NOT_READY if the service dropped
     * meanwhile. `cb` is called only when this returns 0.
     */
    modem_api_result_type callAsync(const char* function, std::string args, int32_t service,
                                    bool argsValid, void* userData, modem_api_async_cb cb,
                                    ReplyBody body) HOST_EXCLUDES(mLock);

    /** Reads the device under its lock. */
    template <typename Reader>
    auto inspect(Reader reader) HOST_EXCLUDES(mLock) {
        MutexLock lock(mLock);
        return reader(static_cast<const Device&>(mDevice));
    }
    /** Changes the device under its lock, then settles the connections. */
    template <typename Changer>
    void change(Changer changer) HOST_EXCLUDES(mLock) {
        MutexLock lock(mLock);
        changer(mDevice);
        settleLocked();
    }

    /** Queues an event for the event callback, subscribed or not. */
    void injectEvent(modem_api_event_type event, std::vector<uint8_t> data, bool nullData)
            HOST_EXCLUDES(mLock);

    void reset() HOST_EXCLUDES(mLifecycleLock, mLock);
    bool waitForIdle(std::chrono::milliseconds timeout);

  private:
    Modem() = default;

    FaultPlan::Admission admit(const char* function, std::string args) HOST_EXCLUDES(mLock);
    // Connects what is due, schedules the next check and queues the events of every change.
    void settleLocked() HOST_REQUIRES(mLock);
    void scheduleCheckLocked(Clock::time_point when) HOST_REQUIRES(mLock);
    void onScheduledCheck() HOST_EXCLUDES(mLock);
    void postEventLocked(modem_api_event_type event, std::vector<uint8_t> data, bool nullData)
            HOST_REQUIRES(mLock);
    void deliverEvent(modem_api_event_type event, std::vector<uint8_t>& data, bool nullData)
            HOST_EXCLUDES(mLock);
    void reply(int32_t service, uint32_t messageId, void* userData, modem_api_async_cb cb,
               const ReplyBody& body) HOST_EXCLUDES(mLock);

    Mutex mLifecycleLock;
    Mutex mLock;
    Device mDevice HOST_GUARDED_BY(mLock);
    // The earliest connection check queued on the event thread, if any.
    std::optional<Clock::time_point> mCheckAt HOST_GUARDED_BY(mLock);
    WorkCounter mWork;
    JobThread mEvents{"modem-events", mWork};
    JobThread mReplies{"modem-replies", mWork};
};

}  // namespace modemsim

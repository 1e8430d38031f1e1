/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The simulated modem and its library, one per process like the closed library it stands in
// for: the device state, the event thread, the request thread and the two reply threads. The C
// API and the test control are thin layers over it.
//
// An accepted asynchronous request goes to the request thread, which runs its body in due order,
// as the modem processes requests one at a time; the answer then goes out on the reply thread
// its message id picks. So the modem's state changes in request order, while replies of
// different requests may reach the daemon concurrently and out of order.
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

#include "AsyncReply.h"
#include "Device.h"
#include "JobThread.h"
#include "Mutex.h"
#include "StateFile.h"
#include "WorkCounter.h"

namespace modemsim {

class Modem {
  public:
    using Clock = std::chrono::steady_clock;
    /** Runs with the device locked; returns the call's result. */
    using Body = std::function<modem_api_result_type(Device&)>;
    /** Runs with the device locked on the request thread; fills the reply's payload. */
    using ReplyBody = std::function<modem_api_result_type(Device&, uint8_t* payload)>;

    /** For calls that need no service connection. */
    static constexpr int32_t kNoService = -1;

    static Modem& instance();

    modem_api_result_type initPre() HOST_EXCLUDES(mLifecycleLock, mLock);

    /**
     * One synchronous call: recorded, then the planned latency and fault, then `argsValid`
     * (else MODEM_API_INVALID_ARGUMENT), then the service (else MODEM_API_SERVICE_NOT_READY),
     * then `body`; connections are settled and the answers it made queued after it.
     */
    modem_api_result_type call(const char* function, std::string args, int32_t service,
                               bool argsValid, const Body& body) HOST_EXCLUDES(mLock);

    /**
     * One asynchronous call: checked like call(), then processed by `body` after the planned
     * latency, or answered with MODEM_API_SERVICE_NOT_READY if the service dropped meanwhile,
     * and answered on a reply thread. `cb` is called only when this returns 0.
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
    // Loads the saved state when the environment names a state directory, and opens the control
    // channel when it names a socket.
    Modem();

    FaultPlan::Admission admit(const char* function, std::string args) HOST_EXCLUDES(mLock);
    // Connects what is due, schedules the next check and queues the events of every change and
    // the answers the device holds.
    void settleLocked() HOST_REQUIRES(mLock);
    void scheduleCheckLocked(Clock::time_point when) HOST_REQUIRES(mLock);
    void onScheduledCheck() HOST_EXCLUDES(mLock);
    void postEventLocked(modem_api_event_type event, std::vector<uint8_t> data, bool nullData)
            HOST_REQUIRES(mLock);
    void deliverEvent(modem_api_event_type event, std::vector<uint8_t>& data, bool nullData)
            HOST_EXCLUDES(mLock);
    // Runs a request's body as the modem, then hands the answer to its reply thread.
    void process(int32_t service, const ReplyBody& body, AsyncReply reply) HOST_EXCLUDES(mLock);
    void startThreads();
    void stopThreads();

    Mutex mLifecycleLock;
    Mutex mLock;
    Device mDevice HOST_GUARDED_BY(mLock);
    // Where the state is saved after every change, when the process asked for it.
    std::optional<StateFile> mStateFile HOST_GUARDED_BY(mLock);
    // The earliest connection check queued on the event thread, if any.
    std::optional<Clock::time_point> mCheckAt HOST_GUARDED_BY(mLock);
    WorkCounter mWork;
    JobThread mEvents{"modem-events", mWork};
    JobThread mRequests{"modem-requests", mWork};
    // Picked by the parity of the message id: consecutive requests are answered on different
    // threads, so a daemon that assumes one reply at a time, or replies in order, is caught.
    JobThread mReplies[2]{{"modem-replies-0", mWork}, {"modem-replies-1", mWork}};
};

}  // namespace modemsim

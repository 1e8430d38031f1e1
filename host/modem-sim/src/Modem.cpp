/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Modem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include "ControlChannel.h"

namespace modemsim {

namespace {

std::vector<uint8_t> serviceIdBytes(int32_t serviceId) {
    std::vector<uint8_t> bytes(sizeof(serviceId));
    std::memcpy(bytes.data(), &serviceId, sizeof(serviceId));
    return bytes;
}

}  // namespace

Modem::Modem() {
    const char* dir = std::getenv(kStateDirVariable);
    if (dir != nullptr && *dir != '\0') {
        MutexLock lock(mLock);
        mStateFile.emplace(dir);
        if (std::optional<State> saved = mStateFile->load())
            mDevice.settings = std::move(*saved);
    }
    // Last, with the saved state in place: the channel's thread may take a command at once (it
    // reaches this modem through instance(), which waits for the constructor to return).
    ControlChannel::openFromEnvironment();
}

Modem& Modem::instance() {
    // Never destroyed, like the process-wide library it stands in for: the daemon's static
    // destructors may still call in at exit, and a callback may be running on one of its
    // threads then, so neither tearing the state down nor joining those threads is safe.
    static Modem* modem = new Modem();
    return *modem;
}

modem_api_result_type Modem::initPre() {
    const FaultPlan::Admission admission = admit("modem_api_init_pre", "");
    if (admission.latency.count() > 0)
        std::this_thread::sleep_for(admission.latency);
    if (admission.fault)
        return *admission.fault;
    {
        // Before the lifecycle lock: reset() holds it while waiting for a callback, which may
        // call this. The library still counts as started then, so that call returns here.
        MutexLock lock(mLock);
        if (mDevice.started)
            return MODEM_API_SUCCESS;
    }
    MutexLock lifecycle(mLifecycleLock);
    startThreads();
    MutexLock lock(mLock);
    mDevice.started = true;
    settleLocked();
    return MODEM_API_SUCCESS;
}

modem_api_result_type Modem::call(const char* function, std::string args, int32_t service,
                                  bool argsValid, const Body& body) {
    const FaultPlan::Admission admission = admit(function, std::move(args));
    if (admission.latency.count() > 0)
        std::this_thread::sleep_for(admission.latency);
    if (admission.fault)
        return *admission.fault;
    if (!argsValid)
        return MODEM_API_INVALID_ARGUMENT;
    MutexLock lock(mLock);
    if (service != kNoService && !mDevice.services.isConnected(service))
        return MODEM_API_SERVICE_NOT_READY;
    const modem_api_result_type result = body(mDevice);
    settleLocked();
    return result;
}

modem_api_result_type Modem::callAsync(const char* function, std::string args, int32_t service,
                                       bool argsValid, void* userData, modem_api_async_cb cb,
                                       ReplyBody body) {
    const FaultPlan::Admission admission = admit(function, std::move(args));
    if (admission.fault)
        return *admission.fault;
    if (!argsValid || cb == nullptr)
        return MODEM_API_INVALID_ARGUMENT;
    MutexLock lock(mLock);
    if (service != kNoService && !mDevice.services.isConnected(service))
        return MODEM_API_SERVICE_NOT_READY;
    AsyncReply reply;
    reply.record.msg_id = ++mDevice.lastMessageId;
    reply.userData = userData;
    reply.callback = cb;
    // Decided as the call is accepted, so that `skip` counts calls in the order they were made.
    reply.tamper = mDevice.tampers.take(function);
    mRequests.post(Clock::now() + admission.latency, [this, service, body = std::move(body),
                                                      reply] { process(service, body, reply); });
    return MODEM_API_SUCCESS;
}

void Modem::injectEvent(modem_api_event_type event, std::vector<uint8_t> data, bool nullData) {
    MutexLock lock(mLock);
    postEventLocked(event, std::move(data), nullData);
}

void Modem::reset() {
    if (JobThread::isJobThread()) {
        // It would have to wait for the callback it is called from.
        std::fprintf(stderr, "modem-sim: reset() called from a library callback\n");
        std::abort();
    }
    MutexLock lifecycle(mLifecycleLock);
    stopThreads();
    MutexLock lock(mLock);
    mDevice = Device();
    mCheckAt.reset();
    // Drops what callers posted while the threads were stopping: it belongs to the old session.
    stopThreads();
}

bool Modem::waitForIdle(std::chrono::milliseconds timeout) {
    // From a library thread this would wait for itself.
    if (JobThread::isJobThread())
        return false;
    return mWork.waitUntilIdle(Clock::now() + timeout);
}

FaultPlan::Admission Modem::admit(const char* function, std::string args) {
    MutexLock lock(mLock);
    if (mDevice.calls.size() == Device::kRecordedCalls)
        mDevice.calls.pop_front();
    mDevice.calls.push_back(Call{function, std::move(args)});
    return mDevice.faults.admit(function);
}

void Modem::settleLocked() {
    const Clock::time_point now = Clock::now();
    std::optional<Clock::time_point> next;
    if (mDevice.started && mDevice.callback != nullptr &&
        mDevice.isSubscribed(MODEM_API_EVENT_SERVICE_CONNECTED)) {
        next = mDevice.services.connectDue(now, mDevice.connectDelay);
    }
    // A check when a restart ends, so that waitForIdle() waits through the downtime.
    const Clock::time_point back = mDevice.services.downUntil();
    if (back > now && (!next || back < *next))
        next = back;
    if (next && mDevice.started)
        scheduleCheckLocked(*next);
    if (mStateFile)
        mStateFile->save(mDevice.settings);

    // The answers first: the calls that made them ran before the changes settled here.
    for (Device::Answer& answer : mDevice.answers) {
        if (mDevice.isSubscribed(answer.event))
            postEventLocked(answer.event, std::move(answer.data), false);
    }
    mDevice.answers.clear();
    for (const ServiceTable::Transition& transition : mDevice.services.takeTransitions()) {
        const modem_api_event_type event = transition.connected
                                                   ? MODEM_API_EVENT_SERVICE_CONNECTED
                                                   : MODEM_API_EVENT_SERVICE_DISCONNECTED;
        if (mDevice.isSubscribed(event))
            postEventLocked(event, serviceIdBytes(transition.serviceId), false);
    }
}

void Modem::scheduleCheckLocked(Clock::time_point when) {
    // A later check already queued stays queued; it finds nothing to do and costs nothing.
    if (mCheckAt && *mCheckAt <= when)
        return;
    mCheckAt = when;
    mEvents.post(when, [this] { onScheduledCheck(); });
}

void Modem::onScheduledCheck() {
    MutexLock lock(mLock);
    if (mCheckAt && *mCheckAt <= Clock::now())
        mCheckAt.reset();
    settleLocked();
}

void Modem::postEventLocked(modem_api_event_type event, std::vector<uint8_t> data, bool nullData) {
    // Posted under the device lock, so events queue in the order the modem decided them.
    mEvents.post(Clock::now(), [this, event, data = std::move(data), nullData]() mutable {
        deliverEvent(event, data, nullData);
    });
}

void Modem::deliverEvent(modem_api_event_type event, std::vector<uint8_t>& data, bool nullData) {
    modem_api_event_cb callback;
    {
        MutexLock lock(mLock);
        callback = mDevice.callback;
    }
    if (callback != nullptr)
        callback(event, nullData ? nullptr : data.data(), data.size());
}

void Modem::process(int32_t service, const ReplyBody& body, AsyncReply reply) {
    MutexLock lock(mLock);
    modem_api_result_type result;
    if (service != kNoService && !mDevice.services.isConnected(service)) {
        result = MODEM_API_SERVICE_NOT_READY;
    } else {
        result = body(mDevice, reply.record.payload);
        settleLocked();
    }
    reply.record.result = static_cast<uint32_t>(result);
    mReplies[reply.record.msg_id % 2].post(Clock::now(), [reply] { reply.deliver(); });
}

void Modem::startThreads() {
    mEvents.start();
    mRequests.start();
    for (JobThread& replies : mReplies)
        replies.start();
}

void Modem::stopThreads() {
    // Requests before replies, so that an answer the last request hands over is dropped too.
    mEvents.stop();
    mRequests.stop();
    for (JobThread& replies : mReplies)
        replies.stop();
}

}  // namespace modemsim

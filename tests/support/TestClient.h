/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A modem client in a simulated process of its own: it owns one IModemResponse and one
// IModemIndication object and publishes both, so that the daemon side (the default process)
// reaches them only through proxies, as it would on a device.

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <aidl/vendor/vyr/plim/modem/IModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>
#include <android/binder_host.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace com::vyr::plim::test {

/** One IModemResponse call as the client's object saw it. */
struct RecordedCall {
    std::string process;  // the simulated process the call ran in
    bool onBinderThread = false;
    std::string method;
    aidl::vendor::vyr::plim::modem::ResponseInfo info;
    std::string result;  // describeResult() of the result, empty for methods without one

    /** "<process>: <method> type=<t> serial=<s> error=<e>[ result=<result>]" */
    std::string text() const;
};

/** The texts of `calls`, in order, for whole-list comparisons with readable failures. */
std::vector<std::string> texts(const std::vector<RecordedCall>& calls);

/** Results as the client records them: exact, and distinct for any two different values. */
std::string describeResult(const std::string& value);
std::string describeResult(const std::vector<uint8_t>& value);
std::string describeResult(const std::vector<std::string>& value);
std::string describeResult(int32_t value);
std::string describeResult(bool value);

class RecordingResponse;
class QuietIndication;

class TestClient {
  public:
    /** Creates the process `name` (no binder threads yet) and publishes its two callbacks. */
    explicit TestClient(const std::string& name);
    ~TestClient();
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;

    /** Starts the client's binder threads: one now, up to `maxLazyThreads` more on demand. */
    void startThreads(uint32_t maxLazyThreads = 1);
    bool kill() { return process_.kill(); }
    ndk::host::ScopedProcess& process() { return process_; }
    const std::string& name() const { return name_; }

    /**
     * A new proxy object for the client's response callback, made in the calling thread's
     * process (the daemon's). Every call returns a distinct object for the same remote binder,
     * as each setCallback would. Null once the client is dead.
     */
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> responseProxy();
    /** The same for the indication callback. */
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemIndication> indicationProxy();

    /**
     * Connects to the daemon's service of `instanceId` from this client's process and registers
     * this client's two callbacks with it. The proxy belongs to the client's process: call it
     * inside run(). Empty if the service is not registered.
     */
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> connect(int instanceId);
    /** Runs `fn` on the calling thread inside the client's process. */
    template <typename Fn>
    auto run(Fn&& fn) -> decltype(fn()) {
        return process_.run(std::forward<Fn>(fn));
    }

    /** The calls the client's response object received so far, removed from its record. */
    std::vector<RecordedCall> takeCalls();
    /** Waits until at least `count` calls are recorded (and not yet taken); false on timeout. */
    bool waitForCalls(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    /** Proxy objects handed out by this client that something still holds. */
    size_t liveProxies();

  private:
    // Declared first so that it is destroyed last: killing the process releases its objects.
    ndk::host::ScopedProcess process_;
    const std::string name_;
    const std::string responseService_;
    const std::string indicationService_;
    std::shared_ptr<RecordingResponse> response_;
    std::shared_ptr<QuietIndication> indication_;

    std::mutex mutex_;
    std::vector<std::weak_ptr<ndk::ICInterface>> handedOut_;
};

/**
 * Holds back the daemon's death notice for one proxy. Linked before anyone else links the proxy,
 * its part runs first within the notice and waits for release(), and so every later link's part
 * (the holders') waits too. This lets a test act between a client's death and the holders
 * hearing of it, which is otherwise a race.
 */
class DeathNoticeGate {
  public:
    explicit DeathNoticeGate(const ndk::SpAIBinder& proxy);
    /** Releases the notice and, if the object died, waits until the gate's part has returned. */
    ~DeathNoticeGate();
    DeathNoticeGate(const DeathNoticeGate&) = delete;
    DeathNoticeGate& operator=(const DeathNoticeGate&) = delete;

    /** Waits until the notice has reached the gate; false if it did not in time. */
    bool waitUntilNoticed();
    void release();

  private:
    static void onDied(void* cookie);

    const ndk::SpAIBinder proxy_;
    ndk::ScopedAIBinder_DeathRecipient recipient_;
    bool linked_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool noticed_ = false;
    bool released_ = false;
    bool finished_ = false;
};

}  // namespace com::vyr::plim::test

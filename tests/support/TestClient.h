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
#include <android/binder_manager.h>

#include <chrono>
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

class TestClient : public ndk::host::ScopedProcess {
  public:
    /** Creates the process `name` (no binder threads yet) and publishes its two callbacks. */
    explicit TestClient(const std::string& name);
    ~TestClient();

    const std::string& name() const { return name_; }

    /**
     * A new proxy object for the client's `Callback` (IModemResponse or IModemIndication), made
     * in the calling thread's process (the daemon's). Every call returns a distinct object for
     * the same remote binder, as each setCallback would. Null once the client is dead.
     */
    template <typename Callback>
    std::shared_ptr<Callback> proxy() {
        std::shared_ptr<Callback> proxy = Callback::fromBinder(ndk::SpAIBinder(
                AServiceManager_checkService(serviceName(Callback::descriptor).c_str())));
        if (proxy) {
            std::lock_guard<std::mutex> lock(mutex_);
            handedOut_.push_back(proxy);
        }
        return proxy;
    }

    /**
     * Connects to the daemon's service of `instanceId` from this client's process and registers
     * this client's two callbacks with it. The proxy belongs to the client's process: call it
     * inside run(). Empty if the service is not registered.
     */
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> connect(int instanceId);

    /** The calls the client's response object received so far, removed from its record. */
    std::vector<RecordedCall> takeCalls();
    /** Waits until at least `count` calls are recorded (and not yet taken); false on timeout. */
    bool waitForCalls(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10));
    /**
     * Fails the test if a response came that no step took (or a second answer to a serial), if
     * work is still queued to the client or if a proxy it handed out is still held.
     */
    void expectNothingLeft();

  private:
    /** Where the client publishes its callback of `descriptor`. */
    std::string serviceName(const char* descriptor) const {
        return "plim.test/" + name_ + "/" + descriptor;
    }

    const std::string name_;
    std::shared_ptr<RecordingResponse> response_;
    std::shared_ptr<QuietIndication> indication_;

    std::mutex mutex_;
    std::vector<std::weak_ptr<ndk::ICInterface>> handedOut_;
};

}  // namespace com::vyr::plim::test

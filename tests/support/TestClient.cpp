/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "TestClient.h"

#include <aidl/vendor/vyr/plim/modem/BnModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

namespace com::vyr::plim::test {

using aidl::vendor::vyr::plim::modem::BnModemIndication;
using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

std::string RecordedCall::text() const {
    std::string line = process + ": " + method + " type=" + std::to_string(info.type) +
                       " serial=" + std::to_string(info.serial) +
                       " error=" + std::to_string(info.error);
    if (!result.empty()) {
        line += " result=" + result;
    }
    return line;
}

std::vector<std::string> texts(const std::vector<RecordedCall>& calls) {
    std::vector<std::string> lines;
    for (const RecordedCall& call : calls) {
        lines.push_back(call.text());
    }
    return lines;
}

// Sizes are part of each description so that a truncated or padded value never reads the same.
std::string describeResult(const std::string& value) {
    return "string(" + std::to_string(value.size()) + ")\"" + value + "\"";
}

std::string describeResult(const std::vector<uint8_t>& value) {
    std::string text = "bytes(" + std::to_string(value.size()) + ")[";
    for (size_t i = 0; i < value.size(); ++i) {
        char hex[4];
        std::snprintf(hex, sizeof(hex), i == 0 ? "%02x" : " %02x", value[i]);
        text += hex;
    }
    return text + "]";
}

std::string describeResult(const std::vector<std::string>& value) {
    std::string text = "strings(" + std::to_string(value.size()) + "){";
    for (size_t i = 0; i < value.size(); ++i) {
        text += (i == 0 ? "" : ", ") + describeResult(value[i]);
    }
    return text + "}";
}

std::string describeResult(int32_t value) {
    return "int(" + std::to_string(value) + ")";
}

std::string describeResult(bool value) {
    return value ? "bool(true)" : "bool(false)";
}

/** The client's response object: records every call with the method it arrived on. */
class RecordingResponse : public BnModemResponse {
  public:
    std::vector<RecordedCall> take() {
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<RecordedCall> calls;
        calls.swap(calls_);
        return calls;
    }

    bool waitFor(size_t count, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mutex_);
        return recorded_.wait_for(lock, timeout, [&] { return calls_.size() >= count; });
    }

#define PLIM_RECORD(Method)                                        \
    ndk::ScopedAStatus Method(const ResponseInfo& info) override { \
        record(#Method, info, std::string());                      \
        return ndk::ScopedAStatus::ok();                           \
    }
#define PLIM_RECORD_RESULT(Method, Type)                                        \
    ndk::ScopedAStatus Method(const ResponseInfo& info, Type result) override { \
        record(#Method, info, describeResult(result));                          \
        return ndk::ScopedAStatus::ok();                                        \
    }
    PLIM_RECORD_RESULT(respondGetBuildTime, const std::string&)
    PLIM_RECORD_RESULT(respondGetBuildId, const std::string&)
    PLIM_RECORD_RESULT(respondReadNv, const std::vector<uint8_t>&)
    PLIM_RECORD(respondWriteNv)
    PLIM_RECORD_RESULT(respondReadEfs, const std::vector<uint8_t>&)
    PLIM_RECORD(respondWriteEfs)
    PLIM_RECORD(respondDeleteEfsFile)
    PLIM_RECORD(respondDeleteEfsDir)
    PLIM_RECORD_RESULT(respondGetNrNetworkMode, int32_t)
    PLIM_RECORD(respondSetNrNetworkMode)
    PLIM_RECORD_RESULT(respondGetVonrMode, int32_t)
    PLIM_RECORD(respondSetVonrMode)
    PLIM_RECORD_RESULT(respondGetOperatingMode, int32_t)
    PLIM_RECORD(respondSetOperatingMode)
    PLIM_RECORD(respondSetRadioInfoReportSwitch)
    PLIM_RECORD(respondDeleteImsProfile)
    PLIM_RECORD_RESULT(respondGetActiveMbnInfo, const std::vector<uint8_t>&)
    PLIM_RECORD_RESULT(respondGetMetaMbnInfo, const std::vector<uint8_t>&)
    PLIM_RECORD_RESULT(respondGetMbnList, const std::vector<std::string>&)
    PLIM_RECORD(respondDeleteAllMbns)
    PLIM_RECORD(respondSelectMbn)
    PLIM_RECORD(respondLoadMbn)
    PLIM_RECORD(respondActivateMbn)
    PLIM_RECORD(respondDeactivateMbn)
    PLIM_RECORD(respondActivateMbnByName)
    PLIM_RECORD(respondRestoreDiffQcn)
    PLIM_RECORD(respondRebootModem)
    PLIM_RECORD(respondRemoveRatMask)
    PLIM_RECORD_RESULT(respondGetModemProperty, const std::vector<uint8_t>&)
    PLIM_RECORD(respondSetModemProperty)
    PLIM_RECORD(respondDeleteModemProperty)
    PLIM_RECORD_RESULT(respondGet5gPowerSaveSwitch, bool)
    PLIM_RECORD(respondSet5gPowerSaveSwitch)
    PLIM_RECORD(respondSet5gPowerSaveMode)
    PLIM_RECORD(respondForceAsdiv)
    PLIM_RECORD_RESULT(respondGetSimlockFuseState, int32_t)
    PLIM_RECORD_RESULT(respondGetQstMode, int32_t)
    PLIM_RECORD(respondSetQstMode)
    PLIM_RECORD(respondAbortRrcConnection)
    PLIM_RECORD(respondSetSarState)
    PLIM_RECORD(respondInformScreenState)
#undef PLIM_RECORD
#undef PLIM_RECORD_RESULT

  private:
    void record(const char* method, const ResponseInfo& info, std::string result) {
        RecordedCall call;
        call.process = ABinderHost_Process_getName(ABinderHost_Process_getCurrent());
        call.onBinderThread = ABinderHost_isBinderThread();
        call.method = method;
        call.info = info;
        call.result = std::move(result);
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back(std::move(call));
        recorded_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable recorded_;
    std::vector<RecordedCall> calls_;
};

/** IModemIndication has no methods yet: the object only has to exist. */
class QuietIndication : public BnModemIndication {};

TestClient::TestClient(const std::string& name)
    : process_(name.c_str()),
      name_(name),
      responseService_("plim.test.response/" + name),
      indicationService_("plim.test.indication/" + name) {
    process_.run([&] {
        response_ = ndk::SharedRefBase::make<RecordingResponse>();
        indication_ = ndk::SharedRefBase::make<QuietIndication>();
        // The first asBinder() makes each object belong to this process.
        EXPECT_EQ(EX_NONE,
                  AServiceManager_addService(response_->asBinder().get(), responseService_.c_str()))
                << name << " could not publish its response callback";
        EXPECT_EQ(EX_NONE, AServiceManager_addService(indication_->asBinder().get(),
                                                      indicationService_.c_str()))
                << name << " could not publish its indication callback";
    });
}

TestClient::~TestClient() {
    // Dying queues the daemon's death notices on its binder threads: let them run now, while
    // the daemon's holders exist, rather than during the test process's exit.
    process_.kill();
    if (ABinderProcess_isThreadPoolStarted()) {
        ABinderHost_Process_waitForIdle(ABinderHost_Process_getCurrent());
    }
}

void TestClient::startThreads(uint32_t maxLazyThreads) {
    process_.startThreadPool(maxLazyThreads);
}

std::shared_ptr<IModemResponse> TestClient::responseProxy() {
    std::shared_ptr<IModemResponse> proxy = IModemResponse::fromBinder(
            ndk::SpAIBinder(AServiceManager_checkService(responseService_.c_str())));
    if (proxy) {
        std::lock_guard<std::mutex> lock(mutex_);
        handedOut_.push_back(proxy);
    }
    return proxy;
}

std::shared_ptr<IModemIndication> TestClient::indicationProxy() {
    std::shared_ptr<IModemIndication> proxy = IModemIndication::fromBinder(
            ndk::SpAIBinder(AServiceManager_checkService(indicationService_.c_str())));
    if (proxy) {
        std::lock_guard<std::mutex> lock(mutex_);
        handedOut_.push_back(proxy);
    }
    return proxy;
}

std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> TestClient::connect(int instanceId) {
    using aidl::vendor::vyr::plim::modem::IModem;
    const std::string name =
            std::string(IModem::descriptor) + "/instance" + std::to_string(instanceId);
    return process_.run([&]() -> std::shared_ptr<IModem> {
        std::shared_ptr<IModem> modem =
                IModem::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
        if (modem) {
            EXPECT_TRUE(modem->setCallback(response_, indication_).isOk())
                    << name_ << " could not register its callbacks";
        }
        return modem;
    });
}

std::vector<RecordedCall> TestClient::takeCalls() {
    return response_->take();
}

bool TestClient::waitForCalls(size_t count, std::chrono::milliseconds timeout) {
    return response_->waitFor(count, timeout);
}

size_t TestClient::liveProxies() {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t live = 0;
    for (const std::weak_ptr<ndk::ICInterface>& proxy : handedOut_) {
        live += proxy.expired() ? 0 : 1;
    }
    return live;
}

namespace {
// Bounded, so that a lost wake-up fails the test instead of hanging it.
constexpr std::chrono::seconds kGateTimeout{10};
}  // namespace

DeathNoticeGate::DeathNoticeGate(const ndk::SpAIBinder& proxy)
    : proxy_(proxy), recipient_(AIBinder_DeathRecipient_new(&DeathNoticeGate::onDied)) {
    linked_ = AIBinder_linkToDeath(proxy_.get(), recipient_.get(), this) == STATUS_OK;
    EXPECT_TRUE(linked_) << "the gate could not link to the proxy";
}

DeathNoticeGate::~DeathNoticeGate() {
    release();
    // A dead object's notice is queued or running: it must be done with this gate first.
    if (linked_ && !AIBinder_isAlive(proxy_.get())) {
        std::unique_lock<std::mutex> lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, kGateTimeout, [this] { return finished_; }))
                << "the held-back death notice never ran";
    }
}

bool DeathNoticeGate::waitUntilNoticed() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, kGateTimeout, [this] { return noticed_; });
}

void DeathNoticeGate::release() {
    std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
}

void DeathNoticeGate::onDied(void* cookie) {
    auto* gate = static_cast<DeathNoticeGate*>(cookie);
    std::unique_lock<std::mutex> lock(gate->mutex_);
    gate->noticed_ = true;
    gate->changed_.notify_all();
    gate->changed_.wait_for(lock, kGateTimeout, [gate] { return gate->released_; });
    gate->finished_ = true;
    gate->changed_.notify_all();
}

}  // namespace com::vyr::plim::test

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
#include <condition_variable>
#include <cstdio>
#include <utility>

namespace com::vyr::plim::test {

using aidl::vendor::vyr::plim::modem::BnModemIndication;
using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

std::string RecordedCall::text() const {
    return process + ": " + method + " type=" + std::to_string(info.type) +
           " serial=" + std::to_string(info.serial) + " error=" + std::to_string(info.error) +
           (result.empty() ? "" : " result=" + result);
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
    std::mutex mutex;
    std::condition_variable recorded;
    std::vector<RecordedCall> calls;

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
        std::lock_guard<std::mutex> lock(mutex);
        calls.push_back({ABinderHost_Process_getName(ABinderHost_Process_getCurrent()),
                         ABinderHost_isBinderThread(), method, info, std::move(result)});
        recorded.notify_all();
    }
};

/** IModemIndication has no methods yet: the object only has to exist. */
class QuietIndication : public BnModemIndication {};

TestClient::TestClient(const std::string& name) : ScopedProcess(name.c_str()), name_(name) {
    run([&] {
        response_ = ndk::SharedRefBase::make<RecordingResponse>();
        indication_ = ndk::SharedRefBase::make<QuietIndication>();
        // The first asBinder() makes each object belong to this process.
        EXPECT_EQ(EX_NONE,
                  AServiceManager_addService(response_->asBinder().get(),
                                             serviceName(IModemResponse::descriptor).c_str()))
                << name << " could not publish its response callback";
        EXPECT_EQ(EX_NONE,
                  AServiceManager_addService(indication_->asBinder().get(),
                                             serviceName(IModemIndication::descriptor).c_str()))
                << name << " could not publish its indication callback";
    });
}

TestClient::~TestClient() {
    // Dying queues the daemon's death notices on its binder threads: let them run now, while
    // the daemon's holders exist, rather than during the test process's exit.
    kill();
    if (ABinderProcess_isThreadPoolStarted()) {
        ABinderHost_Process_waitForIdle(ABinderHost_Process_getCurrent());
    }
}

std::shared_ptr<aidl::vendor::vyr::plim::modem::IModem> TestClient::connect(int instanceId) {
    using aidl::vendor::vyr::plim::modem::IModem;
    const std::string name =
            std::string(IModem::descriptor) + "/instance" + std::to_string(instanceId);
    return run([&]() -> std::shared_ptr<IModem> {
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
    std::lock_guard<std::mutex> lock(response_->mutex);
    return std::exchange(response_->calls, {});
}

bool TestClient::waitForCalls(size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(response_->mutex);
    return response_->recorded.wait_for(lock, timeout,
                                        [&] { return response_->calls.size() >= count; });
}

void TestClient::expectNothingLeft() {
    EXPECT_EQ(texts({}), texts(takeCalls())) << name_ << " got responses no step asked for";
    EXPECT_EQ(0u, pendingWork()) << "responses still queued to " << name_;
    std::lock_guard<std::mutex> lock(mutex_);
    for (const std::weak_ptr<ndk::ICInterface>& proxy : handedOut_) {
        EXPECT_TRUE(proxy.expired()) << "a proxy for " << name_ << " outlived the holders";
    }
}

}  // namespace com::vyr::plim::test

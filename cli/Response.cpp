/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Response.h"

#include <aidl/vendor/vyr/plim/modem/BnModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>

#include <utility>

namespace com::vyr::plim::cli {

using aidl::vendor::vyr::plim::modem::BnModemIndication;
using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

ResponseWaiter::ResponseWaiter(int32_t serial, std::string method)
    : serial_(serial), method_(std::move(method)) {}

void ResponseWaiter::offer(Reply reply) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (reply.serial != serial_ || reply.method != method_ || answered_) {
            return;
        }
        answered_ = true;
        reply_ = std::move(reply);
    }
    // After the unlock, so that the woken waiter does not block at once on the mutex. Whoever
    // calls this holds the waiter by a shared pointer, so it outlives the notification.
    changed_.notify_all();
}

void ResponseWaiter::daemonDied() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        died_ = true;
    }
    changed_.notify_all();
}

void ResponseWaiter::expect(int32_t serial) {
    std::lock_guard<std::mutex> lock(mutex_);
    serial_ = serial;
    answered_ = false;
}

ResponseWaiter::Outcome ResponseWaiter::wait(std::chrono::milliseconds timeout, Reply* reply) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, timeout, [this] { return answered_ || died_; });
    // An answer that came before the death notice still counts.
    if (answered_) {
        *reply = reply_;
        return Outcome::Answered;
    }
    return died_ ? Outcome::Died : Outcome::TimedOut;
}

namespace {

void setResult(Reply& reply, const std::string& value) {
    reply.type = Reply::Type::Text;
    reply.text = value;
}

void setResult(Reply& reply, const std::vector<uint8_t>& value) {
    reply.type = Reply::Type::Bytes;
    reply.bytes = value;
}

void setResult(Reply& reply, const std::vector<std::string>& value) {
    reply.type = Reply::Type::Texts;
    reply.texts = value;
}

void setResult(Reply& reply, int32_t value) {
    reply.type = Reply::Type::Int;
    reply.number = value;
}

void setResult(Reply& reply, bool value) {
    reply.type = Reply::Type::Bool;
    reply.flag = value;
}

class ResponseReceiver : public BnModemResponse {
  public:
    explicit ResponseReceiver(std::function<void(Reply)> receive) : receive_(std::move(receive)) {}

#define PLIM_CLI_RECEIVE(Method)                                   \
    ndk::ScopedAStatus Method(const ResponseInfo& info) override { \
        receive_(reply(#Method, info));                            \
        return ndk::ScopedAStatus::ok();                           \
    }
#define PLIM_CLI_RECEIVE_RESULT(Method, Type)                                   \
    ndk::ScopedAStatus Method(const ResponseInfo& info, Type result) override { \
        Reply r = reply(#Method, info);                                         \
        setResult(r, result);                                                   \
        receive_(std::move(r));                                                 \
        return ndk::ScopedAStatus::ok();                                        \
    }
    PLIM_CLI_RECEIVE_RESULT(respondGetBuildTime, const std::string&)
    PLIM_CLI_RECEIVE_RESULT(respondGetBuildId, const std::string&)
    PLIM_CLI_RECEIVE_RESULT(respondReadNv, const std::vector<uint8_t>&)
    PLIM_CLI_RECEIVE(respondWriteNv)
    PLIM_CLI_RECEIVE_RESULT(respondReadEfs, const std::vector<uint8_t>&)
    PLIM_CLI_RECEIVE(respondWriteEfs)
    PLIM_CLI_RECEIVE(respondDeleteEfsFile)
    PLIM_CLI_RECEIVE(respondDeleteEfsDir)
    PLIM_CLI_RECEIVE_RESULT(respondGetNrNetworkMode, int32_t)
    PLIM_CLI_RECEIVE(respondSetNrNetworkMode)
    PLIM_CLI_RECEIVE_RESULT(respondGetVonrMode, int32_t)
    PLIM_CLI_RECEIVE(respondSetVonrMode)
    PLIM_CLI_RECEIVE_RESULT(respondGetOperatingMode, int32_t)
    PLIM_CLI_RECEIVE(respondSetOperatingMode)
    PLIM_CLI_RECEIVE(respondSetRadioInfoReportSwitch)
    PLIM_CLI_RECEIVE(respondDeleteImsProfile)
    PLIM_CLI_RECEIVE_RESULT(respondGetActiveMbnInfo, const std::vector<uint8_t>&)
    PLIM_CLI_RECEIVE_RESULT(respondGetMetaMbnInfo, const std::vector<uint8_t>&)
    PLIM_CLI_RECEIVE_RESULT(respondGetMbnList, const std::vector<std::string>&)
    PLIM_CLI_RECEIVE(respondDeleteAllMbns)
    PLIM_CLI_RECEIVE(respondSelectMbn)
    PLIM_CLI_RECEIVE(respondLoadMbn)
    PLIM_CLI_RECEIVE(respondActivateMbn)
    PLIM_CLI_RECEIVE(respondDeactivateMbn)
    PLIM_CLI_RECEIVE(respondActivateMbnByName)
    PLIM_CLI_RECEIVE(respondRestoreDiffQcn)
    PLIM_CLI_RECEIVE(respondRebootModem)
    PLIM_CLI_RECEIVE(respondRemoveRatMask)
    PLIM_CLI_RECEIVE_RESULT(respondGetModemProperty, const std::vector<uint8_t>&)
    PLIM_CLI_RECEIVE(respondSetModemProperty)
    PLIM_CLI_RECEIVE(respondDeleteModemProperty)
    PLIM_CLI_RECEIVE_RESULT(respondGet5gPowerSaveSwitch, bool)
    PLIM_CLI_RECEIVE(respondSet5gPowerSaveSwitch)
    PLIM_CLI_RECEIVE(respondSet5gPowerSaveMode)
    PLIM_CLI_RECEIVE(respondForceAsdiv)
    PLIM_CLI_RECEIVE_RESULT(respondGetSimlockFuseState, int32_t)
    PLIM_CLI_RECEIVE_RESULT(respondGetQstMode, int32_t)
    PLIM_CLI_RECEIVE(respondSetQstMode)
    PLIM_CLI_RECEIVE(respondAbortRrcConnection)
    PLIM_CLI_RECEIVE(respondSetSarState)
    PLIM_CLI_RECEIVE(respondInformScreenState)
#undef PLIM_CLI_RECEIVE
#undef PLIM_CLI_RECEIVE_RESULT

  private:
    static Reply reply(const char* method, const ResponseInfo& info) {
        Reply r;
        r.method = method;
        r.serial = info.serial;
        r.error = info.error;
        return r;
    }

    const std::function<void(Reply)> receive_;
};

class IndicationReceiver : public BnModemIndication {};

}  // namespace

std::shared_ptr<IModemResponse> makeResponseReceiver(std::shared_ptr<ResponseWaiter> waiter) {
    return makeResponseReceiver(
            [waiter = std::move(waiter)](Reply reply) { waiter->offer(std::move(reply)); });
}

std::shared_ptr<IModemResponse> makeResponseReceiver(std::function<void(Reply)> receive) {
    return ndk::SharedRefBase::make<ResponseReceiver>(std::move(receive));
}

std::shared_ptr<IModemIndication> makeIndicationReceiver() {
    return ndk::SharedRefBase::make<IndicationReceiver>();
}

}  // namespace com::vyr::plim::cli

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "BenchDaemon.h"

#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>
#include <android/binder_manager.h>
#include <modem_sim/ModemSimControl.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>

#include "ComponentFactory.h"
#include "ModemImpl.h"

namespace com::vyr::plim::bench {

using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::IModem;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

/** Signals the operating-mode and build-time answers; every other response is ignored. */
class PingResponse : public BnModemResponse {
  public:
    PingResponse(FutexFlag& answered, std::atomic<int64_t>& answeredAtNs)
        : answered_(answered), answeredAtNs_(answeredAtNs) {}

    ndk::ScopedAStatus respondGetOperatingMode(const ResponseInfo& info, int32_t) override {
        return signal(info);
    }
    ndk::ScopedAStatus respondGetBuildTime(const ResponseInfo& info, const std::string&) override {
        return signal(info);
    }

#define PLIM_IGNORE(Method, ...)                                             \
    ndk::ScopedAStatus Method(const ResponseInfo&, ##__VA_ARGS__) override { \
        return ndk::ScopedAStatus::ok();                                     \
    }
    PLIM_IGNORE(respondGetBuildId, const std::string&)
    PLIM_IGNORE(respondReadNv, const std::vector<uint8_t>&)
    PLIM_IGNORE(respondWriteNv)
    PLIM_IGNORE(respondReadEfs, const std::vector<uint8_t>&)
    PLIM_IGNORE(respondWriteEfs)
    PLIM_IGNORE(respondDeleteEfsFile)
    PLIM_IGNORE(respondDeleteEfsDir)
    PLIM_IGNORE(respondGetNrNetworkMode, int32_t)
    PLIM_IGNORE(respondSetNrNetworkMode)
    PLIM_IGNORE(respondGetVonrMode, int32_t)
    PLIM_IGNORE(respondSetVonrMode)
    PLIM_IGNORE(respondSetOperatingMode)
    PLIM_IGNORE(respondSetRadioInfoReportSwitch)
    PLIM_IGNORE(respondDeleteImsProfile)
    PLIM_IGNORE(respondGetActiveMbnInfo, const std::vector<uint8_t>&)
    PLIM_IGNORE(respondGetMetaMbnInfo, const std::vector<uint8_t>&)
    PLIM_IGNORE(respondGetMbnList, const std::vector<std::string>&)
    PLIM_IGNORE(respondDeleteAllMbns)
    PLIM_IGNORE(respondSelectMbn)
    PLIM_IGNORE(respondLoadMbn)
    PLIM_IGNORE(respondActivateMbn)
    PLIM_IGNORE(respondDeactivateMbn)
    PLIM_IGNORE(respondActivateMbnByName)
    PLIM_IGNORE(respondRestoreDiffQcn)
    PLIM_IGNORE(respondRebootModem)
    PLIM_IGNORE(respondRemoveRatMask)
    PLIM_IGNORE(respondGetModemProperty, const std::vector<uint8_t>&)
    PLIM_IGNORE(respondSetModemProperty)
    PLIM_IGNORE(respondDeleteModemProperty)
    PLIM_IGNORE(respondGet5gPowerSaveSwitch, bool)
    PLIM_IGNORE(respondSet5gPowerSaveSwitch)
    PLIM_IGNORE(respondSet5gPowerSaveMode)
    PLIM_IGNORE(respondForceAsdiv)
    PLIM_IGNORE(respondGetSimlockFuseState, int32_t)
    PLIM_IGNORE(respondGetQstMode, int32_t)
    PLIM_IGNORE(respondSetQstMode)
    PLIM_IGNORE(respondAbortRrcConnection)
    PLIM_IGNORE(respondSetSarState)
    PLIM_IGNORE(respondInformScreenState)
#undef PLIM_IGNORE

  private:
    ndk::ScopedAStatus signal(const ResponseInfo& info) {
        answeredAtNs_.store(steadyNowNs(), std::memory_order_relaxed);
        answered_.set(static_cast<uint32_t>(info.serial));
        return ndk::ScopedAStatus::ok();
    }

    FutexFlag& answered_;
    std::atomic<int64_t>& answeredAtNs_;
};

namespace {

constexpr const char* ECHO_SERVICE = "bench.echo";

/**
 * Answers the two benchmarked requests at once, without the daemon's path in between, with what
 * the daemon answers: the build time's text is the simulated modem's, so that its parcels cost
 * the binder as much as the daemon's response does.
 */
class EchoModem : public modem::ModemImpl {
  public:
    EchoModem() : ModemImpl(0), buildTime_(modemsim::Control::state().buildTime) {}

    ndk::ScopedAStatus setCallback(const std::shared_ptr<IModemResponse>& resp,
                                   const std::shared_ptr<IModemIndication>&) override {
        response_ = resp;
        return ndk::ScopedAStatus::ok();
    }
    // Each returns a status of its own, as the daemon's methods do: that status is the binder's
    // allocation too, which handing back the response call's status would leave out.
    ndk::ScopedAStatus getOperatingMode(int32_t serial) override {
        response_->respondGetOperatingMode(info(serial), 0);
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus getBuildTime(int32_t serial) override {
        response_->respondGetBuildTime(info(serial), buildTime_);
        return ndk::ScopedAStatus::ok();
    }

  private:
    static ResponseInfo info(int32_t serial) {
        ResponseInfo info;
        info.serial = serial;
        return info;
    }

    const std::string buildTime_;
    // Set once by the client before the first request.
    std::shared_ptr<IModemResponse> response_;
};

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "request_bench: %s\n", what);
    std::abort();
}

}  // namespace

BenchDaemon::BenchDaemon() {
    modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
    std::promise<int> made;
    main_ = std::thread([this, &made] {
        Looper::prepareThreadLocalLooper();
        mainLooper_ = Looper::getThreadLocalLooper();
        made.set_value(modem::ComponentFactory::getInstance().make(0));
        mainLooper_->loop();
    });
    if (made.get_future().get() != 0) {
        fail("the daemon did not start");
    }
    modemsim::Control::waitForIdle();
    echoService_ = ndk::SharedRefBase::make<EchoModem>();
    if (AServiceManager_addService(echoService_->asBinder().get(), ECHO_SERVICE) != EX_NONE) {
        fail("the echo service could not be registered");
    }

    client_.startThreadPool(1);
    client_.run([&] {
        response_ = ndk::SharedRefBase::make<PingResponse>(answered, answeredAtNs);
        modem_ = IModem::fromBinder(ndk::SpAIBinder(
                AServiceManager_checkService("vendor.vyr.plim.modem.IModem/instance0")));
        if (!modem_ || !modem_->setCallback(response_, nullptr).isOk()) {
            fail("the client could not reach the service");
        }
        echo_ = IModem::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(ECHO_SERVICE)));
        if (!echo_ || !echo_->setCallback(response_, nullptr).isOk()) {
            fail("the client could not reach the echo service");
        }
    });
}

BenchDaemon::~BenchDaemon() {
    ABinderHost_waitForIdle();
    client_.kill();
    mainLooper_->quit();
    main_.join();
}

}  // namespace com::vyr::plim::bench

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Publication of the service when the device refuses it (thread pool, service manager): what is
// left behind, and that the set-up is not tried again. Its success is every other binder test's
// set-up.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <string>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "AidlService.h"
#include "LogCapture.h"
#include "ModemImpl.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;

constexpr const char* TAG = "modem-service";

std::string instanceName(int id) {
    return "vendor.vyr.plim.modem.IModem/instance" + std::to_string(id);
}

bool isRegistered(int id) {
    ndk::SpAIBinder binder(AServiceManager_checkService(instanceName(id).c_str()));
    return binder.get() != nullptr;
}

class AidlServiceTest : public ::testing::Test {
  protected:
    void TearDown() override {
        ABinderHost_setThreadPoolMaxThreadCountRefused(false);
        ABinderHost_setAddServiceFailure(EX_NONE);
    }

    LogCapture log_;
};

TEST_F(AidlServiceTest, Setup_WhenPoolSizeRefused_FailsBeforeAnythingIsMade) {
    ABinderHost_setThreadPoolMaxThreadCountRefused(true);
    EXPECT_EQ(FAILED, AidlService::setup(0));
    ABinderHost_setThreadPoolMaxThreadCountRefused(false);

    EXPECT_TRUE(
            log_.contains(Log::ERROR, TAG, "failed to set max thread count for binder thread pool"))
            << log_.dump();
    EXPECT_FALSE(ABinderProcess_isThreadPoolStarted()) << "the pool started after the refusal";
    EXPECT_EQ(nullptr, AidlService::getService()) << "a service object was made";
    EXPECT_FALSE(isRegistered(0));
    EXPECT_EQ(INVALID_STATE, AidlService::setup(0)) << "a failed set-up must not be retried";
}

TEST_F(AidlServiceTest, Setup_WhenRegistrationRefused_DropsTheServiceObject) {
    ABinderHost_setAddServiceFailure(EX_ILLEGAL_ARGUMENT);  // as for a missing manifest entry
    EXPECT_EQ(FAILED, AidlService::setup(1));
    ABinderHost_setAddServiceFailure(EX_NONE);

    EXPECT_TRUE(log_.contains(Log::ERROR, TAG,
                              "failed to add aidl service " + instanceName(1) +
                                      ", status = " + std::to_string(EX_ILLEGAL_ARGUMENT)))
            << log_.dump();
    EXPECT_EQ(nullptr, AidlService::getService()) << "the refused service object was kept";
    EXPECT_FALSE(isRegistered(1));
}

}  // namespace
}  // namespace com::vyr::plim::modem

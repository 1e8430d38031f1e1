/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Publication of the service: its name per instance, the once-only set-up, and what a device's
// refusals (thread pool, service manager) leave behind.

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

class AidlServiceTest : public ::testing::TestWithParam<int> {
  protected:
    void TearDown() override {
        ABinderHost_setThreadPoolMaxThreadCountRefused(false);
        ABinderHost_setAddServiceFailure(EX_NONE);
    }

    LogCapture log_;
};

TEST_P(AidlServiceTest, Setup_ForInstance_RegistersItsNameOnceWithOnePoolThread) {
    const int id = GetParam();
    ASSERT_EQ(OK, AidlService::setup(id)) << log_.dump();
    EXPECT_TRUE(isRegistered(id)) << instanceName(id) << " is not registered";
    EXPECT_FALSE(isRegistered(1 - id)) << "the other instance's name was registered";
    EXPECT_EQ(id, AidlService::getService()->getInstanceId());
    EXPECT_EQ(std::vector<std::string>{"successfully registered aidl service " + instanceName(id)},
              log_.texts(TAG));
    EXPECT_TRUE(ABinderProcess_isThreadPoolStarted()) << "the pool that delivers requests";

    EXPECT_EQ(INVALID_STATE, AidlService::setup(1 - id)) << "a second set-up must be refused";
    EXPECT_FALSE(isRegistered(1 - id)) << "the refused set-up registered a service";
    EXPECT_EQ(1u, log_.texts(TAG).size()) << "the refused set-up logged";
}

INSTANTIATE_TEST_SUITE_P(Instances, AidlServiceTest, ::testing::Values(0, 1),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return "Instance" + std::to_string(info.param);
                         });

TEST(AidlServiceFailureTest, Setup_WhenPoolSizeRefused_FailsBeforeAnythingIsMade) {
    LogCapture log;
    ABinderHost_setThreadPoolMaxThreadCountRefused(true);
    EXPECT_EQ(FAILED, AidlService::setup(0));
    ABinderHost_setThreadPoolMaxThreadCountRefused(false);

    EXPECT_TRUE(
            log.contains(Log::ERROR, TAG, "failed to set max thread count for binder thread pool"))
            << log.dump();
    EXPECT_FALSE(ABinderProcess_isThreadPoolStarted()) << "the pool started after the refusal";
    EXPECT_EQ(nullptr, AidlService::getService()) << "a service object was made";
    EXPECT_FALSE(isRegistered(0));
    EXPECT_EQ(INVALID_STATE, AidlService::setup(0)) << "a failed set-up must not be retried";
}

TEST(AidlServiceFailureTest, Setup_WhenRegistrationRefused_DropsTheServiceObject) {
    LogCapture log;
    ABinderHost_setAddServiceFailure(EX_ILLEGAL_ARGUMENT);  // as for a missing manifest entry
    EXPECT_EQ(FAILED, AidlService::setup(1));
    ABinderHost_setAddServiceFailure(EX_NONE);

    EXPECT_TRUE(log.contains(Log::ERROR, TAG,
                             "failed to add aidl service " + instanceName(1) +
                                     ", status = " + std::to_string(EX_ILLEGAL_ARGUMENT)))
            << log.dump();
    EXPECT_EQ(nullptr, AidlService::getService()) << "the refused service object was kept";
    EXPECT_FALSE(isRegistered(1));
}

}  // namespace
}  // namespace com::vyr::plim::modem

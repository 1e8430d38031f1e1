/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's C++ layer over the host binder: AStatus and what each way of making one maps to; the
// generated glue of IModem across simulated processes, where a client calling a test IModem in
// the daemon (default process) gets back what the service failed with or that its request was
// malformed (well-formed requests cross in the service's own tests, responses sender by sender in
// the binder front's tests); and SharedRefBase's ownership checks.

#include <aidl/vendor/vyr/plim/modem/BnModem.h>
#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace {

using aidl::vendor::vyr::plim::modem::BnModem;
using aidl::vendor::vyr::plim::modem::IModem;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;

// ---- AStatus: each way of making one maps to the exception, codes and message the NDK gives -----

struct StatusCase {
    const char* name;
    AStatus* (*make)();
    bool ok;
    binder_exception_t exception;
    int32_t serviceSpecific;
    binder_status_t status;
    // Must appear in the description.
    const char* described;
    friend void PrintTo(const StatusCase& row, std::ostream* os) { *os << row.name; }
};

class StatusTest : public ::testing::TestWithParam<StatusCase> {};

TEST_P(StatusTest, Accessors_WhenStatusMade_ReportItsKind) {
    const StatusCase& c = GetParam();
    ndk::ScopedAStatus status(c.make());
    EXPECT_EQ(c.ok, status.isOk()) << "isOk is wrong";
    EXPECT_EQ(c.exception, status.getExceptionCode()) << "exception code is wrong";
    EXPECT_EQ(c.serviceSpecific, status.getServiceSpecificError())
            << "service-specific code leaks into other kinds, or is lost";
    EXPECT_EQ(c.status, status.getStatus())
            << "transaction status leaks into other kinds, or is lost";
    EXPECT_NE(std::string::npos, status.getDescription().find(c.described))
            << "description '" << status.getDescription() << "' lacks '" << c.described << "'";
}

INSTANTIATE_TEST_SUITE_P(
        Kinds, StatusTest,
        ::testing::Values(
                StatusCase{"NewOk", [] { return AStatus_newOk(); }, true, EX_NONE, 0, STATUS_OK,
                           "No error"},
                StatusCase{"FromStatusOk", [] { return AStatus_fromStatus(STATUS_OK); }, true,
                           EX_NONE, 0, STATUS_OK, "No error"},
                StatusCase{"FromStatusDeadObject",
                           [] { return AStatus_fromStatus(STATUS_DEAD_OBJECT); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_DEAD_OBJECT, "STATUS_DEAD_OBJECT"},
                StatusCase{"FromStatusUnexpectedNull",
                           [] { return AStatus_fromStatus(STATUS_UNEXPECTED_NULL); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_UNEXPECTED_NULL,
                           "STATUS_UNEXPECTED_NULL"},
                StatusCase{"BareTransactionFailed",
                           [] { return AStatus_fromExceptionCode(EX_TRANSACTION_FAILED); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION,
                           "EX_TRANSACTION_FAILED"},
                StatusCase{"ExceptionWithMessage",
                           [] {
                               return AStatus_fromExceptionCodeWithMessage(EX_ILLEGAL_STATE,
                                                                           "no modem");
                           },
                           false, EX_ILLEGAL_STATE, 0, STATUS_OK, "no modem"},
                StatusCase{"ServiceSpecific", [] { return AStatus_fromServiceSpecificError(4); },
                           false, EX_SERVICE_SPECIFIC, 4, STATUS_OK, "EX_SERVICE_SPECIFIC"},
                StatusCase{"ExceptionNone", [] { return AStatus_fromExceptionCode(EX_NONE); }, true,
                           EX_NONE, 0, STATUS_OK, "No error"},
                // Codes the NDK does not name are pruned, as on a device.
                StatusCase{"UnknownException", [] { return AStatus_fromExceptionCode(-42); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION,
                           "STATUS_FAILED_TRANSACTION"},
                StatusCase{"UnknownStatus", [] { return AStatus_fromStatus(-12345); }, false,
                           EX_TRANSACTION_FAILED, 0, STATUS_UNKNOWN_ERROR, "STATUS_UNKNOWN_ERROR"}),
        [](const ::testing::TestParamInfo<StatusCase>& info) { return info.param.name; });

TEST(ScopedAStatusTest, IsOk_WhenEmpty_False) {
    ndk::ScopedAStatus empty;
    EXPECT_FALSE(empty.isOk()) << "a status never set must not pass as success";
}

// ---- The generated glue: a failing service, a malformed request ---------------------------------

// The daemon side: records which requests reached it; rebootModem fails as a service can.
class TestModem : public BnModem {
  public:
    ndk::ScopedAStatus rebootModem(int32_t) override {
        return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(7, "modem busy");
    }
#define PLIM_REQUEST(Name, ...)                     \
    ndk::ScopedAStatus Name(__VA_ARGS__) override { \
        return record(#Name);                       \
    }
    PLIM_REQUEST(setCallback, const std::shared_ptr<IModemResponse>&,
                 const std::shared_ptr<IModemIndication>&)
    PLIM_REQUEST(getBuildTime, int32_t)
    PLIM_REQUEST(getBuildId, int32_t)
    PLIM_REQUEST(readNv, int32_t, int32_t, int8_t, int8_t)
    PLIM_REQUEST(writeNv, int32_t, int32_t, int8_t, int8_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(readEfs, int32_t, int32_t, int8_t)
    PLIM_REQUEST(writeEfs, int32_t, int32_t, int8_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(deleteEfsFile, int32_t, int32_t, int8_t)
    PLIM_REQUEST(deleteEfsDir, int32_t, int32_t)
    PLIM_REQUEST(getNrNetworkMode, int32_t)
    PLIM_REQUEST(setNrNetworkMode, int32_t, int32_t)
    PLIM_REQUEST(getVonrMode, int32_t)
    PLIM_REQUEST(setVonrMode, int32_t, int32_t)
    PLIM_REQUEST(getOperatingMode, int32_t)
    PLIM_REQUEST(setOperatingMode, int32_t, int32_t)
    PLIM_REQUEST(setRadioInfoReportSwitch, int32_t, bool)
    PLIM_REQUEST(deleteImsProfile, int32_t)
    PLIM_REQUEST(getActiveMbnInfo, int32_t, int32_t)
    PLIM_REQUEST(getMetaMbnInfo, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(getMbnList, int32_t)
    PLIM_REQUEST(deleteAllMbns, int32_t)
    PLIM_REQUEST(selectMbn, int32_t, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(loadMbn, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(activateMbn, int32_t, int32_t)
    PLIM_REQUEST(deactivateMbn, int32_t, int32_t)
    PLIM_REQUEST(activateMbnByName, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(restoreDiffQcn, int32_t)
    PLIM_REQUEST(removeRatMask, int32_t)
    PLIM_REQUEST(getModemProperty, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(setModemProperty, int32_t, const std::vector<uint8_t>&,
                 const std::vector<uint8_t>&)
    PLIM_REQUEST(deleteModemProperty, int32_t, const std::vector<uint8_t>&)
    PLIM_REQUEST(get5gPowerSaveSwitch, int32_t)
    PLIM_REQUEST(set5gPowerSaveSwitch, int32_t, bool)
    PLIM_REQUEST(set5gPowerSaveMode, int32_t, int8_t)
    PLIM_REQUEST(forceAsdiv, int32_t, int32_t)
    PLIM_REQUEST(getSimlockFuseState, int32_t)
    PLIM_REQUEST(getQstMode, int32_t)
    PLIM_REQUEST(setQstMode, int32_t, int32_t)
    PLIM_REQUEST(abortRrcConnection, int32_t)
    PLIM_REQUEST(setSarState, int32_t, int32_t)
    PLIM_REQUEST(informScreenState, int32_t, bool)
#undef PLIM_REQUEST

    std::vector<std::string> requests() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mRequests;
    }

  private:
    ndk::ScopedAStatus record(const char* request) {
        std::lock_guard<std::mutex> lock(mMutex);
        mRequests.push_back(request);
        return ndk::ScopedAStatus::ok();
    }

    std::mutex mMutex;
    std::vector<std::string> mRequests;
};

class GeneratedGlueTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // The daemon's own setup, in the default process.
        ABinderProcess_setThreadPoolMaxThreadCount(1);
        ABinderProcess_startThreadPool();
        static std::atomic<int> instance{0};
        name = std::string(IModem::descriptor) + "/instance" + std::to_string(instance++);
        ASSERT_EQ(EX_NONE, AServiceManager_addService(modem->asBinder().get(), name.c_str()));
        client.startThreadPool(1);
    }

    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, client.pendingWork()) << "work still queued to the client";
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "requests still queued to the daemon";
    }

    // Runs fn in the client with its proxy for the daemon's modem.
    template <typename Fn>
    auto inClient(Fn fn) {
        return client.run([&] {
            std::shared_ptr<IModem> proxy =
                    IModem::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
            EXPECT_NE(nullptr, proxy) << "the client could not reach the modem service";
            return fn(proxy);
        });
    }

    std::shared_ptr<TestModem> modem = ndk::SharedRefBase::make<TestModem>();
    std::string name;
    ndk::host::ScopedProcess client{"client"};
};

TEST_F(GeneratedGlueTest, Transact_WhenServiceFailsOrRequestMalformed_CallerGetsTheStatus) {
    inClient([](const std::shared_ptr<IModem>& proxy) {
        EXPECT_TRUE(proxy->getBuildTime(1).isOk()) << "a well-formed request failed";
        ndk::ScopedAStatus failed = proxy->rebootModem(2);
        EXPECT_EQ(EX_SERVICE_SPECIFIC, failed.getExceptionCode()) << failed.getDescription();
        EXPECT_EQ(7, failed.getServiceSpecificError()) << "the service's error code was lost";
        EXPECT_STREQ("modem busy", failed.getMessage()) << "the service's message was lost";
        return 0;
    });
    struct Malformed {
        const char* what;
        transaction_code_t code;
        bool withSerial;  // writeNv's first argument, and nothing else
        binder_status_t expected;
    };
    for (const Malformed& m : {Malformed{"unknown code", FIRST_CALL_TRANSACTION + 1000, false,
                                         STATUS_UNKNOWN_TRANSACTION},
                               Malformed{"arguments missing", FIRST_CALL_TRANSACTION + 4, true,
                                         STATUS_NOT_ENOUGH_DATA}}) {
        binder_status_t status = inClient([&](const std::shared_ptr<IModem>& proxy) {
            ndk::SpAIBinder binder = proxy->asBinder();
            ndk::ScopedAParcel in;
            AIBinder_prepareTransaction(binder.get(), in.getR());
            if (m.withSerial) {
                AParcel_writeInt32(in.get(), 1);
            }
            ndk::ScopedAParcel out;
            return AIBinder_transact(binder.get(), m.code, in.getR(), out.getR(), 0);
        });
        EXPECT_EQ(m.expected, status) << m.what << ": the request was not refused as it should";
    }
    EXPECT_EQ(std::vector<std::string>{"getBuildTime"}, modem->requests())
            << "a refused request reached the service";
}

// ---- ndk::SharedRefBase: only make() gives a properly owned object -----------------------------

class Plain : public ndk::SharedRefBase {};

struct MisuseRow {
    const char* name;
    void (*misuse)();
    const char* message;
    friend void PrintTo(const MisuseRow& row, std::ostream* os) { *os << row.name; }
};

class SharedRefBaseMisuseTest : public ::testing::TestWithParam<MisuseRow> {};

TEST_P(SharedRefBaseMisuseTest, Destroy_WhenNotOwnedThroughMake_AbortsWithAMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(GetParam().misuse(), GetParam().message) << "the misuse went unnoticed";
}

INSTANTIATE_TEST_SUITE_P(
        Misuses, SharedRefBaseMisuseTest,
        ::testing::Values(MisuseRow{"OnTheStack", [] { Plain onStack; }, "no ref created"},
                          MisuseRow{"FromMakeShared", [] { std::make_shared<Plain>(); },
                                    "no ref created"},
                          MisuseRow{"OwnedTwice",
                                    [] {
                                        std::shared_ptr<Plain> made =
                                                ndk::SharedRefBase::make<Plain>();
                                        // A second owner that deletes it while make()'s owner
                                        // lives.
                                        std::shared_ptr<Plain>(made.get());
                                    },
                                    "owned twice"}),
        [](const ::testing::TestParamInfo<MisuseRow>& info) { return info.param.name; });

TEST(SharedRefBaseTest, Make_WhenLastOwnerDrops_DestroysQuietly) {
    std::weak_ptr<Plain> watch;
    {
        std::shared_ptr<Plain> made = ndk::SharedRefBase::make<Plain>();
        watch = made;
        EXPECT_EQ(made, made->ref<Plain>()) << "ref() gave another owner than make()";
    }
    EXPECT_TRUE(watch.expired()) << "the object outlived its owners";
}

}  // namespace

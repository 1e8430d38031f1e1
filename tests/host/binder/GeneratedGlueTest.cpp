/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The generated NDK glue of the modem interface over the host binder, across simulated
// processes: the daemon (default process) holds a test IModem; a client process registers a
// test IModemResponse with it and receives responses made through the daemon's proxy.

#include <aidl/vendor/vyr/plim/modem/BnModem.h>
#include <aidl/vendor/vyr/plim/modem/BnModemResponse.h>
#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using aidl::vendor::vyr::plim::modem::BnModem;
using aidl::vendor::vyr::plim::modem::BnModemResponse;
using aidl::vendor::vyr::plim::modem::IModem;
using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;

std::string describe(const std::string& s) {
    return "'" + s + "'";
}
std::string describe(const std::vector<uint8_t>& bytes) {
    std::string text = "[";
    for (uint8_t b : bytes)
        text += std::to_string(b) + ",";
    return text + "]";
}
std::string describe(const std::vector<std::string>& strings) {
    std::string text = "{";
    for (const auto& s : strings)
        text += describe(s) + ",";
    return text + "}";
}
std::string describe(int32_t value) {
    return std::to_string(value);
}
std::string describe(bool value) {
    return value ? "true" : "false";
}

// Records each call: "method serial/error result", and where it ran.
class CallLog {
  public:
    void add(std::string entry) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.push_back(std::move(entry));
        if (!ABinderHost_isBinderThread())
            mOffBinderThread = true;
        mProcesses.push_back(ABinderHost_Process_getCurrent());
    }
    std::vector<std::string> entries() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEntries;
    }
    bool allOnBinderThreadsOf(ABinderHost_Process* process) {
        std::lock_guard<std::mutex> lock(mMutex);
        for (ABinderHost_Process* p : mProcesses) {
            if (p != process)
                return false;
        }
        return !mOffBinderThread;
    }

  private:
    std::mutex mMutex;
    std::vector<std::string> mEntries;
    std::vector<ABinderHost_Process*> mProcesses;
    bool mOffBinderThread = false;
};

std::string infoText(const ResponseInfo& info) {
    return std::to_string(info.type) + ":" + std::to_string(info.serial) + "/" +
           std::to_string(info.error);
}

class TestResponse : public BnModemResponse {
  public:
    CallLog log;

#define PLIM_RESPOND(Name)                                       \
    ndk::ScopedAStatus Name(const ResponseInfo& info) override { \
        log.add(std::string(#Name) + " " + infoText(info));      \
        return ndk::ScopedAStatus::ok();                         \
    }
#define PLIM_RESPOND_WITH(Name, Type)                                                \
    ndk::ScopedAStatus Name(const ResponseInfo& info, Type result) override {        \
        log.add(std::string(#Name) + " " + infoText(info) + " " + describe(result)); \
        return ndk::ScopedAStatus::ok();                                             \
    }
    PLIM_RESPOND_WITH(respondGetBuildTime, const std::string&)
    PLIM_RESPOND_WITH(respondGetBuildId, const std::string&)
    PLIM_RESPOND_WITH(respondReadNv, const std::vector<uint8_t>&)
    PLIM_RESPOND(respondWriteNv)
    PLIM_RESPOND_WITH(respondReadEfs, const std::vector<uint8_t>&)
    PLIM_RESPOND(respondWriteEfs)
    PLIM_RESPOND(respondDeleteEfsFile)
    PLIM_RESPOND(respondDeleteEfsDir)
    PLIM_RESPOND_WITH(respondGetNrNetworkMode, int32_t)
    PLIM_RESPOND(respondSetNrNetworkMode)
    PLIM_RESPOND_WITH(respondGetVonrMode, int32_t)
    PLIM_RESPOND(respondSetVonrMode)
    PLIM_RESPOND_WITH(respondGetOperatingMode, int32_t)
    PLIM_RESPOND(respondSetOperatingMode)
    PLIM_RESPOND(respondSetRadioInfoReportSwitch)
    PLIM_RESPOND(respondDeleteImsProfile)
    PLIM_RESPOND_WITH(respondGetActiveMbnInfo, const std::vector<uint8_t>&)
    PLIM_RESPOND_WITH(respondGetMetaMbnInfo, const std::vector<uint8_t>&)
    PLIM_RESPOND_WITH(respondGetMbnList, const std::vector<std::string>&)
    PLIM_RESPOND(respondDeleteAllMbns)
    PLIM_RESPOND(respondSelectMbn)
    PLIM_RESPOND(respondLoadMbn)
    PLIM_RESPOND(respondActivateMbn)
    PLIM_RESPOND(respondDeactivateMbn)
    PLIM_RESPOND(respondActivateMbnByName)
    PLIM_RESPOND(respondRestoreDiffQcn)
    PLIM_RESPOND(respondRebootModem)
    PLIM_RESPOND(respondRemoveRatMask)
    PLIM_RESPOND_WITH(respondGetModemProperty, const std::vector<uint8_t>&)
    PLIM_RESPOND(respondSetModemProperty)
    PLIM_RESPOND(respondDeleteModemProperty)
    PLIM_RESPOND_WITH(respondGet5gPowerSaveSwitch, bool)
    PLIM_RESPOND(respondSet5gPowerSaveSwitch)
    PLIM_RESPOND(respondSet5gPowerSaveMode)
    PLIM_RESPOND(respondForceAsdiv)
    PLIM_RESPOND_WITH(respondGetSimlockFuseState, int32_t)
    PLIM_RESPOND_WITH(respondGetQstMode, int32_t)
    PLIM_RESPOND(respondSetQstMode)
    PLIM_RESPOND(respondAbortRrcConnection)
    PLIM_RESPOND(respondSetSarState)
    PLIM_RESPOND(respondInformScreenState)
#undef PLIM_RESPOND
#undef PLIM_RESPOND_WITH
};

// The daemon side: keeps the callbacks it is given and logs the requests.
class TestModem : public BnModem {
  public:
    CallLog log;

    ndk::ScopedAStatus setCallback(const std::shared_ptr<IModemResponse>& resp,
                                   const std::shared_ptr<IModemIndication>& ind) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mResponse = resp;
        mIndication = ind;
        ++mSetCallbackCount;
        return ndk::ScopedAStatus::ok();
    }
    std::shared_ptr<IModemResponse> response() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mResponse;
    }
    std::shared_ptr<IModemIndication> indication() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mIndication;
    }
    int setCallbackCount() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mSetCallbackCount;
    }

#define PLIM_REQUEST(Name, ...)                     \
    ndk::ScopedAStatus Name(__VA_ARGS__) override { \
        log.add(#Name);                             \
        return ndk::ScopedAStatus::ok();            \
    }
    ndk::ScopedAStatus writeNv(int32_t serial, int32_t nvId, int8_t subId, int8_t index,
                               const std::vector<uint8_t>& data) override {
        log.add("writeNv " + std::to_string(serial) + " " + std::to_string(nvId) + " " +
                std::to_string(subId) + " " + std::to_string(index) + " " + describe(data));
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus setModemProperty(int32_t serial, const std::vector<uint8_t>& key,
                                        const std::vector<uint8_t>& val) override {
        log.add("setModemProperty " + std::to_string(serial) + " " + describe(key) + " " +
                describe(val));
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus setRadioInfoReportSwitch(int32_t serial, bool on) override {
        log.add("setRadioInfoReportSwitch " + std::to_string(serial) + " " + describe(on));
        return ndk::ScopedAStatus::ok();
    }
    PLIM_REQUEST(getBuildTime, int32_t)
    PLIM_REQUEST(getBuildId, int32_t)
    PLIM_REQUEST(readNv, int32_t, int32_t, int8_t, int8_t)
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
    PLIM_REQUEST(rebootModem, int32_t)
    PLIM_REQUEST(removeRatMask, int32_t)
    PLIM_REQUEST(getModemProperty, int32_t, const std::vector<uint8_t>&)
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

  private:
    std::mutex mMutex;
    std::shared_ptr<IModemResponse> mResponse;
    std::shared_ptr<IModemIndication> mIndication;
    int mSetCallbackCount = 0;
};

ResponseInfo info(int32_t serial, int32_t error = 0) {
    ResponseInfo i;
    i.type = 0;
    i.serial = serial;
    i.error = error;
    return i;
}

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
        EXPECT_EQ(0u, client.pendingWork()) << "responses still queued to the client";
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "requests still queued to the daemon";
    }

    // The client's proxy for the daemon's modem, made in the client process.
    std::shared_ptr<IModem> clientModem() {
        return client.run([&] {
            return IModem::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
        });
    }

    // Registers a client-side response callback through the client's proxy.
    std::shared_ptr<TestResponse> registerResponse() {
        auto response = ndk::SharedRefBase::make<TestResponse>();
        client.run([&] {
            std::shared_ptr<IModem> proxy = clientModem();
            ASSERT_NE(nullptr, proxy) << "the client could not reach the modem service";
            ndk::ScopedAStatus status = proxy->setCallback(response, nullptr);
            ASSERT_TRUE(status.isOk()) << status.getDescription();
        });
        return response;
    }

    std::shared_ptr<TestModem> modem = ndk::SharedRefBase::make<TestModem>();
    std::string name;
    ndk::host::ScopedProcess client{"client"};
};

TEST_F(GeneratedGlueTest, SetCallback_WhenCalledFromClient_DaemonHoldsProxyForClientObject) {
    std::shared_ptr<TestResponse> response = registerResponse();

    std::shared_ptr<IModemResponse> held = modem->response();
    ASSERT_NE(nullptr, held) << "setCallback did not deliver the response callback";
    EXPECT_TRUE(held->isRemote()) << "the daemon got the client's object instead of a proxy";
    EXPECT_TRUE(AIBinder_isRemote(held->asBinder().get()));
    EXPECT_EQ(nullptr, modem->indication()) << "a null indication arrived as an object";
}

TEST_F(GeneratedGlueTest, Respond_WhenDaemonCallsProxy_ClientObjectGetsEveryTypeIntact) {
    std::shared_ptr<TestResponse> response = registerResponse();
    std::shared_ptr<IModemResponse> held = modem->response();
    ASSERT_NE(nullptr, held);

    // Made from the daemon's thread, as the daemon's workers do.
    EXPECT_TRUE(held->respondGetBuildTime(info(1), "2026-01-01 \xc3\xa9t\xc3\xa9").isOk());
    EXPECT_TRUE(held->respondReadNv(info(2), {0, 255, 128, 7, 1}).isOk());
    EXPECT_TRUE(held->respondGetMbnList(info(3), {"a.mbn", "", "b"}).isOk());
    EXPECT_TRUE(held->respondGetNrNetworkMode(info(4, 3), -1).isOk());
    EXPECT_TRUE(held->respondGet5gPowerSaveSwitch(info(5), true).isOk());
    EXPECT_TRUE(held->respondReadEfs(info(6, 1), {}).isOk());
    EXPECT_TRUE(held->respondWriteNv(info(INT32_MIN, 5)).isOk());
    ABinderHost_waitForIdle();

    const std::vector<std::string> expected{
            "respondGetBuildTime 0:1/0 '2026-01-01 \xc3\xa9t\xc3\xa9'",
            "respondReadNv 0:2/0 [0,255,128,7,1,]",
            "respondGetMbnList 0:3/0 {'a.mbn','','b',}",
            "respondGetNrNetworkMode 0:4/3 -1",
            "respondGet5gPowerSaveSwitch 0:5/0 true",
            "respondReadEfs 0:6/1 []",
            "respondWriteNv 0:" + std::to_string(INT32_MIN) + "/5",
    };
    EXPECT_EQ(expected, response->log.entries())
            << "responses were lost, reordered or changed on the way";
    EXPECT_TRUE(response->log.allOnBinderThreadsOf(client.get()))
            << "a response ran outside the client's binder threads";
}

TEST_F(GeneratedGlueTest, Respond_WhenManySentOneway_ArriveInOrder) {
    std::shared_ptr<TestResponse> response = registerResponse();
    std::shared_ptr<IModemResponse> held = modem->response();
    ASSERT_NE(nullptr, held);
    std::vector<std::string> expected;
    for (int serial = 0; serial < 100; ++serial) {
        ASSERT_TRUE(held->respondSetSarState(info(serial)).isOk());
        expected.push_back("respondSetSarState 0:" + std::to_string(serial) + "/0");
    }
    ABinderHost_waitForIdle();
    EXPECT_EQ(expected, response->log.entries()) << "oneway responses were lost or reordered";
}

TEST_F(GeneratedGlueTest, Request_WhenClientCallsProxy_DaemonGetsArgumentsIntact) {
    std::vector<uint8_t> data(256);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i);
    client.run([&] {
        std::shared_ptr<IModem> proxy = clientModem();
        ASSERT_NE(nullptr, proxy);
        EXPECT_TRUE(proxy->writeNv(5, -1, INT8_MIN, INT8_MAX, data).isOk());
        EXPECT_TRUE(proxy->setModemProperty(6, {'k'}, {}).isOk());
        EXPECT_TRUE(proxy->setRadioInfoReportSwitch(7, true).isOk());
        int32_t version = 0;
        EXPECT_TRUE(proxy->getInterfaceVersion(&version).isOk());
        EXPECT_EQ(1, version) << "the daemon reported another interface version";
    });
    const std::vector<std::string> expected{
            "writeNv 5 -1 -128 127 " + describe(data),
            "setModemProperty 6 [107,] []",
            "setRadioInfoReportSwitch 7 true",
    };
    EXPECT_EQ(expected, modem->log.entries()) << "request arguments changed on the way";
    EXPECT_TRUE(modem->log.allOnBinderThreadsOf(ABinderHost_Process_getDefault()))
            << "a request ran outside the daemon's binder threads";
}

TEST_F(GeneratedGlueTest, Transact_WhenCodeUnknownToGlue_FailsUnknownTransaction) {
    binder_status_t status = client.run([&] {
        std::shared_ptr<IModem> proxy = clientModem();
        ndk::SpAIBinder binder = proxy->asBinder();
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(binder.get(), in.getR());
        ndk::ScopedAParcel out;
        return AIBinder_transact(binder.get(), FIRST_CALL_TRANSACTION + 1000, in.getR(), out.getR(),
                                 0);
    });
    EXPECT_EQ(STATUS_UNKNOWN_TRANSACTION, status) << "a code the interface lacks was accepted";
}

TEST_F(GeneratedGlueTest, Request_WhenArgumentsMissing_FailsWithoutReachingService) {
    binder_status_t status = client.run([&] {
        ndk::SpAIBinder binder = clientModem()->asBinder();
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(binder.get(), in.getR());
        AParcel_writeInt32(in.get(), 1);  // writeNv's serial, and nothing else
        ndk::ScopedAParcel out;
        return AIBinder_transact(binder.get(), FIRST_CALL_TRANSACTION + 4, in.getR(), out.getR(),
                                 0);
    });
    EXPECT_EQ(STATUS_NOT_ENOUGH_DATA, status) << "a short request was not refused";
    EXPECT_TRUE(modem->log.entries().empty()) << "a short request reached the service";
}

std::atomic<int> gClientDeaths{0};

TEST_F(GeneratedGlueTest, ClientKilled_WhenDaemonLinkedCallback_DaemonNotifiedOnce) {
    gClientDeaths = 0;
    std::shared_ptr<TestResponse> response = registerResponse();
    std::shared_ptr<IModemResponse> held = modem->response();
    ASSERT_NE(nullptr, held);
    ndk::ScopedAIBinder_DeathRecipient recipient(
            AIBinder_DeathRecipient_new([](void*) { ++gClientDeaths; }));
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(held->asBinder().get(), recipient.get(), nullptr));

    ASSERT_TRUE(client.kill());
    ABinderHost_waitForIdle();
    EXPECT_EQ(1, gClientDeaths.load()) << "the daemon did not hear of the client's death once";
    EXPECT_FALSE(held->respondRebootModem(info(1)).isOk())
            << "a response to a dead client went through";
}

}  // namespace

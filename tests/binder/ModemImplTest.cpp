/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The request entry through a real proxy from a client process: every IModem method logs its
// arguments, reaches its client, and, when the client is missing, is answered at once, exactly
// once, with error 4 and its default result.

#include <android/binder_host.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "AidlService.h"
#include "CallbackHolders.h"
#include "DaemonHarness.h"
#include "LogCapture.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using test::LogCapture;
using test::TestClient;

constexpr const char* TAG = "modem-impl";

std::string answer(const std::string& method, int serial, int error, const std::string& result) {
    return "client: " + method + " type=0 serial=" + std::to_string(serial) +
           " error=" + std::to_string(error) + (result.empty() ? "" : " result=" + result);
}

const std::string kEmptyText = test::describeResult(std::string());
const std::string kEmptyBytes = test::describeResult(std::vector<uint8_t>());
const std::vector<uint8_t> kFour{1, 2, 3, 4};

struct EntryRow {
    const char* method;
    const char* client;  // the client that owns the request (every one is missing here)
    std::function<ndk::ScopedAStatus(IModem&)> call;
    std::string logLine;  // the method's own line
    std::string defaultResult;
    int serial;
};

void PrintTo(const EntryRow& row, std::ostream* os) {
    *os << row.method;
}

std::string respondName(const std::string& method) {
    return "respond" + std::string(1, static_cast<char>(std::toupper(method[0]))) +
           method.substr(1);
}

/** The service registered without the modem side: every client pointer is empty. */
class ModemImplTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(OK, AidlService::setup(0)) << log_.dump();
        client_.startThreads();
        modem_ = client_.connect(0);
        ASSERT_NE(nullptr, modem_) << "the service is not registered";
        ABinderHost_waitForIdle();
        log_.clear();
    }

    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(test::texts({}), test::texts(client_.takeCalls()))
                << "responses that no request asked for (or a second answer to a serial)";
        // The holders hear of the client's death on a binder thread: before the process exits.
        client_.kill();
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, CallbackHolders::response().get()) << "the dead client is still held";
    }

    LogCapture log_;
    TestClient client_{"client"};
    std::shared_ptr<IModem> modem_;
};

class ModemImplEntryTest : public ModemImplTest, public ::testing::WithParamInterface<EntryRow> {};

TEST_P(ModemImplEntryTest, Request_WhenClientMissing_AnswersOnceWithInvalidStateAndDefault) {
    const EntryRow& row = GetParam();
    ndk::ScopedAStatus status = client_.run([&] { return row.call(*modem_); });
    EXPECT_TRUE(status.isOk()) << "errors must travel in the response, not the status";
    ASSERT_TRUE(client_.waitForCalls(1)) << "the request was never answered";
    ABinderHost_waitForIdle();

    EXPECT_EQ(std::vector<std::string>{answer(respondName(row.method), row.serial, INVALID_STATE,
                                              row.defaultResult)},
              test::texts(client_.takeCalls()))
            << "the " << row.client << " request was not answered once with its default";
    EXPECT_EQ(std::vector<std::string>{row.logLine}, log_.texts(TAG))
            << "the arguments were not logged as given";
}

#define ROW(method, client, call, log, result, serial)                        \
    EntryRow {                                                                \
        method, client, [](IModem& m) { return m.call; }, log, result, serial \
    }

INSTANTIATE_TEST_SUITE_P(
        Methods, ModemImplEntryTest,
        ::testing::Values(
                ROW("getBuildTime", "VS", getBuildTime(1), "getBuildTime: serial = 1", kEmptyText,
                    1),
                ROW("getBuildId", "VS", getBuildId(2), "getBuildId: serial = 2", kEmptyText, 2),
                // A byte is logged signed and so 0xFF as -1.
                ROW("readNv", "VS", readNv(3, 550, -1, 7),
                    "readNv: serial = 3, nvId = 550, subId = -1, index = 7", kEmptyBytes, 3),
                ROW("writeNv", "VS", writeNv(4, 551, 1, -128, kFour),
                    "writeNv: serial = 4, nvId = 551, subId = 1, index = -128, data size = 4", "",
                    4),
                ROW("readEfs", "VS", readEfs(5, 9, 0), "readEfs: serial = 5, efsId = 9, subId = 0",
                    kEmptyBytes, 5),
                ROW("writeEfs", "VS", writeEfs(6, 10, 1, {}),
                    "writeEfs: serial = 6, efsId = 10, subId = 1, data size = 0", "", 6),
                ROW("deleteEfsFile", "VS", deleteEfsFile(7, 11, 127),
                    "deleteEfsFile: serial = 7, efsId = 11, subId = 127", "", 7),
                ROW("deleteEfsDir", "VS", deleteEfsDir(8, -12),
                    "deleteEfsDir: serial = 8, efsId = -12", "", 8),
                ROW("getNrNetworkMode", "NAS", getNrNetworkMode(9), "getNrNetworkMode: serial = 9",
                    "int(-1)", 9),
                ROW("setNrNetworkMode", "NAS", setNrNetworkMode(10, 3),
                    "setNrNetworkMode: serial = 10, mode = 3", "", 10),
                ROW("getVonrMode", "NAS", getVonrMode(11), "getVonrMode: serial = 11", "int(-1)",
                    11),
                ROW("setVonrMode", "NAS", setVonrMode(12, 1), "setVonrMode: serial = 12, mode = 1",
                    "", 12),
                ROW("getOperatingMode", "DMS", getOperatingMode(13),
                    "getOperatingMode: serial = 13", "int(-1)", 13),
                ROW("setOperatingMode", "DMS", setOperatingMode(14, 4),
                    "setOperatingMode: serial = 14, mode = 4", "", 14),
                ROW("setRadioInfoReportSwitch", "VS", setRadioInfoReportSwitch(15, true),
                    "setRadioInfoReportSwitch: serial = 15, on = true", "", 15),
                ROW("deleteImsProfile", "WDS", deleteImsProfile(16),
                    "deleteImsProfile: serial = 16", "", 16),
                ROW("getActiveMbnInfo", "PDC", getActiveMbnInfo(17, 1),
                    "getActiveMbnInfo: serial = 17, subId = 1", kEmptyBytes, 17),
                ROW("getMetaMbnInfo", "PDC", getMetaMbnInfo(18, kFour),
                    "getMetaMbnInfo: serial = 18, target size = 4", kEmptyBytes, 18),
                ROW("getMbnList", "PDC", getMbnList(19), "getMbnList: serial = 19",
                    test::describeResult(std::vector<std::string>()), 19),
                ROW("deleteAllMbns", "PDC", deleteAllMbns(20), "deleteAllMbns: serial = 20", "",
                    20),
                ROW("selectMbn", "PDC", selectMbn(21, 0, kFour),
                    "selectMbn: serial = 21, subId = 0, target size = 4", "", 21),
                ROW("loadMbn", "PDC", loadMbn(22, kFour), "loadMbn: serial = 22, target size = 4",
                    "", 22),
                ROW("activateMbn", "PDC", activateMbn(23, 1), "activateMbn: serial = 23, subId = 1",
                    "", 23),
                ROW("deactivateMbn", "PDC", deactivateMbn(24, 0),
                    "deactivateMbn: serial = 24, subId = 0", "", 24),
                ROW("activateMbnByName", "VS", activateMbnByName(25, kFour),
                    "activateMbnByName: serial = 25, name size = 4", "", 25),
                ROW("restoreDiffQcn", "VS", restoreDiffQcn(26), "restoreDiffQcn: serial = 26", "",
                    26),
                ROW("rebootModem", "VS", rebootModem(27), "rebootModem: serial = 27", "", 27),
                ROW("removeRatMask", "VS", removeRatMask(28), "removeRatMask: serial = 28", "", 28),
                ROW("getModemProperty", "VS", getModemProperty(29, kFour),
                    "getModemProperty: serial = 29, key size = 4", kEmptyBytes, 29),
                ROW("setModemProperty", "VS", setModemProperty(30, kFour, {}),
                    "setModemProperty: serial = 30, key size = 4, val size = 0", "", 30),
                ROW("deleteModemProperty", "VS", deleteModemProperty(31, {}),
                    "deleteModemProperty: serial = 31, key size = 0", "", 31),
                ROW("get5gPowerSaveSwitch", "VS", get5gPowerSaveSwitch(32),
                    "get5gPowerSaveSwitch: serial = 32", "bool(false)", 32),
                ROW("set5gPowerSaveSwitch", "VS", set5gPowerSaveSwitch(33, false),
                    "set5gPowerSaveSwitch: serial = 33, on = false", "", 33),
                ROW("set5gPowerSaveMode", "VS", set5gPowerSaveMode(34, -2),
                    "set5gPowerSaveMode: serial = 34, mode = -2", "", 34),
                ROW("forceAsdiv", "Diag", forceAsdiv(35, 2), "forceAsdiv: serial = 35, mode = 2",
                    "", 35),
                // Unlike the mode getters, the fuse state's default is 0.
                ROW("getSimlockFuseState", "VS", getSimlockFuseState(36),
                    "getSimlockFuseState: serial = 36", "int(0)", 36),
                ROW("getQstMode", "VS", getQstMode(37), "getQstMode: serial = 37", "int(-1)", 37),
                ROW("setQstMode", "VS", setQstMode(38, 5), "setQstMode: serial = 38, mode = 5", "",
                    38),
                ROW("abortRrcConnection", "VS", abortRrcConnection(39),
                    "abortRrcConnection: serial = 39", "", 39),
                ROW("setSarState", "SAR", setSarState(40, -1),
                    "setSarState: serial = 40, state = -1", "", 40),
                ROW("informScreenState", "VS", informScreenState(-41, true),
                    "informScreenState: serial = -41, on = true", "", -41)),
        [](const ::testing::TestParamInfo<EntryRow>& info) { return info.param.method; });

#undef ROW

TEST_F(ModemImplTest, SetCallback_WithoutIndication_ClearsItAndSendsNoIndication) {
    client_.run([&] { EXPECT_TRUE(modem_->setCallback(nullptr, nullptr).isOk()); });
    ABinderHost_waitForIdle();
    EXPECT_FALSE(log_.contains(Log::INFO, "modem-ind", "indicateCacheInfo: entry")) << log_.dump();

    client_.run([&] { modem_->getOperatingMode(50); });
    ABinderHost_waitForIdle();
    EXPECT_TRUE(log_.contains(Log::ERROR, "modem-resp",
                              "respondGetOperatingMode: respCb null, can't send response"))
            << "a response reached a client that cleared its callbacks\n"
            << log_.dump();
}

TEST_F(ModemImplTest, SetCallback_WithIndication_ConfirmsItIsHeld) {
    // connect() in SetUp registered both callbacks.
    client_.connect(0);
    ABinderHost_waitForIdle();
    EXPECT_EQ((std::vector<std::string>{"indicateCacheInfo: entry", "indicateCacheInfo: succeed"}),
              log_.texts("modem-ind"));
}

/** Instance 1 has only the NAS, VS and WDS clients: the others' requests answer 4 at once. */
TEST(ModemImplRoutingTest, Requests_OnInstance1_ReachOnlyItsClients) {
    test::DaemonHarness daemon(1);
    ASSERT_EQ(OK, daemon.makeResult());
    TestClient client("client");
    client.startThreads();
    std::shared_ptr<IModem> modem = client.connect(1);
    ASSERT_NE(nullptr, modem) << "instance 1 is not registered under its own name";
    client.run([&] {
        modem->getOperatingMode(1);
        modem->getNrNetworkMode(2);
        modem->setSarState(3, 0);
        modem->deleteImsProfile(4);
        modem->forceAsdiv(5, 0);
    });
    ASSERT_TRUE(client.waitForCalls(5));
    daemon.waitForIdle();

    std::vector<std::string> answers = test::texts(client.takeCalls());
    std::sort(answers.begin(), answers.end());
    EXPECT_EQ((std::vector<std::string>{
                      answer("respondDeleteImsProfile", 4, OK, ""),
                      answer("respondForceAsdiv", 5, INVALID_STATE, ""),
                      answer("respondGetNrNetworkMode", 2, OK, "int(0)"),
                      answer("respondGetOperatingMode", 1, INVALID_STATE, "int(-1)"),
                      answer("respondSetSarState", 3, INVALID_STATE, "")}),
              answers)
            << "a request reached the wrong client, or a missing one was not refused";
}

}  // namespace
}  // namespace com::vyr::plim::modem

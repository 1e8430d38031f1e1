/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The vendor-specific requests end to end, from a client process through a real proxy: what
// each one does to the modem and answers, the byte-string limits at their boundaries, and how
// malformed or failing replies of the modem library are answered.

#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <plim/Log.h>

#include "ProxyRequestTest.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using modemsim::Control;
using modemsim::ReplyTamper;
using modemsim::State;
using test::Bytes;
using test::bytes;
using test::describeResult;
using test::pattern;
using test::ProxyRequestTest;
using test::response;

constexpr const char* TAG = "modem-qmi-vs";

/** A reply payload: a build text's length word, then `text`. */
Bytes buildTextPayload(uint32_t length, const std::string& text) {
    Bytes payload(sizeof(length) + text.size());
    std::memcpy(payload.data(), &length, sizeof(length));
    std::memcpy(payload.data() + sizeof(length), text.data(), text.size());
    return payload;
}

using VsRequestsTest = ProxyRequestTest;

// ---- Round trips --------------------------------------------------------------------------------

struct Step {
    std::function<void(IModem&)> request;
    std::string response;
};

struct RoundTripRow {
    const char* name;
    std::function<void(State&)> plant;  // the modem's state before the steps
    std::vector<Step> steps;            // each answered before the next is sent
    std::function<bool(const State&)> modemHolds;
};

void PrintTo(const RoundTripRow& row, std::ostream* os) {
    *os << row.name;
}

class VsRoundTripTest : public VsRequestsTest,
                        public ::testing::WithParamInterface<RoundTripRow> {};

TEST_P(VsRoundTripTest, Requests_WhenServiceConnected_ReachTheModemAndAnswerOnce) {
    const RoundTripRow& row = GetParam();
    Control::editState(row.plant);
    for (const Step& step : row.steps) {
        EXPECT_EQ(step.response, ask(step.request)) << "wrong answer in row " << row.name;
    }
    EXPECT_TRUE(row.modemHolds(Control::state())) << "the modem does not hold what was set";
}

void nothing(State&) {}
bool anything(const State&) {
    return true;
}

// A step: the request as written, sent on its own, and the one response it must bring.
#define STEP(call, ...)                                  \
    Step {                                               \
        [](IModem& m) { m.call; }, response(__VA_ARGS__) \
    }

INSTANTIATE_TEST_SUITE_P(
        Vs, VsRoundTripTest,
        ::testing::Values(
                RoundTripRow{"NvItem",
                             nothing,
                             {STEP(writeNv(1, 550, 1, 0, {0x00, 0x7F, 0xFF}), "respondWriteNv", 1, 0),
                              STEP(readNv(2, 550, 1, 0), "respondReadNv", 2, 0,
                                   describeResult(Bytes{0x00, 0x7F, 0xFF})),
                              // Another subscription's item of the same id is another item.
                              STEP(readNv(3, 550, 0, 0), "respondReadNv", 3, 1,
                                   describeResult(Bytes{}))},
                             [](const State& s) { return s.nvItems.size() == 1; }},
                RoundTripRow{"NvItemOfWholeBuffer",
                             nothing,
                             {STEP(writeNv(4, 7, 0, 0, pattern(512)), "respondWriteNv", 4, 0),
                              STEP(readNv(5, 7, 0, 0), "respondReadNv", 5, 0,
                                   describeResult(pattern(512)))},
                             anything},
                RoundTripRow{"EfsFileOfWholeBuffer",
                             nothing,
                             {STEP(writeEfs(6, 40, 0, pattern(10240)), "respondWriteEfs", 6, 0),
                              STEP(readEfs(7, 40, 0), "respondReadEfs", 7, 0,
                                   describeResult(pattern(10240))),
                              STEP(deleteEfsFile(8, 40, 0), "respondDeleteEfsFile", 8, 0),
                              STEP(readEfs(9, 40, 0), "respondReadEfs", 9, 1,
                                   describeResult(Bytes{}))},
                             [](const State& s) { return s.efsFiles.empty(); }},
                RoundTripRow{"EfsDir",
                             [](State& s) { s.efsDirs = {12}; },
                             {STEP(deleteEfsDir(10, 12), "respondDeleteEfsDir", 10, 0),
                              STEP(deleteEfsDir(11, 12), "respondDeleteEfsDir", 11, 1)},
                             [](const State& s) { return s.efsDirs.empty(); }},
                RoundTripRow{"ModemProperty",
                             nothing,
                             {STEP(setModemProperty(12, bytes("persist.x"), bytes("on")),
                                   "respondSetModemProperty", 12, 0),
                              STEP(getModemProperty(13, bytes("persist.x")),
                                   "respondGetModemProperty", 13, 0, describeResult(bytes("on"))),
                              STEP(deleteModemProperty(14, bytes("persist.x")),
                                   "respondDeleteModemProperty", 14, 0),
                              // The modem refuses a missing key as an invalid argument.
                              STEP(getModemProperty(15, bytes("persist.x")),
                                   "respondGetModemProperty", 15, 3, describeResult(Bytes{}))},
                             [](const State& s) { return s.properties.empty(); }},
                RoundTripRow{"BuildInfo",
                             [](State& s) {
                                 s.buildTime = "2026-11-20 08:00:00";
                                 s.buildId = "PLIM.TEST-7";
                             },
                             {STEP(getBuildTime(16), "respondGetBuildTime", 16, 0,
                                   describeResult(std::string("2026-11-20 08:00:00"))),
                              STEP(getBuildId(17), "respondGetBuildId", 17, 0,
                                   describeResult(std::string("PLIM.TEST-7")))},
                             anything},
                // The byte's bits reach the modem unchanged.
                RoundTripRow{"PowerSave",
                             nothing,
                             {STEP(set5gPowerSaveSwitch(18, true), "respondSet5gPowerSaveSwitch",
                                   18, 0),
                              STEP(get5gPowerSaveSwitch(19), "respondGet5gPowerSaveSwitch", 19, 0,
                                   describeResult(true)),
                              STEP(set5gPowerSaveMode(20, static_cast<int8_t>(0xFE)),
                                   "respondSet5gPowerSaveMode", 20, 0)},
                             [](const State& s) {
                                 return s.powerSaveSwitch && s.powerSaveMode == 0xFE;
                             }},
                RoundTripRow{"QstModeAndFuse",
                             [](State& s) { s.simlockFuseState = 1; },
                             {STEP(setQstMode(21, 3), "respondSetQstMode", 21, 0),
                              STEP(getQstMode(22), "respondGetQstMode", 22, 0, describeResult(3)),
                              STEP(getSimlockFuseState(23), "respondGetSimlockFuseState", 23, 0,
                                   describeResult(1))},
                             [](const State& s) { return s.qstMode == 3; }},
                RoundTripRow{"SwitchesAndActions",
                             nothing,
                             {STEP(informScreenState(24, false), "respondInformScreenState", 24, 0),
                              STEP(setRadioInfoReportSwitch(25, true),
                                   "respondSetRadioInfoReportSwitch", 25, 0),
                              STEP(removeRatMask(26), "respondRemoveRatMask", 26, 0),
                              STEP(abortRrcConnection(27), "respondAbortRrcConnection", 27, 0),
                              STEP(activateMbnByName(28, bytes("Commercial-A")),
                                   "respondActivateMbnByName", 28, 0),
                              STEP(restoreDiffQcn(29), "respondRestoreDiffQcn", 29, 0)},
                             [](const State& s) {
                                 return !s.screenOn && s.radioInfoReportEnabled &&
                                        s.ratMaskRemoved && s.rrcAborts == 1 &&
                                        s.activeMbn == "Commercial-A" && s.qcnRestores == 1;
                             }}),
        [](const ::testing::TestParamInfo<RoundTripRow>& info) { return info.param.name; });

#undef STEP

TEST_F(VsRequestsTest, RebootModem_WhenServicesComeBack_RebindsAndServesAgain) {
    Control::setRebootDowntime(std::chrono::milliseconds(20));
    EXPECT_EQ(response("respondRebootModem", 31, 0), ask([](IModem& m) { m.rebootModem(31); }));
    daemon_.waitForIdle();
    for (const char* bind : {"modem_api_bind_nas_subscription", "modem_api_bind_vs_subscription",
                             "modem_api_bind_wds_subscription"}) {
        EXPECT_EQ(1u, Control::countCalls(bind)) << bind << " not called again after the reboot";
    }
    EXPECT_EQ(response("respondGetQstMode", 32, 0, describeResult(0)),
              ask([](IModem& m) { m.getQstMode(32); }))
            << "a request after the reboot was not served";
}

TEST_F(VsRequestsTest, WriteNv_WithIndex_ReachesTheLibraryWithoutIt) {
    ask([](IModem& m) { m.writeNv(33, 550, 1, 9, {1, 2}); });
    ask([](IModem& m) { m.deleteEfsDir(34, 1); });
    const std::vector<modemsim::Call> calls = Control::calls();
    ASSERT_EQ(2u, calls.size()) << "one library call per request expected";
    EXPECT_EQ("1, 550, 2", calls[0].args) << "the NV write must pass sub id, NV id and length";
    EXPECT_EQ("1", calls[1].args) << "the EFS directory delete must pass the EFS id alone";
}

// ---- Limits -------------------------------------------------------------------------------------

struct LimitRow {
    const char* name;
    std::function<void(IModem&)> request;
    std::string response;
    const char* call;  // the library function the request reaches when it is sent
    bool sent;
};

void PrintTo(const LimitRow& row, std::ostream* os) {
    *os << row.name;
}

class VsLimitTest : public VsRequestsTest, public ::testing::WithParamInterface<LimitRow> {};

TEST_P(VsLimitTest, Request_AtLimit_IsRefusedOneBelowIsSent) {
    const LimitRow& row = GetParam();
    // Keys of 51 bytes exist, so that a sent request succeeds.
    Control::editState([](State& s) { s.properties[std::string(51, 'k')] = "v"; });
    EXPECT_EQ(row.response, ask(row.request)) << "the limit is off by one or answered wrongly";
    EXPECT_EQ(row.sent ? 1u : 0u, Control::countCalls(row.call))
            << (row.sent ? "a request within its limit did not reach the modem"
                         : "a request past its limit reached the modem");
}

constexpr const char* kGet = "modem_api_get_modem_property";
constexpr const char* kSet = "modem_api_set_modem_property";
constexpr const char* kDelete = "modem_api_delete_modem_property_sync";
constexpr const char* kByName = "modem_api_active_mbn";

INSTANTIATE_TEST_SUITE_P(
        Vs, VsLimitTest,
        ::testing::Values(
                LimitRow{"MbnName63", [](IModem& m) { m.activateMbnByName(41, Bytes(63, 'n')); },
                         response("respondActivateMbnByName", 41, 0), kByName, true},
                LimitRow{"MbnName64", [](IModem& m) { m.activateMbnByName(42, Bytes(64, 'n')); },
                         response("respondActivateMbnByName", 42, 3), kByName, false},
                LimitRow{"GetKey51", [](IModem& m) { m.getModemProperty(43, Bytes(51, 'k')); },
                         response("respondGetModemProperty", 43, 0, describeResult(bytes("v"))),
                         kGet, true},
                LimitRow{"GetKey52", [](IModem& m) { m.getModemProperty(44, Bytes(52, 'k')); },
                         response("respondGetModemProperty", 44, 3, describeResult(Bytes{})), kGet,
                         false},
                LimitRow{"DeleteKey51",
                         [](IModem& m) { m.deleteModemProperty(45, Bytes(51, 'k')); },
                         response("respondDeleteModemProperty", 45, 0), kDelete, true},
                LimitRow{"DeleteKey52",
                         [](IModem& m) { m.deleteModemProperty(46, Bytes(52, 'k')); },
                         response("respondDeleteModemProperty", 46, 3), kDelete, false},
                LimitRow{"SetKey51",
                         [](IModem& m) { m.setModemProperty(47, Bytes(51, 'k'), bytes("1")); },
                         response("respondSetModemProperty", 47, 0), kSet, true},
                LimitRow{"SetKey52",
                         [](IModem& m) { m.setModemProperty(48, Bytes(52, 'k'), bytes("1")); },
                         response("respondSetModemProperty", 48, 3), kSet, false},
                LimitRow{"SetValue511",
                         [](IModem& m) { m.setModemProperty(49, Bytes(10, 'k'), Bytes(511, 'v')); },
                         response("respondSetModemProperty", 49, 0), kSet, true},
                LimitRow{"SetValue512",
                         [](IModem& m) { m.setModemProperty(50, Bytes(10, 'k'), Bytes(512, 'v')); },
                         response("respondSetModemProperty", 50, 3), kSet, false},
                // Not refused by size: the modem gets an all-zero key and judges it.
                LimitRow{"GetEmptyKey", [](IModem& m) { m.getModemProperty(51, {}); },
                         response("respondGetModemProperty", 51, 1, describeResult(Bytes{})), kGet,
                         true}),
        [](const ::testing::TestParamInfo<LimitRow>& info) { return info.param.name; });

TEST_F(VsRequestsTest, Requests_WhenServiceDown_AnswerNotConnectedBeforeAnyOtherCheck) {
    Control::setServiceAvailable(MODEM_API_SERVICE_VS, false);
    daemon_.waitForIdle();
    EXPECT_EQ(response("respondDeleteModemProperty", 52, 4),
              ask([](IModem& m) { m.deleteModemProperty(52, Bytes(52, 'k')); }))
            << "the connection must be tested before the key's size";
    EXPECT_EQ(response("respondGetQstMode", 53, 4, describeResult(-1)),
              ask([](IModem& m) { m.getQstMode(53); }))
            << "a QST read while the service is down answers 4 and -1";
    EXPECT_EQ(response("respondGetBuildId", 54, 4, describeResult(std::string())),
              ask([](IModem& m) { m.getBuildId(54); }))
            << "an asynchronous read while the service is down answers 4 and nothing";
}

// ---- Replies the library makes badly, and refused starts ----------------------------------------

struct ReplyRow {
    const char* name;
    const char* function;  // the library function whose reply is tampered with
    ReplyTamper tamper;
    std::function<void(IModem&)> request;
    std::string response;
};

void PrintTo(const ReplyRow& row, std::ostream* os) {
    *os << row.name;
}

class VsReplyTest : public VsRequestsTest, public ::testing::WithParamInterface<ReplyRow> {};

TEST_P(VsReplyTest, Reply_WhenMalformedOrFailed_AnswersConvertedError) {
    const ReplyRow& row = GetParam();
    Control::editState([](State& s) { s.properties["k"] = "v"; });
    Control::tamperNextReplies(row.function, 1, row.tamper);
    EXPECT_EQ(row.response, ask(row.request)) << "the library's reply was converted wrongly";
}

ReplyTamper withLength(size_t length) {
    ReplyTamper tamper;
    tamper.length = length;
    return tamper;
}

ReplyTamper withResult(uint32_t result) {
    ReplyTamper tamper;
    tamper.result = result;
    return tamper;
}

ReplyTamper withPayload(Bytes payload) {
    ReplyTamper tamper;
    tamper.payload = std::move(payload);
    return tamper;
}

ReplyTamper withNullRecord() {
    ReplyTamper tamper;
    tamper.nullRecord = true;
    return tamper;
}

const std::string EMPTY_TEXT = describeResult(std::string());

INSTANTIATE_TEST_SUITE_P(
        Vs, VsReplyTest,
        ::testing::Values(
                ReplyRow{"Length547", "modem_get_build_time", withLength(547),
                         [](IModem& m) { m.getBuildTime(61); },
                         response("respondGetBuildTime", 61, 3, EMPTY_TEXT)},
                ReplyRow{"Length549", "modem_get_build_time", withLength(549),
                         [](IModem& m) { m.getBuildTime(62); },
                         response("respondGetBuildTime", 62, 3, EMPTY_TEXT)},
                ReplyRow{"NullRecord", "modem_api_get_modem_property", withNullRecord(),
                         [](IModem& m) { m.getModemProperty(63, bytes("k")); },
                         response("respondGetModemProperty", 63, 3, describeResult(Bytes{}))},
                ReplyRow{"ServiceNotReady", "modem_api_remove_rat_mask", withResult(8),
                         [](IModem& m) { m.removeRatMask(64); },
                         response("respondRemoveRatMask", 64, 4)},
                ReplyRow{"UnknownResult", "modem_abort_rrc_connection", withResult(11),
                         [](IModem& m) { m.abortRrcConnection(65); },
                         response("respondAbortRrcConnection", 65, 1)},
                ReplyRow{"NegativeResult", "modem_api_set_power_save_status",
                         withResult(static_cast<uint32_t>(-7)),
                         [](IModem& m) { m.set5gPowerSaveMode(66, 1); },
                         response("respondSet5gPowerSaveMode", 66, 1)},
                ReplyRow{"BuildTime255", "modem_get_build_time",
                         withPayload(buildTextPayload(255, std::string(255, 't'))),
                         [](IModem& m) { m.getBuildTime(67); },
                         response("respondGetBuildTime", 67, 0,
                                  describeResult(std::string(255, 't')))},
                ReplyRow{"BuildTime256", "modem_get_build_time",
                         withPayload(buildTextPayload(256, std::string(256, 't'))),
                         [](IModem& m) { m.getBuildTime(68); },
                         response("respondGetBuildTime", 68, 3, EMPTY_TEXT)},
                ReplyRow{
                        "BuildIdWithZeroInside", "modem_get_build_id",
                        withPayload(buildTextPayload(20, std::string("ABCDE\0GHIJKLMNOPQRST", 20))),
                        [](IModem& m) { m.getBuildId(69); },
                        response("respondGetBuildId", 69, 0, describeResult(std::string("ABCDE")))},
                ReplyRow{"PropertyWithoutTerminator", "modem_api_get_modem_property",
                         withPayload(Bytes(MODEM_API_ASYNC_PAYLOAD_SIZE, 'p')),
                         [](IModem& m) { m.getModemProperty(70, bytes("k")); },
                         response("respondGetModemProperty", 70, 0,
                                  describeResult(Bytes(511, 'p')))},
                ReplyRow{"PowerSaveByteTwo", "modem_api_get_power_save_mode", withPayload({2}),
                         [](IModem& m) { m.get5gPowerSaveSwitch(71); },
                         response("respondGet5gPowerSaveSwitch", 71, 0, describeResult(true))}),
        [](const ::testing::TestParamInfo<ReplyRow>& info) { return info.param.name; });

TEST_F(VsRequestsTest, AsyncRequest_WhenLibraryRefusesTheStart_AnswersFailedAtOnce) {
    Control::failNextCalls("modem_api_active_mbn", 1, MODEM_API_BUSY);
    EXPECT_EQ(response("respondActivateMbnByName", 72, 1),
              ask([](IModem& m) { m.activateMbnByName(72, bytes("Commercial-A")); }));
    EXPECT_TRUE(log_.contains(Log::ERROR, TAG,
                              "handleActivateMbnByNameMessage: failed to send async request"))
            << log_.dump();
    EXPECT_FALSE(logged(TAG, "modemApiAsyncCallback"))
            << "a refused request was answered a second time from a callback";
}

// A client that stops reading: its responses queue in its share of the binder buffer until
// that is full, then the daemon's response calls fail, each logged; the daemon serves on, and
// the client gets exactly the responses that were accepted once it reads again.
TEST_F(VsRequestsTest, Responses_WhenClientStopsReading_FailLoggedAndDaemonServesOn) {
    constexpr int kRequests = 60;
    Control::editState([](State& s) { s.efsFiles[{0, 40}] = pattern(10240); });
    test::TestClient quiet("quiet");  // no binder threads: nothing it is sent is read
    std::shared_ptr<IModem> quietModem = quiet.connect(0);
    ASSERT_NE(nullptr, quietModem) << "the quiet client found no service";
    quiet.run([&] {
        for (int serial = 1; serial <= kRequests; ++serial) {
            quietModem->readEfs(serial, 40, 0);
        }
    });
    // Not waitForIdle(): what is queued to the quiet client stays queued.
    auto failures = [&] {
        const std::vector<std::string> lines = log_.texts("modem-resp");
        return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [](auto& line) {
            return line.rfind("respondReadEfs: exception = ", 0) == 0;
        }));
    };
    auto attempts = [&] {
        return log_.count(Log::INFO, "modem-resp", "respondReadEfs: succeed") + failures();
    };
    for (int wait = 0; attempts() < kRequests && wait < 1000; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(static_cast<size_t>(kRequests), attempts()) << "a request was never answered";
    const size_t failed = failures();
    EXPECT_GT(failed, 0u) << "60 responses of 10 KiB fit a buffer of about half a MiB";
    EXPECT_LT(failed, static_cast<size_t>(kRequests)) << "no response was accepted at all";

    quiet.startThreads();
    EXPECT_TRUE(quiet.waitForCalls(kRequests - failed)) << "accepted responses were lost";
    daemon_.waitForIdle();
    EXPECT_EQ(kRequests - failed, quiet.takeCalls().size()) << "a failed response arrived anyway";

    // Registering again takes the daemon's callback back; requests are answered as ever.
    modem_ = client_.connect(0);
    ASSERT_NE(nullptr, modem_) << "the reading client lost the service";
    EXPECT_EQ(response("respondGetQstMode", 99, 0, describeResult(0)),
              ask([](IModem& m) { m.getQstMode(99); }));
}

}  // namespace
}  // namespace com::vyr::plim::modem

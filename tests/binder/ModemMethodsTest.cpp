/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Every IModem method at both ends of the binder front, against a client object in another
// simulated process. The entry: with no modem client to take it, a request is answered at once,
// exactly once, on its own response method, with error 4 and its default result. The sender:
// what arrives at the client (method, serial, mapped error, result), what the sender returns
// and logs, with the callback held, missing, or held for a client that has died.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "AidlService.h"
#include "CallbackHolders.h"
#include "DeathNoticeGate.h"
#include "LogCapture.h"
#include "ModemResponse.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using test::describeResult;

constexpr int kSerial = -41;  // negative, so that a sign lost on the way shows

// One row per method: the request, and the sender that answers it. Every sender with a result
// has two distinct non-trivial values (variant 0 and 1), so that one that sends a constant or a
// stale value is caught.
struct MethodRow {
    std::string name;  // the response method without its "respond" prefix, e.g. "ReadNv"
    std::function<ndk::ScopedAStatus(IModem&)> request;  // e.g. readNv(kSerial, ...)
    std::string defaultResult;  // describeResult() of the entry's answer without a modem client
    // Calls ModemResponse::respond<name>(serial, err[, value of variant]).
    std::function<int(int serial, Errno err, size_t variant)> send;
    std::array<std::string, 2> result;     // describeResult() of each variant's value, or empty
    std::array<std::string, 2> logSuffix;  // what the sender's first line adds after "err = %d"

    std::string method() const { return "respond" + name; }
    std::string requestLine(int serial, int err, size_t variant) const {
        return method() + ": serial = " + std::to_string(serial) +
               ", err = " + std::to_string(err) + logSuffix[variant];
    }
};

void PrintTo(const MethodRow& row, std::ostream* os) {
    *os << row.name;
}

// As the sender logs a result: texts and numbers whole, lists by their size.
template <typename Value>
std::string logValue(const Value& value) {
    if constexpr (std::is_same_v<Value, bool>) {
        return value ? ", result = true" : ", result = false";
    } else if constexpr (std::is_same_v<Value, int32_t>) {
        return ", result = " + std::to_string(value);
    } else if constexpr (std::is_same_v<Value, std::string>) {
        return ", result = " + value;
    } else {
        return ", result size = " + std::to_string(value.size());
    }
}

MethodRow makeRow(const char* name, std::function<ndk::ScopedAStatus(IModem&)> request,
                  int (*respond)(int, Errno)) {
    auto send = [respond](int serial, Errno err, size_t) { return respond(serial, err); };
    return MethodRow{name, std::move(request), "", send, {}, {}};
}

// Value is the result type as the sender takes it (by value or by const reference).
template <typename Value, typename Param>
MethodRow makeRow(const char* name, std::function<ndk::ScopedAStatus(IModem&)> request,
                  const Value& defaultResult, int (*respond)(int, Errno, Param),
                  std::array<Value, 2> values) {
    return MethodRow{name,
                     std::move(request),
                     describeResult(defaultResult),
                     [respond, values](int serial, Errno err, size_t variant) {
                         return respond(serial, err, values[variant]);
                     },
                     {describeResult(values[0]), describeResult(values[1])},
                     {logValue(values[0]), logValue(values[1])}};
}

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

// The row's name and its sender come from one token, so they cannot disagree; a request on
// another method shows as an answer on the wrong method.
#define ROW(Name, call) \
    makeRow(            \
            #Name, [](IModem& m) { return m.call; }, &ModemResponse::respond##Name)
#define ROW_OF(Name, call, Type, defaultResult, ...)                      \
    makeRow<Type>(                                                        \
            #Name, [](IModem& m) { return m.call; }, Type(defaultResult), \
            &ModemResponse::respond##Name, std::array<Type, 2>{__VA_ARGS__})

const Bytes kFour{1, 2, 3, 4};

Bytes countingBytes(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 0x80);
    }
    return bytes;
}

const std::vector<MethodRow>& methodRows() {
    static const std::vector<MethodRow> rows{
            ROW_OF(GetBuildTime, getBuildTime(kSerial), std::string, "",
                   "2026-03-14 09:26:53 \xc3\xa9t\xc3\xa9", "0"),
            ROW_OF(GetBuildId, getBuildId(kSerial), std::string, "", "plim-fw 1.2.3+build.77 %d %s",
                   " spaced  out "),
            ROW_OF(ReadNv, readNv(kSerial, 550, -1, 7), Bytes, Bytes(),
                   Bytes{0x00, 0x7f, 0x80, 0xff}, Bytes{0xff}),
            ROW(WriteNv, writeNv(kSerial, 551, 1, -128, kFour)),
            ROW_OF(ReadEfs, readEfs(kSerial, 9, 0), Bytes, Bytes(),
                   Bytes{0xff, 0x80, 0x7f, 0x00, 0x01}, Bytes{0x00, 0x00}),
            ROW(WriteEfs, writeEfs(kSerial, 10, 1, {})),
            ROW(DeleteEfsFile, deleteEfsFile(kSerial, 11, 127)),
            ROW(DeleteEfsDir, deleteEfsDir(kSerial, -12)),
            ROW_OF(GetNrNetworkMode, getNrNetworkMode(kSerial), int32_t, -1, -1, 3),
            ROW(SetNrNetworkMode, setNrNetworkMode(kSerial, 3)),
            ROW_OF(GetVonrMode, getVonrMode(kSerial), int32_t, -1, 2, -2),
            ROW(SetVonrMode, setVonrMode(kSerial, 1)),
            ROW_OF(GetOperatingMode, getOperatingMode(kSerial), int32_t, -1, INT32_MIN, 6),
            ROW(SetOperatingMode, setOperatingMode(kSerial, 4)),
            ROW(SetRadioInfoReportSwitch, setRadioInfoReportSwitch(kSerial, true)),
            ROW(DeleteImsProfile, deleteImsProfile(kSerial)),
            ROW_OF(GetActiveMbnInfo, getActiveMbnInfo(kSerial, 1), Bytes, Bytes(),
                   countingBytes(300), Bytes{0x80, 0x00, 0xff, 0x7f}),
            ROW_OF(GetMetaMbnInfo, getMetaMbnInfo(kSerial, kFour), Bytes, Bytes(),
                   Bytes{0x7f, 0xff, 0x00, 0x80, 'm'}, Bytes{0x01}),
            ROW_OF(GetMbnList, getMbnList(kSerial), Strings, Strings(),
                   Strings{"row/commercial.mbn", "", "lab \xc3\xa9.mbn"}, Strings{"only.mbn"}),
            ROW(DeleteAllMbns, deleteAllMbns(kSerial)),
            ROW(SelectMbn, selectMbn(kSerial, 0, kFour)),
            ROW(LoadMbn, loadMbn(kSerial, kFour)),
            ROW(ActivateMbn, activateMbn(kSerial, 1)),
            ROW(DeactivateMbn, deactivateMbn(kSerial, 0)),
            ROW(ActivateMbnByName, activateMbnByName(kSerial, kFour)),
            ROW(RestoreDiffQcn, restoreDiffQcn(kSerial)),
            ROW(RebootModem, rebootModem(kSerial)),
            ROW(RemoveRatMask, removeRatMask(kSerial)),
            ROW_OF(GetModemProperty, getModemProperty(kSerial, kFour), Bytes, Bytes(),
                   Bytes{0x00, 0x00, 0xff, 0x80, 0x7f}, Bytes{'v', 0x00}),
            ROW(SetModemProperty, setModemProperty(kSerial, kFour, {})),
            ROW(DeleteModemProperty, deleteModemProperty(kSerial, {})),
            ROW_OF(Get5gPowerSaveSwitch, get5gPowerSaveSwitch(kSerial), bool, false, true, false),
            ROW(Set5gPowerSaveSwitch, set5gPowerSaveSwitch(kSerial, false)),
            ROW(Set5gPowerSaveMode, set5gPowerSaveMode(kSerial, -2)),
            ROW(ForceAsdiv, forceAsdiv(kSerial, 2)),
            // Unlike the mode getters, the fuse state's default is 0.
            ROW_OF(GetSimlockFuseState, getSimlockFuseState(kSerial), int32_t, 0, INT32_MAX, -100),
            ROW_OF(GetQstMode, getQstMode(kSerial), int32_t, -1, -7, 1),
            ROW(SetQstMode, setQstMode(kSerial, 5)),
            ROW(AbortRrcConnection, abortRrcConnection(kSerial)),
            ROW(SetSarState, setSarState(kSerial, -1)),
            ROW(InformScreenState, informScreenState(kSerial, true)),
    };
    return rows;
}

#undef ROW
#undef ROW_OF

struct ErrorCase {
    Errno err;
    int32_t sent;  // what ResponseInfo.error must carry: 0 to 5 as they are, anything else 1
    int serial;    // never equal to either error value, so swapped fields show
};

const std::vector<ErrorCase> kErrorCases{
        {OK, 0, 7001},
        {FAILED, 1, INT_MAX},
        {UNSUPPORTED, 2, INT_MIN},
        {INVALID_ARGUMENT, 3, -7},
        {INVALID_STATE, 4, 0},
        {NO_MEMORY, 5, 65536},
        {static_cast<Errno>(6), 1, 3},
        {static_cast<Errno>(100), 1, -2},
        {static_cast<Errno>(-1), 1, 99},
        {static_cast<Errno>(INT_MIN), 1, 123456789},
};

// What the client records of a response on `row`'s method.
std::string arrival(const MethodRow& row, int serial, int32_t error, const std::string& result) {
    return test::RecordedCall{"client", false, row.method(), {0, serial, error}, result}.text();
}

std::string logLine(int priority, const std::string& text) {
    return std::to_string(priority) + " " + text;
}

/**
 * The service registered without the modem side (every modem client pointer is empty), and a
 * client that has set its callbacks.
 */
class ModemMethodsTest : public ::testing::TestWithParam<MethodRow> {
  protected:
    void SetUp() override {
        ASSERT_EQ(OK, AidlService::setup(0)) << log_.dump();
        client_.startThreadPool(1);
        modem_ = client_.connect(0);
        ASSERT_NE(nullptr, modem_) << "the service is not registered";
        ABinderHost_waitForIdle();
        log_.clear();
    }

    void TearDown() override {
        ABinderHost_waitForIdle();  // so that an unasked response arrives before the kill
        // The holders hear of the client's death on a binder thread: before the process exits.
        client_.kill();
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, CallbackHolders::response().get()) << "the dead client is still held";
        client_.expectNothingLeft();
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "death notices still queued to the daemon";
    }

    // The sender's lines since the last call, "<priority> <text>", in order.
    std::vector<std::string> takeSenderLines() {
        std::vector<std::string> lines;
        for (const test::LogLine& line : log_.lines()) {
            if (line.tag == "modem-resp") {
                lines.push_back(logLine(line.priority, line.text));
            }
        }
        log_.clear();
        return lines;
    }

    test::LogCapture log_;
    test::TestClient client_{"client"};
    std::shared_ptr<IModem> modem_;
};

TEST_P(ModemMethodsTest, Method_FromRequestToResponse_AnswersOnceOnItsOwnMethodOrReportsWhyNot) {
    const MethodRow& row = GetParam();
    // The entry, with no modem client to take the request.
    ndk::ScopedAStatus status = client_.run([&] { return row.request(*modem_); });
    EXPECT_TRUE(status.isOk()) << "errors must travel in the response, not the status";
    ASSERT_TRUE(client_.waitForCalls(1)) << "the request was never answered";
    ABinderHost_waitForIdle();
    EXPECT_EQ(std::vector<std::string>{arrival(row, kSerial, INVALID_STATE, row.defaultResult)},
              test::texts(client_.takeCalls()))
            << "not answered once, on its own method, with 4 and its default";
    EXPECT_EQ(1u, log_.texts("modem-impl").size()) << "the request was not logged once";

    // The sender, with the callback the client set.
    std::vector<std::string> expected;
    for (size_t i = 0; i < kErrorCases.size(); ++i) {
        const ErrorCase& c = kErrorCases[i];
        SCOPED_TRACE("err " + std::to_string(c.err) + ", serial " + std::to_string(c.serial));
        takeSenderLines();
        EXPECT_EQ(OK, row.send(c.serial, c.err, i % 2)) << "the client took the call: not OK?";
        EXPECT_EQ((std::vector<std::string>{
                          logLine(Log::INFO, row.requestLine(c.serial, c.err, i % 2)),
                          logLine(Log::INFO, row.method() + ": succeed")}),
                  takeSenderLines())
                << "wrong request or outcome line (the request line shows the unmapped err)";
        expected.push_back(arrival(row, c.serial, c.sent, row.result[i % 2]));
    }
    ABinderHost_waitForIdle();
    std::vector<test::RecordedCall> calls = client_.takeCalls();
    EXPECT_EQ(expected, test::texts(calls))
            << "responses were lost, duplicated, reordered, sent on another method, carried an "
               "unmapped error or changed their serial or result on the way";
    for (const test::RecordedCall& call : calls) {
        EXPECT_TRUE(call.onBinderThread) << "a response ran on the sender's thread";
    }

    // Only the indication holder has a callback: a sender that used it would be caught.
    CallbackHolders::response().update(nullptr);
    ASSERT_NE(nullptr, CallbackHolders::indication().get()) << "the client's indication went";
    takeSenderLines();
    EXPECT_EQ(INVALID_STATE, row.send(-4, FAILED, 0)) << "a response without a callback went out";
    EXPECT_EQ((std::vector<std::string>{
                      logLine(Log::INFO, row.requestLine(-4, FAILED, 0)),
                      logLine(Log::ERROR, row.method() + ": respCb null, can't send response")}),
              takeSenderLines())
            << "a dropped response was not logged as such";

    // The client dies; until the holder hears of it, the binder call itself fails.
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> proxy =
            client_.proxy<aidl::vendor::vyr::plim::modem::IModemResponse>();
    test::DeathNoticeGate gate(proxy->asBinder());
    CallbackHolders::response().update(proxy);
    proxy.reset();
    ASSERT_TRUE(client_.kill()) << "the client was not alive to be killed";
    ASSERT_TRUE(gate.waitUntilNoticed()) << "the client's death notice never ran";
    takeSenderLines();
    EXPECT_EQ(FAILED, row.send(-5, OK, 1)) << "a failed binder call was not reported as FAILED";
    std::vector<std::string> lines = takeSenderLines();
    ASSERT_EQ(2u, lines.size()) << ::testing::PrintToString(lines);
    EXPECT_EQ(logLine(Log::INFO, row.requestLine(-5, OK, 1)), lines[0]) << "wrong request line";
    EXPECT_EQ(0u, lines[1].find(logLine(Log::ERROR, row.method() + ": exception = ")))
            << "the failed call was not logged as an exception of this method: " << lines[1];
    EXPECT_NE(std::string::npos, lines[1].find("DEAD_OBJECT"))
            << "the logged exception does not describe the binder failure: " << lines[1];
    gate.release();
    ABinderHost_waitForIdle();
    EXPECT_EQ(INVALID_STATE, row.send(-6, OK, 0)) << "a response went to a dead client's callback";
}

INSTANTIATE_TEST_SUITE_P(AllMethods, ModemMethodsTest, ::testing::ValuesIn(methodRows()),
                         [](const ::testing::TestParamInfo<MethodRow>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace com::vyr::plim::modem

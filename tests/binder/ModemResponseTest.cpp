/*
 * Copyright (C) 2026 The plim-modem developers
 */

// ModemResponse's 41 senders, each against a client object in another simulated process: what
// arrives there (method, serial, mapped error, result), what the sender returns and logs, with
// the callback held, missing, or held for a client that has died.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "LogCapture.h"
#include "ModemResponse.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using test::describeResult;

// One row per sender: how to call it, and what the client and the log must show. Every row with
// a result has two distinct non-trivial values (variant 0 and 1), so that a sender that sends a
// constant or a stale value is caught.
struct ResponseRow {
    /** The method without its "respond" prefix, e.g. "ReadNv". */
    std::string name;
    /** Calls ModemResponse::respond<name>(serial, err[, value of variant]). */
    std::function<int(int serial, Errno err, size_t variant)> send;
    /** describeResult() of each variant's value; empty for methods without a result. */
    std::array<std::string, 2> result;
    /** What the first log line adds after "err = %d" for each variant. */
    std::array<std::string, 2> logSuffix;

    std::string method() const { return "respond" + name; }
    /** The sender's first log line. */
    std::string requestLine(int serial, int err, size_t variant) const {
        return method() + ": serial = " + std::to_string(serial) +
               ", err = " + std::to_string(err) + logSuffix[variant];
    }
};

void PrintTo(const ResponseRow& row, std::ostream* os) {
    *os << row.name;
}

std::string logValue(const std::string& value) {
    return ", result = " + value;
}
std::string logValue(const std::vector<uint8_t>& value) {
    return ", result size = " + std::to_string(value.size());
}
std::string logValue(const std::vector<std::string>& value) {
    return ", result size = " + std::to_string(value.size());
}
std::string logValue(int32_t value) {
    return ", result = " + std::to_string(value);
}
std::string logValue(bool value) {
    return value ? ", result = true" : ", result = false";
}

ResponseRow makeRow(const char* name, int (*respond)(int, Errno)) {
    return ResponseRow{name,
                       [respond](int serial, Errno err, size_t) { return respond(serial, err); },
                       {},
                       {}};
}

// Value is the result type as the sender takes it (by value or by const reference).
template <typename Value, typename Param>
ResponseRow makeRow(const char* name, int (*respond)(int, Errno, Param),
                    std::array<Value, 2> values) {
    return ResponseRow{name,
                       [respond, values](int serial, Errno err, size_t variant) {
                           return respond(serial, err, values[variant]);
                       },
                       {describeResult(values[0]), describeResult(values[1])},
                       {logValue(values[0]), logValue(values[1])}};
}

using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

// The row's name and its sender come from one token, so they cannot disagree.
#define ROW(Name) makeRow(#Name, &ModemResponse::respond##Name)
#define ROW_OF(Name, Type, ...) \
    makeRow<Type>(#Name, &ModemResponse::respond##Name, std::array<Type, 2>{__VA_ARGS__})

Bytes countingBytes(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 0x80);
    }
    return bytes;
}

const std::vector<ResponseRow>& responseRows() {
    static const std::vector<ResponseRow> rows{
            ROW_OF(GetBuildTime, std::string, "2026-03-14 09:26:53 \xc3\xa9t\xc3\xa9", "0"),
            ROW_OF(GetBuildId, std::string, "plim-fw 1.2.3+build.77 %d %s", " spaced  out "),
            ROW_OF(ReadNv, Bytes, Bytes{0x00, 0x7f, 0x80, 0xff}, Bytes{0xff}),
            ROW(WriteNv),
            ROW_OF(ReadEfs, Bytes, Bytes{0xff, 0x80, 0x7f, 0x00, 0x01}, Bytes{0x00, 0x00}),
            ROW(WriteEfs),
            ROW(DeleteEfsFile),
            ROW(DeleteEfsDir),
            ROW_OF(GetNrNetworkMode, int32_t, -1, 3),
            ROW(SetNrNetworkMode),
            ROW_OF(GetVonrMode, int32_t, 2, -2),
            ROW(SetVonrMode),
            ROW_OF(GetOperatingMode, int32_t, INT32_MIN, 6),
            ROW(SetOperatingMode),
            ROW(SetRadioInfoReportSwitch),
            ROW(DeleteImsProfile),
            ROW_OF(GetActiveMbnInfo, Bytes, countingBytes(300), Bytes{0x80, 0x00, 0xff, 0x7f}),
            ROW_OF(GetMetaMbnInfo, Bytes, Bytes{0x7f, 0xff, 0x00, 0x80, 'm'}, Bytes{0x01}),
            ROW_OF(GetMbnList, Strings, Strings{"row/commercial.mbn", "", "lab \xc3\xa9.mbn"},
                   Strings{"only.mbn"}),
            ROW(DeleteAllMbns),
            ROW(SelectMbn),
            ROW(LoadMbn),
            ROW(ActivateMbn),
            ROW(DeactivateMbn),
            ROW(ActivateMbnByName),
            ROW(RestoreDiffQcn),
            ROW(RebootModem),
            ROW(RemoveRatMask),
            ROW_OF(GetModemProperty, Bytes, Bytes{0x00, 0x00, 0xff, 0x80, 0x7f}, Bytes{'v', 0x00}),
            ROW(SetModemProperty),
            ROW(DeleteModemProperty),
            ROW_OF(Get5gPowerSaveSwitch, bool, true, false),
            ROW(Set5gPowerSaveSwitch),
            ROW(Set5gPowerSaveMode),
            ROW(ForceAsdiv),
            ROW_OF(GetSimlockFuseState, int32_t, INT32_MAX, -100),
            ROW_OF(GetQstMode, int32_t, -7, 1),
            ROW(SetQstMode),
            ROW(AbortRrcConnection),
            ROW(SetSarState),
            ROW(InformScreenState),
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

std::string logLine(int priority, const std::string& text) {
    return std::to_string(priority) + " " + text;
}

class ModemResponseTest : public ::testing::TestWithParam<ResponseRow> {
  protected:
    void SetUp() override {
        // As the daemon registers; it receives nothing but death notices here.
        ABinderProcess_setThreadPoolMaxThreadCount(1);
        ABinderProcess_startThreadPool();
        client_.startThreads();
    }

    void TearDown() override {
        CallbackHolders::response().update(nullptr);
        CallbackHolders::indication().update(nullptr);
        ABinderHost_waitForIdle();
        EXPECT_EQ(test::texts({}), test::texts(client_.takeCalls()))
                << "the client got responses that no test step sent";
        EXPECT_EQ(0u, client_.process().pendingWork()) << "responses still queued to the client";
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "death notices still queued to the daemon";
        EXPECT_EQ(0u, client_.liveProxies()) << "a callback proxy outlived the holders";
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
};

TEST_P(ModemResponseTest, Respond_WhenCallbackHeldMissingOrDead_DeliversOrReportsWhyNot) {
    const ResponseRow& row = GetParam();
    CallbackHolders::response().update(client_.responseProxy());
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
        test::RecordedCall call;
        call.process = client_.name();
        call.method = row.method();
        call.info.type = 0;
        call.info.serial = c.serial;
        call.info.error = c.sent;
        call.result = row.result[i % 2];
        expected.push_back(call.text());
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
    CallbackHolders::indication().update(client_.indicationProxy());
    takeSenderLines();
    EXPECT_EQ(INVALID_STATE, row.send(-4, FAILED, 0)) << "a response without a callback went out";
    EXPECT_EQ((std::vector<std::string>{
                      logLine(Log::INFO, row.requestLine(-4, FAILED, 0)),
                      logLine(Log::ERROR, row.method() + ": respCb null, can't send response")}),
              takeSenderLines())
            << "a dropped response was not logged as such";

    // The client dies; until the holder hears of it, the binder call itself fails.
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> proxy = client_.responseProxy();
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

INSTANTIATE_TEST_SUITE_P(AllResponses, ModemResponseTest, ::testing::ValuesIn(responseRows()),
                         [](const ::testing::TestParamInfo<ResponseRow>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace com::vyr::plim::modem

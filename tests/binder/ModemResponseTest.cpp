/*
 * Copyright (C) 2026 The plim-modem developers
 */

// ModemResponse's 41 senders, each against a client object in another simulated process: what
// arrives there (method, serial, error, result), what the sender returns, and what it logs.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "LogCapture.h"
#include "ModemResponse.h"
#include "ResponseRows.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModemResponse;
using test::LogCapture;
using test::RecordedCall;
using test::ResponseRow;
using test::TestClient;

constexpr const char* TAG = "modem-resp";

struct ErrorCase {
    Errno err;
    int32_t sent;  // what ResponseInfo.error must carry
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
        // The daemon receives nothing but death notices here, on its one binder thread.
        ABinderProcess_setThreadPoolMaxThreadCount(0);
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

    // The sender's lines, "<priority> <text>", in order.
    std::vector<std::string> senderLines() const {
        std::vector<std::string> lines;
        for (const test::LogLine& line : log_.lines()) {
            if (line.tag == TAG) {
                lines.push_back(logLine(line.priority, line.text));
            }
        }
        return lines;
    }

    LogCapture log_;
    TestClient client_{"client"};
};

TEST_P(ModemResponseTest, Respond_WhenCallbackHeld_ClientGetsSameMethodSerialMappedErrorAndResult) {
    const ResponseRow& row = GetParam();
    CallbackHolders::response().update(client_.responseProxy());

    std::vector<std::string> expected;
    for (size_t i = 0; i < kErrorCases.size(); ++i) {
        const ErrorCase& c = kErrorCases[i];
        const size_t variant = i % 2;
        SCOPED_TRACE("err " + std::to_string(c.err) + ", serial " + std::to_string(c.serial));
        log_.clear();

        EXPECT_EQ(OK, row.send(c.serial, c.err, variant))
                << "the client took the call, yet the sender did not report success";
        EXPECT_EQ((std::vector<std::string>{
                          logLine(Log::INFO, row.requestLine(c.serial, c.err, variant)),
                          logLine(Log::INFO, row.method() + ": succeed")}),
                  senderLines())
                << "wrong request or outcome line (the request line shows the unmapped err)";

        RecordedCall call;
        call.process = client_.name();
        call.method = row.method();
        call.info.type = 0;
        call.info.serial = c.serial;
        call.info.error = c.sent;
        call.result = row.result[variant];
        expected.push_back(call.text());
    }
    ABinderHost_waitForIdle();

    std::vector<RecordedCall> calls = client_.takeCalls();
    EXPECT_EQ(expected, test::texts(calls))
            << "responses were lost, duplicated, reordered, sent on another method, carried an "
               "unmapped error or changed their serial or result on the way";
    for (const RecordedCall& call : calls) {
        EXPECT_TRUE(call.onBinderThread)
                << "a response ran on the sender's thread instead of crossing to the client";
    }
}

TEST_P(ModemResponseTest, Respond_WhenNoResponseCallbackHeld_Returns4AndNothingArrives) {
    const ResponseRow& row = GetParam();
    // Only the indication holder has a callback: a sender that used it would be caught.
    CallbackHolders::indication().update(client_.indicationProxy());

    for (const ErrorCase& c : {kErrorCases.front(), kErrorCases.back()}) {
        SCOPED_TRACE("err " + std::to_string(c.err));
        log_.clear();
        EXPECT_EQ(INVALID_STATE, row.send(c.serial, c.err, 0))
                << "a response without a callback was not reported as dropped";
        EXPECT_EQ(
                (std::vector<std::string>{
                        logLine(Log::INFO, row.requestLine(c.serial, c.err, 0)),
                        logLine(Log::ERROR, row.method() + ": respCb null, can't send response")}),
                senderLines())
                << "a dropped response was not logged as such";
    }
    ABinderHost_waitForIdle();
    EXPECT_EQ(test::texts({}), test::texts(client_.takeCalls()))
            << "a response reached the client without a response callback";
}

TEST_P(ModemResponseTest, Respond_WhenClientDiedBeforeDeathNotice_Returns1AndLogsException) {
    const ResponseRow& row = GetParam();
    std::shared_ptr<IModemResponse> proxy = client_.responseProxy();
    test::DeathNoticeGate gate(proxy->asBinder());
    CallbackHolders::response().update(proxy);
    proxy.reset();
    ASSERT_TRUE(client_.kill()) << "the client was not alive to be killed";
    ASSERT_TRUE(gate.waitUntilNoticed()) << "the client's death notice never ran";
    log_.clear();

    EXPECT_EQ(FAILED, row.send(-5, OK, 1)) << "a failed binder call was not reported as FAILED";
    std::vector<std::string> lines = senderLines();
    ASSERT_EQ(2u, lines.size()) << log_.dump();
    EXPECT_EQ(logLine(Log::INFO, row.requestLine(-5, OK, 1)), lines[0]) << "wrong request line";
    const std::string exception = logLine(Log::ERROR, row.method() + ": exception = ");
    EXPECT_EQ(exception, lines[1].substr(0, exception.size()))
            << "the failed call was not logged as an exception of this method";
    EXPECT_NE(std::string::npos, lines[1].find("DEAD_OBJECT"))
            << "the logged exception does not describe the binder failure: " << lines[1];

    // Once the holder has heard of the death, the same sender drops the response instead.
    gate.release();
    ABinderHost_waitForIdle();
    EXPECT_EQ(nullptr, CallbackHolders::response().get()) << "the dead client's callback is held";
    EXPECT_EQ(INVALID_STATE, row.send(-6, OK, 0)) << "a response went to a dead client's callback";
}

INSTANTIATE_TEST_SUITE_P(AllResponses, ModemResponseTest, ::testing::ValuesIn(test::responseRows()),
                         [](const ::testing::TestParamInfo<ResponseRow>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace com::vyr::plim::modem

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// ModemResponse's 41 senders, each against a client object in another simulated process: what
// arrives there (method, serial, mapped error, result), what the sender returns and logs, with
// the callback held, missing, or held for a client that has died.

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

using test::ResponseRow;

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

INSTANTIATE_TEST_SUITE_P(AllResponses, ModemResponseTest, ::testing::ValuesIn(test::responseRows()),
                         [](const ::testing::TestParamInfo<ResponseRow>& info) {
                             return info.param.name;
                         });

}  // namespace
}  // namespace com::vyr::plim::modem

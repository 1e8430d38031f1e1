/*
 * Copyright (C) 2026 The plim-modem developers
 */

// ModemIndication::indicateCacheInfo against the callbacks a client may have left with the
// daemon. The client runs without binder threads while the daemon acts, so any transaction sent
// to it would still be queued there.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "LogCapture.h"
#include "ModemIndication.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using test::LogCapture;
using test::TestClient;

constexpr const char* TAG = "modem-ind";

enum class Held { INDICATION, NOTHING, RESPONSE_ONLY, INDICATION_CLEARED, INDICATION_OF_DEAD };

struct IndicationRow {
    std::string name;
    Held held;
    int result;
    std::vector<std::string> lines;  // "<priority> <text>" of the tag, in order
};

// Names the row in test output instead of dumping its fields.
void PrintTo(const IndicationRow& row, std::ostream* os) {
    *os << row.name;
}

const std::string kEntry = "4 indicateCacheInfo: entry";
const std::string kSucceed = "4 indicateCacheInfo: succeed";
const std::string kNoCallback = "6 indicateCacheInfo: indCb null, can't send indication";

class ModemIndicationTest : public ::testing::TestWithParam<IndicationRow> {
  protected:
    void SetUp() override {
        // Death notices for the holders' links run on the daemon's binder thread.
        ABinderProcess_setThreadPoolMaxThreadCount(0);
        ABinderProcess_startThreadPool();
    }

    void TearDown() override {
        CallbackHolders::response().update(nullptr);
        CallbackHolders::indication().update(nullptr);
        client_.startThreads();  // lets anything wrongly queued run, to be seen below
        ABinderHost_waitForIdle();
        EXPECT_EQ(test::texts({}), test::texts(client_.takeCalls()))
                << "the client's response callback was called";
        EXPECT_EQ(0u, client_.process().pendingWork()) << "work still queued to the client";
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "death notices still queued to the daemon";
        EXPECT_EQ(0u, client_.liveProxies()) << "a callback proxy outlived the holders";
    }

    std::vector<std::string> indicationLines() const {
        std::vector<std::string> lines;
        for (const test::LogLine& line : log_.lines()) {
            if (line.tag == TAG) {
                lines.push_back(std::to_string(line.priority) + " " + line.text);
            }
        }
        return lines;
    }

    LogCapture log_;
    TestClient client_{"client"};
};

TEST_P(ModemIndicationTest, IndicateCacheInfo_ByCallbacksHeld_ReturnsAndLogsWithoutCallingClient) {
    const IndicationRow& row = GetParam();
    switch (row.held) {
        case Held::INDICATION:
            CallbackHolders::indication().update(client_.indicationProxy());
            break;
        case Held::NOTHING:
            break;
        case Held::RESPONSE_ONLY:
            CallbackHolders::response().update(client_.responseProxy());
            break;
        case Held::INDICATION_CLEARED:
            CallbackHolders::indication().update(client_.indicationProxy());
            CallbackHolders::indication().update(nullptr);
            break;
        case Held::INDICATION_OF_DEAD:
            CallbackHolders::indication().update(client_.indicationProxy());
            ASSERT_TRUE(client_.kill()) << "the client was not alive to be killed";
            ABinderHost_waitForIdle();
            break;
    }
    log_.clear();

    EXPECT_EQ(row.result, ModemIndication::indicateCacheInfo())
            << "the result does not follow whether an indication callback is held";
    EXPECT_EQ(row.lines, indicationLines()) << "wrong entry or outcome line";
    EXPECT_EQ(0u, client_.process().pendingWork()) << "indicateCacheInfo sent the client a call";
}

INSTANTIATE_TEST_SUITE_P(
        Callbacks, ModemIndicationTest,
        ::testing::Values(
                IndicationRow{"IndicationHeld", Held::INDICATION, OK, {kEntry, kSucceed}},
                IndicationRow{"NothingHeld", Held::NOTHING, INVALID_STATE, {kEntry, kNoCallback}},
                IndicationRow{"OnlyResponseHeld",
                              Held::RESPONSE_ONLY,
                              INVALID_STATE,
                              {kEntry, kNoCallback}},
                IndicationRow{"IndicationCleared",
                              Held::INDICATION_CLEARED,
                              INVALID_STATE,
                              {kEntry, kNoCallback}},
                IndicationRow{"IndicationClientDied",
                              Held::INDICATION_OF_DEAD,
                              INVALID_STATE,
                              {kEntry, kNoCallback}}),
        [](const ::testing::TestParamInfo<IndicationRow>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::modem

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The process's callback holders with real proxies for clients in other simulated processes:
// which callback is held, where its death link is, and what a client's death does to it.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "DeathNoticeGate.h"
#include "LogCapture.h"
#include "ModemIndication.h"
#include "ModemResponse.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using test::TestClient;

constexpr const char* TAG = "modem-impl";
constexpr const char* kResponse = "vendor.vyr.plim.modem.IModemResponse";

CallbackWrapper<IModemResponse>& holder() {
    return CallbackHolders::response();
}

// One of the holder's lines about a callback of `descriptor`, `pattern` taking it and the holder.
std::string holderLine(const char* pattern, const char* descriptor, const void* cookie) {
    char line[200];
    std::snprintf(line, sizeof(line), pattern, descriptor, cookie);
    return line;
}

const std::string kDied =
        holderLine("client of %s died, reset callback for %p", kResponse, &holder());
const std::string kUnlinked =
        holderLine("binder of %s unlinked, cookie = %p", kResponse, &holder());

// How client A's callback leaves the holder.
struct LeaveRow {
    std::string name;
    bool diesFirst;  // A dies before it leaves, its death notice held back until after
    bool replaced;   // by client B's callback, else cleared
};

void PrintTo(const LeaveRow& row, std::ostream* os) {
    *os << row.name;
}

class CallbackWrapperTest : public ::testing::TestWithParam<LeaveRow> {
  protected:
    void SetUp() override {
        // As the daemon registers: death notices for the holders' links run on its pool.
        ABinderProcess_setThreadPoolMaxThreadCount(1);
        ABinderProcess_startThreadPool();
        a_.startThreadPool(2);
        b_.startThreadPool(2);
    }

    void TearDown() override {
        holder().update(nullptr);
        CallbackHolders::indication().update(nullptr);
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, holder().get()) << "the response holder could not be cleared";
        a_.expectNothingLeft();
        b_.expectNothingLeft();
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "death notices still queued to the daemon";
        EXPECT_EQ(0u, count(Log::ERROR)) << "the holder logged an error\n" << log_.dump();
    }

    // The holders' lines under `priority` with `text`, or with any text if it is empty.
    size_t count(int priority, const std::string& text = "") const {
        const std::vector<test::LogLine> lines = log_.lines();
        return std::count_if(lines.begin(), lines.end(), [&](const test::LogLine& line) {
            return line.tag == TAG && line.priority == priority &&
                   (text.empty() || line.text == text);
        });
    }

    test::LogCapture log_;
    TestClient a_{"client-a"};
    TestClient b_{"client-b"};
};

TEST_P(CallbackWrapperTest, Update_WhenCallbackLeaves_ItsClientsDeathSparesTheHolder) {
    const LeaveRow& row = GetParam();
    std::shared_ptr<IModemResponse> proxy = a_.proxy<IModemResponse>();
    // Linked first, so that it holds back the holder's part of A's notice too. It also keeps the
    // proxy's links alive (dropping the last reference would end them).
    test::DeathNoticeGate gate(proxy->asBinder());
    holder().update(proxy);
    // The same remote callback set again (each setCallback brings a new proxy object) must keep
    // its one link: a second one would show as a second unlink below.
    std::shared_ptr<IModemResponse> again = a_.proxy<IModemResponse>();
    ASSERT_NE(proxy, again) << "two setCallbacks must bring distinct proxy objects";
    holder().update(again);
    again.reset();
    EXPECT_EQ(0u, count(Log::WARN, kUnlinked)) << "setting the held callback again unlinked it";
    std::weak_ptr<IModemResponse> left = proxy;
    proxy.reset();
    if (row.diesFirst) {
        ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
        ASSERT_TRUE(gate.waitUntilNoticed()) << "A's death notice never came";
    }
    std::shared_ptr<IModemResponse> successor = row.replaced ? b_.proxy<IModemResponse>() : nullptr;
    holder().update(successor);
    gate.release();
    if (!row.diesFirst) {
        ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    }
    ABinderHost_waitForIdle();

    EXPECT_TRUE(left.expired()) << "the holder kept a reference to the callback that left";
    EXPECT_EQ(1u, count(Log::WARN, kUnlinked)) << "A's link did not end exactly once";
    EXPECT_EQ(row.diesFirst ? 1u : 0u, count(Log::WARN, kDied))
            << "A's notice reached the holder although A left it alive, or was not logged";
    std::shared_ptr<IModemResponse> held = holder().get();
    EXPECT_EQ(successor, held) << "A's death changed what the holder holds";
    held.reset();
    successor.reset();
    if (row.replaced) {
        EXPECT_EQ(OK, ModemResponse::respondSetSarState(7, OK)) << "the successor was not held";
        ABinderHost_waitForIdle();
        EXPECT_EQ(std::vector<std::string>{"client-b: respondSetSarState type=0 serial=7 error=0"},
                  test::texts(b_.takeCalls()))
                << "the successor lost the response";
        // The holder watches its successor as it watched A, even after A's death.
        ASSERT_TRUE(b_.kill()) << "client B was not alive to be killed";
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, holder().get()) << "the successor's death went unnoticed";
        EXPECT_EQ(row.diesFirst ? 2u : 1u, count(Log::WARN, kDied))
                << "the successor's death was not reported once, with the holder as cookie\n"
                << log_.dump();
        EXPECT_EQ(2u, count(Log::WARN, kUnlinked)) << "the successor's link did not end once";
        EXPECT_EQ(INVALID_STATE, ModemResponse::respondRebootModem(5, OK))
                << "a response after the death was not dropped";
    }
}

INSTANTIATE_TEST_SUITE_P(Leaves, CallbackWrapperTest,
                         ::testing::Values(LeaveRow{"Cleared", false, false},
                                           LeaveRow{"Replaced", false, true},
                                           LeaveRow{"ClearedAfterDeath", true, false},
                                           LeaveRow{"ReplacedAfterDeath", true, true}),
                         [](const ::testing::TestParamInfo<LeaveRow>& info) {
                             return info.param.name;
                         });

TEST_F(CallbackWrapperTest, OnClientDied_WhenIndicationClientDies_ClearsOnlyIndicationHolder) {
    CallbackWrapper<IModemIndication>& indications = CallbackHolders::indication();
    holder().update(a_.proxy<IModemResponse>());
    EXPECT_EQ(INVALID_STATE, ModemIndication::indicateCacheInfo())
            << "a response callback passed for an indication callback";
    indications.update(b_.proxy<IModemIndication>());
    EXPECT_EQ(OK, ModemIndication::indicateCacheInfo()) << "the indication callback went unseen";
    ASSERT_TRUE(b_.kill()) << "client B was not alive to be killed";
    ABinderHost_waitForIdle();

    EXPECT_EQ(nullptr, indications.get()) << "the dead client's indication callback is held";
    EXPECT_EQ(INVALID_STATE, ModemIndication::indicateCacheInfo()) << "it still reports one held";
    EXPECT_NE(nullptr, holder().get()) << "another client's death cleared the response callback";
    EXPECT_EQ(1u, count(Log::WARN, holderLine("client of %s died, reset callback for %p",
                                              IModemIndication::descriptor, &indications)))
            << "the death was not reported for the indication holder\n"
            << log_.dump();
    EXPECT_EQ(0u, count(Log::WARN, kDied)) << "the death was reported for the response holder";
}

TEST_F(CallbackWrapperTest,
       Update_WhileResponsesSentFromManyThreads_AcceptedOnesArriveOnceInOrder) {
    constexpr int kSenders = 4;
    constexpr int kSends = 300;
    std::vector<std::vector<int>> results(kSenders);
    std::atomic<bool> sending{true};
    holder().update(a_.proxy<IModemResponse>());
    // Swaps the callback all the time: A, B, B again (the same client twice in a row), none.
    std::thread replacer([&] {
        for (int k = 0; sending.load(); ++k) {
            holder().update(k % 4 == 0   ? a_.proxy<IModemResponse>()
                            : k % 4 == 3 ? nullptr
                                         : b_.proxy<IModemResponse>());
        }
    });
    std::vector<std::thread> senders;
    for (int id = 0; id < kSenders; ++id) {
        senders.emplace_back([&, id] {
            for (int i = 0; i < kSends; ++i) {
                results[id].push_back(ModemResponse::respondSetSarState(id * kSends + i, OK));
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    sending = false;
    replacer.join();
    ABinderHost_waitForIdle();

    std::map<int, int> arrivals;  // serial -> times it arrived at either client
    for (TestClient* client : {&a_, &b_}) {
        std::map<int, int> lastOfSender;
        for (const test::RecordedCall& call : client->takeCalls()) {
            int& last = lastOfSender.emplace(call.info.serial / kSends, -1).first->second;
            EXPECT_LT(last, call.info.serial)
                    << client->name() << " got a sender's calls reordered";
            last = call.info.serial;
            ++arrivals[call.info.serial];
        }
    }
    for (int id = 0; id < kSenders; ++id) {
        for (int i = 0; i < kSends; ++i) {
            const int result = results[id][i];
            const int serial = id * kSends + i;
            EXPECT_TRUE(result == OK || result == INVALID_STATE)
                    << serial << " returned " << result;
            EXPECT_EQ(result == OK ? 1 : 0, arrivals[serial])
                    << "serial " << serial << " (returned " << result << ") arrived that often";
        }
    }
}

}  // namespace
}  // namespace com::vyr::plim::modem

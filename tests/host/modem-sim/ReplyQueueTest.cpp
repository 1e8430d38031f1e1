/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The reply path of asynchronous calls: answered once, on the library's threads, after the
// planned latencies, never when refused, and requests run in call order whichever of the two
// reply threads answers.

#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ModemSimTest.h"

using modemsim::Control;
using namespace std::chrono_literals;

namespace {

struct Reply {
    unsigned long len;
    modem_api_result_type result;
    modem_api_async_response record;
    std::thread::id thread;
    bool onLibraryThread;
};

// The replies of one call (or of a few), by user data; the reply threads append under the lock.
using Replies = std::vector<Reply>;
std::mutex gRepliesMutex;

void onReply(const void* data, unsigned long len, void* userData, modem_api_result_type result) {
    Reply reply{len, result, {}, std::this_thread::get_id(), Control::isLibraryThread()};
    std::memcpy(&reply.record, data, std::min(len, sizeof(reply.record)));
    std::lock_guard<std::mutex> lock(gRepliesMutex);
    static_cast<Replies*>(userData)->push_back(reply);
}

constexpr int kNever = -1;  // the callback must not be called

struct ReplyRow {
    const char* name;
    bool connected, fault, dropBeforeReply;
    modem_api_result_type returned;
    int replied;  // the reply's result, or kNever
};

class ReplyQueueTest : public ModemSimTest<::testing::TestWithParam<ReplyRow>> {};

TEST_P(ReplyQueueTest, CallAsync_WhenAcceptedOrRefused_RepliesOnceOnLibraryThreadOrNever) {
    const ReplyRow& row = GetParam();
    startLibrary();
    if (row.connected)
        connect({MODEM_API_SERVICE_VS});
    if (row.fault)
        Control::failNextCalls("modem_get_build_time", 1, -3);
    Control::setLatency("", 20ms);
    Control::setLatency("modem_get_build_time", 280ms);  // long enough for a drop to come first
    Replies replies;
    const auto start = Clock::now();
    EXPECT_EQ(row.returned, modem_get_build_time(&replies, &onReply))
            << "the call returned the wrong result";
    if (row.dropBeforeReply)
        Control::setServiceAvailable(MODEM_API_SERVICE_VS, false);
    ASSERT_TRUE(Control::waitForIdle()) << "waitForIdle must wait for pending replies";

    std::lock_guard<std::mutex> lock(gRepliesMutex);
    if (row.replied == kNever) {
        EXPECT_TRUE(replies.empty()) << "a refused call was answered";
        return;
    }
    ASSERT_EQ(1u, replies.size()) << "an accepted call must be answered exactly once";
    EXPECT_GE(Clock::now() - start, 300ms) << "replied before the latencies for all and for it";
    EXPECT_TRUE(replies[0].onLibraryThread) << "replies must run on the library's reply thread";
    EXPECT_EQ(sizeof(modem_api_async_response), replies[0].len) << "not the whole record";
    EXPECT_EQ(row.replied, replies[0].result) << "the reply has the wrong result";
    EXPECT_EQ(uint32_t(row.replied), replies[0].record.result)
            << "the record's result word must repeat the result";
    // The build time's length word: a failed reply carries no payload.
    EXPECT_EQ(row.replied == 0 ? 19 : 0, replies[0].record.payload[0]) << "wrong payload";
}

const ReplyRow kReplyRows[] = {
        {"Accepted", true, false, false, MODEM_API_SUCCESS, MODEM_API_SUCCESS},
        {"DroppedBeforeReply", true, false, true, MODEM_API_SUCCESS, MODEM_API_SERVICE_NOT_READY},
        {"Faulted", true, true, false, -3, kNever},
        {"NotConnected", false, false, false, MODEM_API_SERVICE_NOT_READY, kNever},
};
INSTANTIATE_TEST_SUITE_P(Calls, ReplyQueueTest, ::testing::ValuesIn(kReplyRows), RowName());

class ReplyThreadsTest : public ModemSimTest<> {};

TEST_F(ReplyThreadsTest, AsyncCalls_WhenSeveralPending_RunInCallOrderAndReplyOnTwoLibraryThreads) {
    startLibrary();
    connect({MODEM_API_SERVICE_VS});
    modem_api_property_record record{};
    std::strcpy(record.key, "persist.k");
    record.key_len = 9;
    std::strcpy(record.value, "v1");
    record.value_len = 2;
    Replies set, got, times;
    ASSERT_EQ(0, modem_api_set_modem_property(&record, &set, onReply)) << "set refused";
    // Not waiting for the set: the modem must take requests in call order, whichever reply
    // thread answers first.
    ASSERT_EQ(0, modem_api_get_modem_property("persist.k", &got, onReply));
    for (int i = 0; i < 4; ++i)
        ASSERT_EQ(0, modem_get_build_time(&times, onReply)) << "call " << i;
    ASSERT_TRUE(Control::waitForIdle()) << "the replies never came";

    std::lock_guard<std::mutex> lock(gRepliesMutex);
    ASSERT_EQ(1u, set.size()) << "set was not answered once";
    ASSERT_EQ(1u, got.size()) << "get was not answered once";
    ASSERT_EQ(4u, times.size()) << "a reply was lost";
    EXPECT_EQ(0, set[0].result) << "a valid set failed";
    EXPECT_EQ(0, got[0].result) << "get overtook the set before it";
    EXPECT_EQ(0, std::memcmp("v1", got[0].record.payload, 3)) << "value not zero-terminated";
    std::set<std::thread::id> threads;
    for (const Reply& reply : times) {
        EXPECT_TRUE(reply.onLibraryThread) << "a reply ran on the caller's or another thread";
        threads.insert(reply.thread);
    }
    EXPECT_EQ(2u, threads.size()) << "replies must alternate between two threads";
}

}  // namespace

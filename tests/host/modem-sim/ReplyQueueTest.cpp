/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The reply path of asynchronous calls: answered once, on the library's thread, after the
// planned latencies, never when refused. Driven through the library's internal entry point, so
// that the reply path is tested apart from any one call's body.

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "Modem.h"
#include "ModemSimTest.h"

using modemsim::Control;
using namespace std::chrono_literals;

namespace {

constexpr const char* kFunction = "test_async_call";

struct Reply {
    modem_api_async_response record;
    unsigned long len;
    modem_api_result_type result;
    bool onLibraryThread;
};

// What one call's callback saw; the callback is a plain function, so it lands here by user data.
struct Replies {
    std::mutex mutex;
    std::vector<Reply> received;

    static void callback(const void* data, unsigned long len, void* userData,
                         modem_api_result_type result) {
        Reply reply{{}, len, result, Control::isLibraryThread()};
        std::memcpy(&reply.record, data, std::min<size_t>(len, sizeof(reply.record)));
        auto* self = static_cast<Replies*>(userData);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->received.push_back(reply);
    }
    std::vector<Reply> all() {
        std::lock_guard<std::mutex> lock(mutex);
        return received;
    }
};

modem_api_result_type callAsync(Replies* replies, modem_api_async_cb cb) {
    return modemsim::Modem::instance().callAsync(kFunction, "", MODEM_API_SERVICE_VS, true, replies,
                                                 cb, [](modemsim::Device&, uint8_t* payload) {
                                                     payload[0] = 42;
                                                     return MODEM_API_SUCCESS;
                                                 });
}

constexpr int kNever = -1;  // the callback must not be called

struct ReplyRow {
    const char* name;
    bool connected, fault, nullCallback, dropBeforeReply;
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
        Control::failNextCalls(kFunction, 1, -3);
    Control::setLatency("", 20ms);
    Control::setLatency(kFunction, 280ms);  // long enough for a drop to come first
    Replies replies;
    const auto start = Clock::now();
    EXPECT_EQ(row.returned, callAsync(&replies, row.nullCallback ? nullptr : &Replies::callback))
            << "the call returned the wrong result";
    if (row.dropBeforeReply)
        Control::setServiceAvailable(MODEM_API_SERVICE_VS, false);
    ASSERT_TRUE(Control::waitForIdle()) << "waitForIdle must wait for pending replies";

    const std::vector<Reply> received = replies.all();
    if (row.replied == kNever) {
        EXPECT_TRUE(received.empty()) << "a refused call was answered";
        return;
    }
    ASSERT_EQ(1u, received.size()) << "an accepted call must be answered exactly once";
    EXPECT_GE(since(start), 300ms) << "replied before the latencies for all and for it";
    EXPECT_TRUE(received[0].onLibraryThread) << "replies must run on the library's reply thread";
    EXPECT_EQ(sizeof(modem_api_async_response), received[0].len) << "not the whole record";
    EXPECT_EQ(row.replied, received[0].result) << "the reply has the wrong result";
    EXPECT_EQ(uint32_t(row.replied), received[0].record.result)
            << "the record's result word must repeat the result";
    EXPECT_EQ(row.replied == 0 ? 42 : 0, received[0].record.payload[0]) << "wrong payload";
}

const ReplyRow kReplyRows[] = {
        {"Accepted", true, false, false, false, MODEM_API_SUCCESS, MODEM_API_SUCCESS},
        {"DroppedBeforeReply", true, false, false, true, MODEM_API_SUCCESS,
         MODEM_API_SERVICE_NOT_READY},
        {"Faulted", true, true, false, false, -3, kNever},
        {"NotConnected", false, false, false, false, MODEM_API_SERVICE_NOT_READY, kNever},
        {"NullCallback", true, false, true, false, MODEM_API_INVALID_ARGUMENT, kNever},
};
INSTANTIATE_TEST_SUITE_P(Calls, ReplyQueueTest, ::testing::ValuesIn(kReplyRows), RowName());

}  // namespace

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Transactions between simulated processes: where they run, what comes back, the checks on the
// way in, and the ordering of oneway calls.

#include <android/binder_host.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>

#include <ostream>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "Latch.h"
#include "TestObject.h"

namespace {

constexpr transaction_code_t kDouble = FIRST_CALL_TRANSACTION;
constexpr transaction_code_t kRecord = FIRST_CALL_TRANSACTION + 1;

// A transaction the binder answers itself: a spoiled interface token, or a code outside the
// user range.
struct RefusalRow {
    const char* name;
    transaction_code_t code;
    void (*spoil)(AParcel*);
    binder_status_t expected;
};

void PrintTo(const RefusalRow& row, std::ostream* os) {
    *os << row.name;
}

class TransactionTest : public ::testing::TestWithParam<RefusalRow> {
  protected:
    void SetUp() override { server.startThreadPool(3); }

    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, server.pendingWork()) << "the server still has transactions queued";
    }

    // A test object living in the server, and the default process's proxy for it.
    ndk::SpAIBinder serve(testobject::Handler handler) {
        return server.run([&] {
            ndk::SpAIBinder local = testobject::create(std::move(handler));
            return testobject::sendTo(ABinderHost_Process_getDefault(), local);
        });
    }

    static binder_status_t doubleIt(const AParcel* in, AParcel* out) {
        int32_t value = 0;
        binder_status_t status = AParcel_readInt32(in, &value);
        if (status != STATUS_OK)
            return status;
        return AParcel_writeInt32(out, value * 2);
    }

    ndk::host::ScopedProcess server{"server"};
};

TEST_F(TransactionTest, Transact_WhenRemote_RunsOnServerBinderThreadAndRepliesToCaller) {
    struct Seen {
        std::thread::id thread;
        bool binderThread = false;
        ABinderHost_Process* process = nullptr;
        pid_t callingPid = -1;
        bool handling = false;
    };
    std::mutex mutex;
    std::vector<Seen> seen;
    ndk::SpAIBinder proxy = serve([&](auto, const AParcel* in, AParcel* out) {
        std::lock_guard<std::mutex> lock(mutex);
        seen.push_back({std::this_thread::get_id(), ABinderHost_isBinderThread(),
                        ABinderHost_Process_getCurrent(), AIBinder_getCallingPid(),
                        AIBinder_isHandlingTransaction()});
        return doubleIt(in, out);
    });
    ASSERT_TRUE(AIBinder_isRemote(proxy.get())) << "the server's object was not a proxy here";

    int32_t result = 0;
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kDouble, 21, &result));
    EXPECT_EQ(42, result) << "the reply is not what the server wrote";
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kDouble, 0, nullptr, FLAG_ONEWAY));
    ABinderHost_waitForIdle();

    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(2u, seen.size()) << "a call was lost or ran twice";
    for (const Seen& s : seen) {
        EXPECT_NE(std::this_thread::get_id(), s.thread) << "ran on the caller's thread";
        EXPECT_TRUE(s.binderThread) << "ran on a thread that is not a binder thread";
        EXPECT_EQ(server.get(), s.process) << "ran outside the server process";
        EXPECT_TRUE(s.handling) << "the handler was not marked as handling a transaction";
    }
    EXPECT_EQ(ABinderHost_Process_getPid(ABinderHost_Process_getDefault()), seen[0].callingPid)
            << "a two-way call must report its caller's pid";
    EXPECT_EQ(0, seen[1].callingPid) << "a oneway call must report pid 0";
}

TEST_F(TransactionTest, Transact_WhenLocal_RunsOnCallerThread) {
    std::thread::id ranOn;
    ndk::SpAIBinder local = testobject::create([&](auto, auto, auto) {
        ranOn = std::this_thread::get_id();
        return STATUS_OK;
    });
    ASSERT_EQ(STATUS_OK, testobject::callInt(local, kRecord, 0, nullptr, FLAG_ONEWAY));
    EXPECT_EQ(std::this_thread::get_id(), ranOn)
            << "a call to an object of the same process must run directly, as on a device";
}

TEST_F(TransactionTest,
       Transact_WhenOnewayBurstsToTwoObjects_ReturnAtOnceAndEachRunsInOrderOneAtATime) {
    constexpr int kCalls = 200;
    struct Record {
        std::mutex mutex;
        std::vector<int> order;
        std::atomic<int> running{0};
        std::atomic<bool> overlapped{false};
    };
    Record records[2];
    Latch release;
    auto handlerFor = [&release](Record& record) {
        return [&record, &release](auto, const AParcel* in, auto) {
            release.wait();
            if (record.running.fetch_add(1) != 0)
                record.overlapped = true;
            int32_t value = 0;
            AParcel_readInt32(in, &value);
            {
                std::lock_guard<std::mutex> lock(record.mutex);
                record.order.push_back(value);
            }
            std::this_thread::yield();
            record.running.fetch_sub(1);
            return STATUS_OK;
        };
    };
    ndk::SpAIBinder first = serve(handlerFor(records[0]));
    ndk::SpAIBinder second = serve(handlerFor(records[1]));

    for (int i = 0; i < kCalls; ++i) {
        // EXPECT: a return here would leave the handlers waiting for the latch.
        EXPECT_EQ(STATUS_OK, testobject::callInt(first, kRecord, i, nullptr, FLAG_ONEWAY));
        EXPECT_EQ(STATUS_OK, testobject::callInt(second, kRecord, i, nullptr, FLAG_ONEWAY));
    }
    for (Record& record : records) {
        std::lock_guard<std::mutex> lock(record.mutex);
        EXPECT_TRUE(record.order.empty()) << "a oneway call waited for its handler to run";
    }
    release.open();
    ABinderHost_waitForIdle();

    std::vector<int> expected(kCalls);
    for (int i = 0; i < kCalls; ++i)
        expected[i] = i;
    for (Record& record : records) {
        std::lock_guard<std::mutex> lock(record.mutex);
        EXPECT_EQ(expected, record.order) << "oneway calls to one object were lost or reordered";
        EXPECT_FALSE(record.overlapped) << "two oneway calls to one object ran at once";
    }
}

TEST_P(TransactionTest, Transact_WhenTokenOrCodeWrong_AnsweredByBinderWithoutHandler) {
    const RefusalRow& row = GetParam();
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        ++handled;
        return STATUS_OK;
    });
    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), in.getR()));
    if (row.spoil != nullptr) {
        row.spoil(in.get());
    }
    ndk::ScopedAParcel out;
    EXPECT_EQ(row.expected, AIBinder_transact(proxy.get(), row.code, in.getR(), out.getR(), 0))
            << "wrong status";
    EXPECT_EQ(0, handled.load()) << "the class handled a transaction the binder must answer";
}

INSTANTIATE_TEST_SUITE_P(
        Refusals, TransactionTest,
        ::testing::Values(RefusalRow{"TokenMissing", kRecord, [](AParcel* p) { AParcel_reset(p); },
                                     STATUS_BAD_TYPE},
                          RefusalRow{"TokenOverwritten", kRecord,
                                     [](AParcel* p) {
                                         AParcel_setDataPosition(p, 0);
                                         AParcel_writeInt32(p, 0x1234);
                                     },
                                     STATUS_BAD_TYPE},
                          RefusalRow{"OtherDescriptor", kRecord,
                                     [](AParcel* p) {
                                         AParcel_setDataPosition(p, 4);
                                         ndk::AParcel_writeString(p, std::string("plim.test.X"));
                                     },
                                     STATUS_BAD_TYPE},
                          RefusalRow{"CodeZero", 0, nullptr, STATUS_UNKNOWN_TRANSACTION},
                          RefusalRow{"CodePastLastCall", LAST_CALL_TRANSACTION + 1, nullptr,
                                     STATUS_UNKNOWN_TRANSACTION},
                          RefusalRow{"Ping", ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G', nullptr,
                                     STATUS_OK}),
        [](const ::testing::TestParamInfo<RefusalRow>& info) { return info.param.name; });

TEST_F(TransactionTest, Transact_WhenOverTransactionBuffer_FailsFailedTransaction) {
    ndk::SpAIBinder proxy = serve([](auto, auto, auto) { return STATUS_OK; });
    auto callWith = [&](size_t bytes, binder_flags_t flags) {
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(proxy.get(), in.getR());
        ndk::AParcel_writeVector(in.get(), std::vector<uint8_t>(bytes));
        ndk::ScopedAParcel out;
        return AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), flags);
    };
    EXPECT_EQ(STATUS_OK, callWith(600 * 1024, 0)) << "a two-way call may fill most of 1 MiB";
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, callWith(600 * 1024, FLAG_ONEWAY))
            << "a oneway call may use only half the buffer";
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, callWith(1024 * 1024, 0))
            << "a call past the buffer went through";
}

// As on a device: oneway calls queued for one process share half the buffer, whichever object
// they go to, until they have run.
TEST_F(TransactionTest, Transact_WhenReceiverStopsReading_OnewayFailsOnceItsBufferIsFull) {
    Latch release;
    std::atomic<int> ran{0};
    auto handler = [&](auto, auto, auto) {
        release.wait();
        ++ran;
        return STATUS_OK;
    };
    ndk::SpAIBinder objects[2] = {serve(handler), serve(handler)};
    auto onewayOf = [&](const ndk::SpAIBinder& proxy) {
        ndk::ScopedAParcel in;
        AIBinder_prepareTransaction(proxy.get(), in.getR());
        ndk::AParcel_writeVector(in.get(), std::vector<uint8_t>(100 * 1024));
        ndk::ScopedAParcel out;
        return AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), FLAG_ONEWAY);
    };
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(STATUS_OK, onewayOf(objects[i % 2])) << "call " << i << " should still fit";
    }
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, onewayOf(objects[1]))
            << "a sixth 100 KiB call fit in a buffer of about 508 KiB";
    release.open();
    ABinderHost_waitForIdle();
    EXPECT_EQ(5, ran.load()) << "the accepted calls did not all run";
    EXPECT_EQ(STATUS_OK, onewayOf(objects[0])) << "the buffer was not freed after the calls ran";
    ABinderHost_waitForIdle();
}

TEST_F(TransactionTest, Transact_WhenBinderSentAndReturned_ProxyIsUniqueAndComesBackAsItself) {
    std::mutex mutex;
    // Kept, so that the first proxy is still alive when the object arrives again.
    std::vector<ndk::SpAIBinder> received;
    ndk::SpAIBinder proxy = serve([&](auto, const AParcel* in, AParcel* out) -> binder_status_t {
        ndk::SpAIBinder binder;
        binder_status_t status = ndk::AParcel_readRequiredStrongBinder(in, &binder);
        if (status != STATUS_OK)
            return status;
        {
            std::lock_guard<std::mutex> lock(mutex);
            received.push_back(binder);
        }
        return ndk::AParcel_writeRequiredStrongBinder(out, binder);
    });
    ndk::SpAIBinder mine = testobject::create([](auto, auto, auto) { return STATUS_OK; });

    for (int round = 0; round < 2; ++round) {
        ndk::ScopedAParcel in;
        ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), in.getR()));
        ASSERT_EQ(STATUS_OK, ndk::AParcel_writeRequiredStrongBinder(in.get(), mine));
        ndk::ScopedAParcel out;
        ASSERT_EQ(STATUS_OK, AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), 0));
        ndk::SpAIBinder back;
        ASSERT_EQ(STATUS_OK, ndk::AParcel_readRequiredStrongBinder(out.get(), &back));
        EXPECT_EQ(mine.get(), back.get()) << "the object did not come home as itself";
    }
    std::lock_guard<std::mutex> lock(mutex);
    ASSERT_EQ(2u, received.size());
    EXPECT_TRUE(AIBinder_isRemote(received[0].get()))
            << "the server got the client's object, not a proxy";
    EXPECT_EQ(received[0].get(), received[1].get())
            << "one object got two live proxies in the same process";
    received.clear();
}

}  // namespace

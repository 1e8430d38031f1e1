/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Transactions between simulated processes: where they run, what comes back, the checks on the
// way in, and the ordering of oneway calls.

#include <android/binder_host.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
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

class TransactionTest : public ::testing::Test {
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

TEST_F(TransactionTest, Transact_WhenTwoWay_ReturnsReplyWrittenByServer) {
    ndk::SpAIBinder proxy =
            serve([](auto, const AParcel* in, AParcel* out) { return doubleIt(in, out); });
    ASSERT_TRUE(AIBinder_isRemote(proxy.get())) << "the server's object was not a proxy here";

    int32_t result = 0;
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kDouble, 21, &result));
    EXPECT_EQ(42, result) << "the reply is not what the server wrote";
}

TEST_F(TransactionTest, Transact_WhenRemote_RunsOnServerBinderThreadWithCallerIdentity) {
    struct Seen {
        std::thread::id thread;
        bool binderThread = false;
        ABinderHost_Process* process = nullptr;
        pid_t callingPid = -1;
        bool handling = false;
    };
    std::mutex mutex;
    std::vector<Seen> seen;
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        std::lock_guard<std::mutex> lock(mutex);
        seen.push_back({std::this_thread::get_id(), ABinderHost_isBinderThread(),
                        ABinderHost_Process_getCurrent(), AIBinder_getCallingPid(),
                        AIBinder_isHandlingTransaction()});
        return STATUS_OK;
    });

    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kRecord, 0));
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kRecord, 0, nullptr, FLAG_ONEWAY));
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

TEST_F(TransactionTest, Transact_WhenOneway_ReturnsBeforeHandlerRuns) {
    Latch release;
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        release.wait();
        ++handled;
        return STATUS_OK;
    });

    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kRecord, 0, nullptr, FLAG_ONEWAY))
            << "a oneway call waited for a handler that cannot finish yet";
    EXPECT_EQ(0, handled.load()) << "the oneway call returned after its handler";
    release.open();
    ABinderHost_waitForIdle();
    EXPECT_EQ(1, handled.load()) << "the oneway call never ran";
}

TEST_F(TransactionTest, Transact_WhenOnewayBurstsToTwoObjects_EachRunsInOrderOneAtATime) {
    constexpr int kCalls = 200;
    struct Record {
        std::mutex mutex;
        std::vector<int> order;
        std::atomic<int> running{0};
        std::atomic<bool> overlapped{false};
    };
    Record records[2];
    auto handlerFor = [](Record& record) {
        return [&record](auto, const AParcel* in, auto) {
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
        ASSERT_EQ(STATUS_OK, testobject::callInt(first, kRecord, i, nullptr, FLAG_ONEWAY));
        ASSERT_EQ(STATUS_OK, testobject::callInt(second, kRecord, i, nullptr, FLAG_ONEWAY));
    }
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

struct BadTokenCase {
    const char* name;
    void (*spoil)(AParcel*);
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const BadTokenCase& c, std::ostream* os) {
    *os << c.name;
}

class BadTokenTest : public TransactionTest, public ::testing::WithParamInterface<BadTokenCase> {};

TEST_P(BadTokenTest, Transact_WhenInterfaceTokenSpoiled_FailsBadTypeWithoutRunning) {
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        ++handled;
        return STATUS_OK;
    });
    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), in.getR()));
    GetParam().spoil(in.get());
    ndk::ScopedAParcel out;
    EXPECT_EQ(STATUS_BAD_TYPE, AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), 0))
            << "a transaction without the right interface token was accepted";
    EXPECT_EQ(0, handled.load()) << "the handler ran for a transaction of another interface";
}

INSTANTIATE_TEST_SUITE_P(
        Spoilers, BadTokenTest,
        ::testing::Values(BadTokenCase{"Missing", [](AParcel* p) { AParcel_reset(p); }},
                          BadTokenCase{"Overwritten",
                                       [](AParcel* p) {
                                           AParcel_setDataPosition(p, 0);
                                           AParcel_writeInt32(p, 0x1234);
                                       }},
                          BadTokenCase{"OtherDescriptor",
                                       [](AParcel* p) {
                                           AParcel_setDataPosition(p, 4);
                                           ndk::AParcel_writeString(p, std::string("plim.test.X"));
                                       }}),
        [](const ::testing::TestParamInfo<BadTokenCase>& info) { return info.param.name; });

struct CodeCase {
    const char* name;
    transaction_code_t code;
    binder_status_t expected;
};

// Names the case in test listings (the default would print its raw bytes).
void PrintTo(const CodeCase& c, std::ostream* os) {
    *os << c.name;
}

class TransactionCodeTest : public TransactionTest,
                            public ::testing::WithParamInterface<CodeCase> {};

TEST_P(TransactionCodeTest, Transact_WhenCodeOutsideUserRange_AnsweredByBinderItself) {
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        ++handled;
        return STATUS_OK;
    });
    EXPECT_EQ(GetParam().expected, testobject::callInt(proxy, GetParam().code, 0))
            << "wrong status for code " << GetParam().code;
    EXPECT_EQ(0, handled.load()) << "a code outside the user range reached the class";
}

INSTANTIATE_TEST_SUITE_P(
        Codes, TransactionCodeTest,
        ::testing::Values(
                CodeCase{"Zero", 0, STATUS_UNKNOWN_TRANSACTION},
                CodeCase{"PastLastCall", LAST_CALL_TRANSACTION + 1, STATUS_UNKNOWN_TRANSACTION},
                CodeCase{"Ping", ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G', STATUS_OK}),
        [](const ::testing::TestParamInfo<CodeCase>& info) { return info.param.name; });

TEST_F(TransactionTest, Transact_WhenHandlerFails_CallerGetsItsStatusAndNoReply) {
    ndk::SpAIBinder proxy = serve([](auto, auto, auto) { return STATUS_BAD_VALUE; });
    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), in.getR()));
    ndk::ScopedAParcel out;
    EXPECT_EQ(STATUS_BAD_VALUE, AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), 0))
            << "the handler's failure did not reach the caller";
    EXPECT_EQ(nullptr, out.get()) << "a failed call handed out a reply";
}

TEST_F(TransactionTest, Transact_WhenRefused_StillTakesTheInParcel) {
    ndk::SpAIBinder proxy = serve([](auto, auto, auto) { return STATUS_OK; });
    ndk::SpAIBinder other = serve([](auto, auto, auto) { return STATUS_OK; });
    struct Refusal {
        const char* what;
        AIBinder* target;
        binder_flags_t flags;
        binder_status_t expected;
    };
    const Refusal refusals[] = {
            {"null binder", nullptr, 0, STATUS_UNEXPECTED_NULL},
            {"parcel prepared for another binder", other.get(), 0, STATUS_BAD_VALUE},
            {"unknown flags", proxy.get(), 0x4, STATUS_BAD_VALUE},
    };
    for (const Refusal& refusal : refusals) {
        AParcel* in = nullptr;
        ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), &in));
        AParcel* out = nullptr;
        EXPECT_EQ(refusal.expected,
                  AIBinder_transact(refusal.target, kRecord, &in, &out, refusal.flags))
                << refusal.what;
        EXPECT_EQ(nullptr, in) << refusal.what << ": the in parcel was not taken";
        EXPECT_EQ(nullptr, out) << refusal.what << ": a refused call handed out a reply";
    }
}

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

TEST_F(TransactionTest, Transact_WhenServerCallsBackDuringCall_ClientPoolServesNestedCall) {
    ABinderProcess_startThreadPool();  // the default process is the client here
    ndk::SpAIBinder proxy = serve([](auto, const AParcel* in, AParcel* out) -> binder_status_t {
        ndk::SpAIBinder callback;
        binder_status_t status = ndk::AParcel_readRequiredStrongBinder(in, &callback);
        if (status != STATUS_OK)
            return status;
        if (!AIBinder_associateClass(callback.get(), testobject::objectClass())) {
            return STATUS_BAD_TYPE;
        }
        int32_t doubled = 0;
        status = testobject::callInt(callback, kDouble, 5, &doubled);
        if (status != STATUS_OK)
            return status;
        return AParcel_writeInt32(out, doubled + 1);
    });
    ndk::SpAIBinder callback = testobject::create(
            [](auto, const AParcel* in, AParcel* out) { return doubleIt(in, out); });

    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(proxy.get(), in.getR()));
    ASSERT_EQ(STATUS_OK, ndk::AParcel_writeRequiredStrongBinder(in.get(), callback));
    ndk::ScopedAParcel out;
    ASSERT_EQ(STATUS_OK, AIBinder_transact(proxy.get(), kRecord, in.getR(), out.getR(), 0));
    int32_t result = 0;
    ASSERT_EQ(STATUS_OK, AParcel_readInt32(out.get(), &result));
    EXPECT_EQ(11, result) << "the nested call's answer did not make it back";
}

}  // namespace

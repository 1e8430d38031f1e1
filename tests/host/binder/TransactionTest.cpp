/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Transactions with another process, over each transport: where they run, who they report as
// the caller, what comes back (replies, statuses, exceptions, binders), the checks on the way
// in, the buffer limits, and the ordering of oneway calls.

#include <android/binder_host.h>
#include <android/binder_parcel_utils.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <numeric>
#include <ostream>
#include <thread>
#include <tuple>
#include <vector>

#include "OtherProcess.h"
#include "TestObject.h"
#include "Waiting.h"

namespace {

using TransactionTest = TransportTest;

INSTANTIATE_TEST_SUITE_P(Transports, TransactionTest, bothTransports(), transportRowName);

TEST_P(TransactionTest, Transact_BothWays_RunOnCalleeBinderThreadWithCallerIdentity) {
    const pid_t self = ABinderHost_Process_getPid(ABinderHost_Process_getDefault());
    ndk::ScopedAParcel reply;
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kEcho, {21}, &reply)) << "two-way call";
    int32_t echo[6] = {};
    for (int32_t& field : echo)
        AParcel_readInt32(reply.get(), &field);
    EXPECT_EQ(42, echo[0]) << "the reply is not what the other process wrote";
    EXPECT_EQ(self, echo[1]) << "a two-way call must report its caller's pid";
    EXPECT_EQ(static_cast<int32_t>(getuid()), echo[2]) << "calling uid";
    EXPECT_EQ(other->pid(), echo[3]) << "the call ran outside the other process";
    EXPECT_EQ(1, echo[4]) << "ran on a thread that is not a binder thread";
    EXPECT_EQ(1, echo[5]) << "the handler was not marked as handling a transaction";
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kRecord, {7}, nullptr, FLAG_ONEWAY));
    PeerRecord record;
    EXPECT_TRUE(eventually([&] { return (record = recordOf(other->object())).values.size() == 1; }))
            << "the oneway call never ran";
    EXPECT_EQ(std::vector<int32_t>{0}, record.callers) << "a oneway call must report pid 0";

    // Concurrent callers on one connection: each reply must find its own caller.
    std::atomic<int> wrong{0};
    std::vector<std::thread> callers;
    for (int32_t t = 0; t < 4; ++t) {
        callers.emplace_back([&, t] {
            for (int32_t i = 0; i < 50; ++i) {
                int32_t doubled = 0;
                if (testobject::callInt(other->object(), xproc::kEcho, t * 1000 + i, &doubled) !=
                            STATUS_OK ||
                    doubled != (t * 1000 + i) * 2)
                    ++wrong;
            }
        });
    }
    for (auto& caller : callers)
        caller.join();
    EXPECT_EQ(0, wrong.load()) << "replies lost or crossed between concurrent callers";

    // And the other way: the other process calls an object of this one, two-way then oneway.
    std::mutex mutex;
    std::vector<std::tuple<pid_t, uid_t, bool, ABinderHost_Process*>> seen;
    Latch onewayRan;
    ndk::SpAIBinder mine = testobject::create([&](auto, const AParcel* in, AParcel* out) {
        std::lock_guard<std::mutex> lock(mutex);
        seen.emplace_back(AIBinder_getCallingPid(), AIBinder_getCallingUid(),
                          ABinderHost_isBinderThread(), ABinderHost_Process_getCurrent());
        if (seen.size() == 2)
            onewayRan.open();
        int32_t value = 0;
        AParcel_readInt32(in, &value);
        return AParcel_writeInt32(out, value + 1);
    });
    for (binder_flags_t flags : {binder_flags_t{0}, binder_flags_t{FLAG_ONEWAY}}) {
        const Relayed relayed = callBackThrough(other->object(), mine.get(), 41, flags);
        EXPECT_EQ(STATUS_OK, relayed.status)
                << "the other process could not call this one's object";
        EXPECT_EQ(flags == 0 ? 42 : 0, relayed.answer) << "the answer relayed by the other process";
    }
    ASSERT_TRUE(onewayRan.wait()) << "the oneway call from the other process never ran";
    std::lock_guard<std::mutex> lock(mutex);
    for (size_t i = 0; i < seen.size(); ++i) {
        const auto& [pid, uid, binderThread, process] = seen[i];
        EXPECT_EQ(i == 0 ? other->pid() : 0, pid) << "calling pid, call " << i;
        EXPECT_EQ(getuid(), uid) << "calling uid, call " << i;
        EXPECT_TRUE(binderThread) << "call " << i << " ran off this process's binder threads";
        EXPECT_EQ(ABinderHost_Process_getDefault(), process) << "call " << i;
    }
}

TEST_P(TransactionTest,
       Transact_WhenOnewayBurstsToTwoObjects_ReturnAtOnceAndEachRunsInOrderOneAtATime) {
    constexpr int32_t kCalls = 200;
    const ndk::SpAIBinder objects[2] = {other->object(), newPeerObject()};
    ASSERT_NE(nullptr, objects[1].get());
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kCloseGate, {}));
    for (int32_t i = 0; i < kCalls; ++i) {
        for (const ndk::SpAIBinder& object : objects) {
            // EXPECT: a return here would leave the handlers at the gate.
            EXPECT_EQ(STATUS_OK, callWith(object, xproc::kRecord, {i}, nullptr, FLAG_ONEWAY))
                    << "oneway call " << i;
        }
    }
    for (const ndk::SpAIBinder& object : objects) {
        EXPECT_TRUE(recordOf(object).values.empty()) << "a oneway call waited for its handler";
    }
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kOpenGate, {}));

    std::vector<int32_t> expected(kCalls);
    std::iota(expected.begin(), expected.end(), 0);
    for (const ndk::SpAIBinder& object : objects) {
        PeerRecord record;
        EXPECT_TRUE(eventually([&] {
            return (record = recordOf(object)).values.size() >= size_t{kCalls};
        })) << "only "
            << record.values.size() << " oneway calls ran";
        EXPECT_EQ(expected, record.values) << "oneway calls to one object lost or reordered";
        EXPECT_FALSE(record.overlapped) << "two oneway calls to one object ran at once";
    }
}

// A transaction the binder answers itself: a spoiled interface token, or a code outside the
// user range.
struct RefusalRow {
    const char* name;
    transaction_code_t code;
    void (*spoil)(AParcel*);
    binder_status_t expected;
    friend void PrintTo(const RefusalRow& row, std::ostream* os) { *os << row.name; }
};

using TransactionRefusalTest = TransportRowTest<RefusalRow>;

TEST_P(TransactionRefusalTest, Transact_WhenTokenOrCodeWrong_AnsweredByBinderWithoutHandler) {
    const ndk::SpAIBinder& object = other->object();
    ndk::ScopedAParcel in;
    ASSERT_EQ(STATUS_OK, AIBinder_prepareTransaction(object.get(), in.getR()));
    if (row().spoil != nullptr)
        row().spoil(in.get());
    AParcel_writeInt32(in.get(), 1);
    ndk::ScopedAParcel out;
    EXPECT_EQ(row().expected, AIBinder_transact(object.get(), row().code, in.getR(), out.getR(), 0))
            << "wrong status";
    EXPECT_TRUE(recordOf(object).values.empty())
            << "the class handled a transaction the binder must answer";
}

INSTANTIATE_TEST_SUITE_P(
        Refusals, TransactionRefusalTest,
        ::testing::Combine(
                bothTransports(),
                ::testing::Values(RefusalRow{"TokenMissing", xproc::kRecord,
                                             [](AParcel* p) { AParcel_reset(p); }, STATUS_BAD_TYPE},
                                  RefusalRow{"TokenOverwritten", xproc::kRecord,
                                             [](AParcel* p) {
                                                 AParcel_setDataPosition(p, 0);
                                                 AParcel_writeInt32(p, 0x1234);
                                             },
                                             STATUS_BAD_TYPE},
                                  RefusalRow{"OtherDescriptor", xproc::kRecord,
                                             [](AParcel* p) {
                                                 AParcel_setDataPosition(p, 4);
                                                 ndk::AParcel_writeString(
                                                         p, std::string("plim.test.X"));
                                             },
                                             STATUS_BAD_TYPE},
                                  RefusalRow{"CodeZero", 0, nullptr, STATUS_UNKNOWN_TRANSACTION},
                                  RefusalRow{"CodePastLastCall", LAST_CALL_TRANSACTION + 1, nullptr,
                                             STATUS_UNKNOWN_TRANSACTION},
                                  RefusalRow{"Ping", ('_' << 24) | ('P' << 16) | ('N' << 8) | 'G',
                                             nullptr, STATUS_OK})),
        transportAndRowName<RefusalRow>);

TEST_P(TransactionTest, Transact_WhenHandlerFailsOrThrows_CallerGetsStatusOrException) {
    struct Row {
        binder_status_t status;
        binder_exception_t exception;
    };
    for (const Row& row : {Row{STATUS_BAD_VALUE, EX_NONE}, Row{STATUS_PERMISSION_DENIED, EX_NONE},
                           Row{STATUS_OK, EX_ILLEGAL_STATE}, Row{STATUS_OK, EX_SECURITY},
                           Row{42, EX_SERVICE_SPECIFIC}}) {
        ndk::ScopedAParcel reply;
        EXPECT_EQ(row.status == STATUS_OK || row.exception != EX_NONE ? STATUS_OK : row.status,
                  callWith(other->object(), xproc::kFail, {row.status, row.exception}, &reply))
                << "status " << row.status << " exception " << row.exception;
        if (row.exception == EX_NONE)
            continue;
        ndk::ScopedAStatus status;
        ASSERT_EQ(STATUS_OK, AParcel_readStatusHeader(reply.get(), status.getR()))
                << "exception " << row.exception;
        EXPECT_EQ(row.exception, AStatus_getExceptionCode(status.get())) << "exception lost";
        EXPECT_STREQ("m", AStatus_getMessage(status.get())) << "message lost";
        if (row.exception == EX_SERVICE_SPECIFIC) {
            EXPECT_EQ(42, AStatus_getServiceSpecificError(status.get())) << "error code lost";
        }
    }
}

// The transaction buffer's limits, as on a device: 1 MiB less 8 KiB for a two-way call or its
// reply, half that for a oneway call.
struct LimitRow {
    const char* name;
    size_t limit;
    binder_flags_t flags;
    bool ofReply;  // the reply's size, not the request's
    friend void PrintTo(const LimitRow& row, std::ostream* os) { *os << row.name; }
};

using TransactionLimitTest = TransportRowTest<LimitRow>;

TEST_P(TransactionLimitTest, Transact_AtTheLimitAndOneUnitPast_FitsThenFailsFailedTransaction) {
    const LimitRow& row = this->row();
    // One past first: a oneway call at the limit fills the share, which would refuse it anyway.
    for (size_t size : {row.limit + 4, row.limit}) {
        const binder_status_t expected = size == row.limit ? STATUS_OK : STATUS_FAILED_TRANSACTION;
        if (!row.ofReply) {
            EXPECT_EQ(expected, recordBytes(other->object(), size, row.flags))
                    << "a request of " << size << " bytes";
            continue;
        }
        ndk::ScopedAParcel reply;
        EXPECT_EQ(expected, callWith(other->object(), xproc::kSizedReply,
                                     {static_cast<int32_t>(size)}, &reply))
                << "a reply of " << size << " bytes";
        if (expected == STATUS_OK) {
            EXPECT_EQ(static_cast<int32_t>(size), AParcel_getDataSize(reply.get()))
                    << "the reply lost or gained bytes";
        }
    }
}

constexpr size_t kTwoWayLimit = 1024 * 1024 - 8 * 1024;

INSTANTIATE_TEST_SUITE_P(
        Limits, TransactionLimitTest,
        ::testing::Combine(bothTransports(),
                           ::testing::Values(LimitRow{"TwoWay", kTwoWayLimit, 0, false},
                                             LimitRow{"Oneway", kTwoWayLimit / 2, FLAG_ONEWAY,
                                                      false},
                                             LimitRow{"Reply", kTwoWayLimit, 0, true})),
        transportAndRowName<LimitRow>);

// As on a device: oneway calls queued for one process share half the buffer, whichever object
// they go to, until they have run.
TEST_P(TransactionTest, Transact_WhenReceiverStopsReading_OnewayFailsOnceItsBufferIsFull) {
    const ndk::SpAIBinder objects[2] = {other->object(), newPeerObject()};
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kCloseGate, {}));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(STATUS_OK, recordBytes(objects[i % 2], 100 * 1024, FLAG_ONEWAY))
                << "call " << i << " should still fit";
    }
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, recordBytes(objects[1], 100 * 1024, FLAG_ONEWAY))
            << "a sixth 100 KiB call fit in a buffer of about 508 KiB";
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kOpenGate, {}));
    EXPECT_TRUE(eventually([&] {
        return recordOf(objects[0]).values.size() + recordOf(objects[1]).values.size() == 5;
    })) << "the accepted calls did not all run";
    // The space comes back once the calls have run, which the sender may learn a little later.
    EXPECT_TRUE(eventually([&] {
        return recordBytes(objects[0], 100 * 1024, FLAG_ONEWAY) == STATUS_OK;
    })) << "the buffer was not freed after the calls ran";
}

// A sender that makes no two-way call of its own (a service answering with oneway callbacks)
// must still learn that its oneway calls ran, or its share would run out for good.
TEST_P(TransactionTest, Transact_WhenOnlyOnewaySentAndReceiverKeepsUp_ShareComesBack) {
    constexpr int kCalls = 40;  // four times the share, at 50 KiB each
    for (int i = 0; i < kCalls; ++i) {
        ASSERT_TRUE(eventually([&] {
            return recordBytes(other->object(), 50 * 1024, FLAG_ONEWAY) == STATUS_OK;
        })) << "oneway call "
            << i << " never fitted: the share did not come back";
    }
    EXPECT_TRUE(eventually([&] { return recordOf(other->object()).values.size() == kCalls; }))
            << "oneway calls were lost";
}

TEST_P(TransactionTest, Transact_WhenBinderSentAndReturned_ProxyIsUniqueAndComesBackAsItself) {
    ndk::SpAIBinder mine = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    for (int round = 0; round < 3; ++round) {
        ndk::ScopedAParcel reply;
        ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kBounce, {}, &reply, 0, mine.get()));
        ndk::SpAIBinder back;
        int32_t sameProxy = 0;
        EXPECT_EQ(STATUS_OK, AParcel_readStrongBinder(reply.get(), back.getR()));
        EXPECT_EQ(STATUS_OK, AParcel_readInt32(reply.get(), &sameProxy));
        EXPECT_EQ(mine.get(), back.get()) << "round " << round << ": did not come home as itself";
        EXPECT_EQ(1, sameProxy) << "round " << round << ": one object, two live proxies there";
    }
}

TEST(TransactionLocalTest, Transact_WhenLocal_RunsOnCallerThread) {
    std::thread::id ranOn;
    ndk::SpAIBinder local = testobject::create([&](auto, auto, auto) {
        ranOn = std::this_thread::get_id();
        return STATUS_OK;
    });
    ASSERT_EQ(STATUS_OK, testobject::callInt(local, xproc::kRecord, 0, nullptr, FLAG_ONEWAY));
    EXPECT_EQ(std::this_thread::get_id(), ranOn)
            << "a call to an object of the same process must run directly, as on a device";
}

}  // namespace

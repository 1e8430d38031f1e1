/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Transactions with another process, over each transport: its death (death notifications once
// per link, onUnlinked exactly once per link whatever ends it, calls to dead objects failing with
// STATUS_DEAD_OBJECT, and what only simulated processes have: queued calls, a linker without
// threads), and the transaction buffer's limits.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <atomic>
#include <ostream>
#include <thread>
#include <tuple>

#include "OtherProcess.h"

namespace {

// What happened to one link, as seen by its callbacks.
struct Cookie {
    std::atomic<int> died{0};
    std::atomic<int> unlinked{0};
    std::atomic<bool> unlinkedBeforeDied{false};
    std::atomic<bool> diedOnBinderThread{false};
    std::atomic<bool> diedInLinkingProcess{false};
    ABinderHost_Process* linkingProcess = ABinderHost_Process_getDefault();
};

void onDied(void* cookie) {
    auto* c = static_cast<Cookie*>(cookie);
    c->diedOnBinderThread = ABinderHost_isBinderThread();
    c->diedInLinkingProcess = ABinderHost_Process_getCurrent() == c->linkingProcess;
    ++c->died;
}

void onUnlinked(void* cookie) {
    auto* c = static_cast<Cookie*>(cookie);
    if (c->died.load() == 0)
        c->unlinkedBeforeDied = true;
    ++c->unlinked;
}

ndk::ScopedAIBinder_DeathRecipient newRecipient() {
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(onDied));
    AIBinder_DeathRecipient_setOnUnlinked(recipient.get(), onUnlinked);
    return recipient;
}

class DeathTest : public TransportTest {
  protected:
    binder_status_t link(const ndk::SpAIBinder& binder, Cookie* cookie,
                         AIBinder_DeathRecipient* with = nullptr) {
        return AIBinder_linkToDeath(binder.get(), with != nullptr ? with : recipient.get(), cookie);
    }

    void killAndWait(std::initializer_list<Cookie*> cookies) {
        ASSERT_TRUE(killOther());
        for (Cookie* cookie : cookies) {
            EXPECT_TRUE(eventually([&] { return cookie->died.load() > 0; }))
                    << "no death notification";
        }
        ABinderHost_waitForIdle();
    }

    ndk::ScopedAIBinder_DeathRecipient recipient = newRecipient();
    ndk::ScopedAIBinder_DeathRecipient other2 = newRecipient();
};

INSTANTIATE_TEST_SUITE_P(Transports, DeathTest, bothTransports(), transportRowName);

TEST_P(DeathTest, Kill_WhenLinked_DiedOncePerLinkThenUnlinkedOnBinderThreadOfLinker) {
    Cookie a, b, c;
    ASSERT_EQ(STATUS_OK, link(peer, &a));
    ASSERT_EQ(STATUS_OK, link(peer, &b));
    ASSERT_EQ(STATUS_OK, link(peer, &c, other2.get()));
    killAndWait({&a, &b, &c});
    for (Cookie* cookie : {&a, &b, &c}) {
        EXPECT_EQ(1, cookie->died.load()) << "a link's death notification did not fire once";
        EXPECT_EQ(1, cookie->unlinked.load()) << "a link's onUnlinked did not run once";
        EXPECT_FALSE(cookie->unlinkedBeforeDied) << "onUnlinked ran before onBinderDied";
        EXPECT_TRUE(cookie->diedOnBinderThread) << "the notification ran off the binder threads";
        EXPECT_TRUE(cookie->diedInLinkingProcess) << "the notification ran in another process";
    }
    EXPECT_FALSE(AIBinder_isAlive(peer.get())) << "a dead object's proxy reports it alive";
    EXPECT_EQ(nullptr, ndk::SpAIBinder(AServiceManager_checkService(otherName.c_str())).get())
            << "a dead process's service is still handed out";
}

// The call in flight fails at once; later calls fail the same way, and links too: a refused link
// (to a dead or to a local object) ends with one onUnlinked and no death.
TEST_P(DeathTest, Kill_WhenCallUnansweredOrMadeLater_CallsAndLinksFailDeadObject) {
    ASSERT_EQ(STATUS_OK, callWith(peer, xproc::kCloseGate, {}));
    binder_status_t status = STATUS_OK;
    std::thread caller([&] { status = callWith(peer, xproc::kRecord, {}); });
    EXPECT_TRUE(eventually([&] { return recordOf(peer).inside == 1; }))
            << "the call never reached the handler";
    ASSERT_TRUE(killOther());
    caller.join();
    EXPECT_EQ(STATUS_DEAD_OBJECT, status) << "the caller of a dead process got an answer";
    EXPECT_EQ(STATUS_DEAD_OBJECT, callWith(peer, xproc::kRecord, {})) << "two-way call";
    EXPECT_EQ(STATUS_DEAD_OBJECT, callWith(peer, xproc::kRecord, {}, nullptr, FLAG_ONEWAY))
            << "oneway call";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(peer.get())) << "ping";
    EXPECT_FALSE(killOther()) << "a process died twice";

    ndk::SpAIBinder local = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    Cookie onLocal, onDead;
    EXPECT_EQ(STATUS_INVALID_OPERATION, link(local, &onLocal)) << "linked to a local object";
    EXPECT_TRUE(eventually([&] { return !AIBinder_isAlive(peer.get()); }));
    EXPECT_EQ(STATUS_DEAD_OBJECT, link(peer, &onDead)) << "linked to a dead object";
    ABinderHost_waitForIdle();
    for (Cookie* cookie : {&onLocal, &onDead}) {
        EXPECT_EQ(1, cookie->unlinked.load()) << "a refused link must end with one onUnlinked";
        EXPECT_EQ(0, cookie->died.load()) << "a refused link still got a death notification";
    }
}

// A link ends once, by unlinking or by its recipient or proxy going, and then hears of no death.
TEST_P(DeathTest, LinkEnded_ByUnlinkOrOwnerGone_UnlinkedOnceAndNoDeathLater) {
    ndk::SpAIBinder second = newPeerObject();
    Cookie kept, removed, stranger, byRecipient, byProxy;
    ASSERT_EQ(STATUS_OK, link(peer, &kept));
    ASSERT_EQ(STATUS_OK, link(peer, &removed));
    ASSERT_EQ(STATUS_OK, link(peer, &byRecipient, other2.get()));
    ASSERT_EQ(STATUS_OK, link(second, &byProxy));
    EXPECT_EQ(STATUS_OK, AIBinder_unlinkToDeath(peer.get(), recipient.get(), &removed));
    EXPECT_EQ(1, removed.unlinked.load()) << "unlinking did not call onUnlinked";
    EXPECT_EQ(STATUS_NAME_NOT_FOUND, AIBinder_unlinkToDeath(peer.get(), recipient.get(), &stranger))
            << "an unknown cookie was unlinked";
    other2.set(nullptr);
    second.set(nullptr);
    EXPECT_EQ(1, byRecipient.unlinked.load()) << "deleting the recipient did not unlink it";
    EXPECT_EQ(1, byProxy.unlinked.load()) << "a destroyed proxy kept its links";

    killAndWait({&kept});
    EXPECT_EQ(0, removed.died.load()) << "an unlinked link still got the death notification";
    EXPECT_EQ(1, removed.unlinked.load()) << "onUnlinked ran again for an unlinked link";
    EXPECT_EQ(0, byRecipient.died.load()) << "a deleted recipient was still notified";
    EXPECT_EQ(0, byProxy.died.load()) << "a destroyed proxy's link was notified";
    EXPECT_EQ(1, kept.died.load()) << "ending one link removed another";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_unlinkToDeath(peer.get(), recipient.get(), &kept))
            << "a link consumed by the death was still there";
    EXPECT_EQ(1, kept.unlinked.load()) << "onUnlinked ran twice for one link";
}

// Simulated processes only: oneway calls queued to a process that dies, and a linker that has no
// binder thread yet.
class SimulatedDeathTest : public ::testing::Test {
  protected:
    void SetUp() override { server.startThreadPool(2); }
    void TearDown() override { ABinderHost_waitForIdle(); }

    ndk::SpAIBinder serve(ABinderHost_Process* to, testobject::Handler handler) {
        return server.run(
                [&] { return testobject::sendTo(to, testobject::create(std::move(handler))); });
    }

    ndk::host::ScopedProcess server{"server"};
};

TEST_F(SimulatedDeathTest, Kill_WhenOnewayCallsQueued_DropsThem) {
    std::atomic<bool> release{false};
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve(ABinderHost_Process_getDefault(), [&](auto, auto, auto) {
        ++handled;
        eventually([&] { return release.load(); });
        return STATUS_OK;
    });
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(STATUS_OK, callWith(proxy, xproc::kRecord, {i}, nullptr, FLAG_ONEWAY));
    }
    ASSERT_TRUE(eventually([&] { return handled.load() > 0; }));
    // The running call may finish only once the process is dying, or it could start the next.
    std::thread releaser([&] {
        while (server.isAlive())
            std::this_thread::yield();
        release = true;
    });
    ASSERT_TRUE(server.kill());
    releaser.join();
    EXPECT_EQ(1, handled.load()) << "oneway calls queued to a dead process still ran";
}

TEST_F(SimulatedDeathTest, Kill_WhenLinkerHasNoThreadYet_NotificationWaitsForOne) {
    ndk::host::ScopedProcess idle("idle");
    ndk::SpAIBinder proxy = serve(idle.get(), [](auto, auto, auto) { return STATUS_OK; });
    ndk::ScopedAIBinder_DeathRecipient recipient = newRecipient();
    Cookie cookie;
    cookie.linkingProcess = idle.get();
    ASSERT_EQ(STATUS_OK, AIBinder_linkToDeath(proxy.get(), recipient.get(), &cookie));
    ASSERT_TRUE(server.kill());
    EXPECT_EQ(1u, idle.pendingWork()) << "the notification was not queued to the linker";
    EXPECT_EQ(0, cookie.died.load()) << "the notification ran without a binder thread";
    idle.startThreadPool(0);
    idle.waitForIdle();
    EXPECT_EQ(1, cookie.died.load()) << "the queued notification never ran";
    EXPECT_TRUE(cookie.diedInLinkingProcess);
}

using TransactionTest = TransportTest;

INSTANTIATE_TEST_SUITE_P(Transports, TransactionTest, bothTransports(), transportRowName);

// The transaction buffer's limits, as on a device: 1 MiB less 8 KiB for a two-way call or its
// reply, half that for a oneway call.
struct LimitRow {
    const char* name;
    size_t limit;
    binder_flags_t flags;
    bool ofReply;  // the reply's size, not the request's
    friend void PrintTo(const LimitRow& row, std::ostream* os) { *os << row.name; }
};

class TransactionLimitTest
    : public TwoProcessTest,
      public ::testing::WithParamInterface<std::tuple<TransportKind, LimitRow>> {
  protected:
    void SetUp() override { startOther(std::get<0>(GetParam())); }
};

TEST_P(TransactionLimitTest, Transact_AtTheLimitAndOneUnitPast_FitsThenFailsFailedTransaction) {
    const LimitRow& row = std::get<1>(GetParam());
    // One past first: a oneway call at the limit fills the share, which would refuse it anyway.
    for (size_t size : {row.limit + 4, row.limit}) {
        const binder_status_t expected = size == row.limit ? STATUS_OK : STATUS_FAILED_TRANSACTION;
        if (!row.ofReply) {
            EXPECT_EQ(expected, recordBytes(peer, size, row.flags))
                    << "a request of " << size << " bytes";
            continue;
        }
        ndk::ScopedAParcel reply;
        EXPECT_EQ(expected,
                  callWith(peer, xproc::kSizedReply, {static_cast<int32_t>(size)}, &reply))
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
        [](const auto& info) {
            return transportName(std::get<0>(info.param)) + std::get<1>(info.param).name;
        });

// As on a device: oneway calls queued for one process share half the buffer, whichever object
// they go to, until they have run.
TEST_P(TransactionTest, Transact_WhenReceiverStopsReading_OnewayFailsOnceItsBufferIsFull) {
    const ndk::SpAIBinder objects[2] = {peer, newPeerObject()};
    ASSERT_EQ(STATUS_OK, callWith(peer, xproc::kCloseGate, {}));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(STATUS_OK, recordBytes(objects[i % 2], 100 * 1024, FLAG_ONEWAY))
                << "call " << i << " should still fit";
    }
    EXPECT_EQ(STATUS_FAILED_TRANSACTION, recordBytes(objects[1], 100 * 1024, FLAG_ONEWAY))
            << "a sixth 100 KiB call fit in a buffer of about 508 KiB";
    ASSERT_EQ(STATUS_OK, callWith(peer, xproc::kOpenGate, {}));
    EXPECT_TRUE(eventually([&] {
        return recordOf(objects[0]).count + recordOf(objects[1]).count == 5;
    })) << "the accepted calls did not all run";
    // The space comes back once the calls have run, which the sender may learn a little later.
    EXPECT_TRUE(eventually([&] {
        return recordBytes(objects[0], 100 * 1024, FLAG_ONEWAY) == STATUS_OK;
    })) << "the buffer was not freed after the calls ran";
}

}  // namespace

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Death of the other process, over each transport: death notifications once per link, onUnlinked
// exactly once per link whatever ends it, and calls to dead objects failing with
// STATUS_DEAD_OBJECT; then what only simulated processes have (a linker without threads).

#include <android/binder_host.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "OtherProcess.h"
#include "TestObject.h"
#include "Waiting.h"

namespace {

// What happened to one link, as seen by its callbacks.
struct Cookie {
    std::atomic<int> died{0};
    std::atomic<int> unlinked{0};
    std::atomic<bool> unlinkedBeforeDied{false};
    std::atomic<bool> diedOnBinderThread{false};
    std::atomic<bool> diedInLinkingProcess{false};
    ABinderHost_Process* linkingProcess = nullptr;
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

// The test process watches the other process's objects.
class DeathTest : public TransportTest {
  protected:
    void SetUp() override {
        TransportTest::SetUp();
        AIBinder_DeathRecipient_setOnUnlinked(recipient.get(), onUnlinked);
        AIBinder_DeathRecipient_setOnUnlinked(other2.get(), onUnlinked);
    }

    binder_status_t link(const ndk::SpAIBinder& binder, Cookie* cookie,
                         AIBinder_DeathRecipient* with = nullptr) {
        cookie->linkingProcess = ABinderHost_Process_getDefault();
        return AIBinder_linkToDeath(binder.get(), with != nullptr ? with : recipient.get(), cookie);
    }

    // Kills the other process and waits until each cookie has seen its death.
    void killAndWait(std::initializer_list<Cookie*> cookies) {
        ASSERT_TRUE(other->kill());
        for (Cookie* cookie : cookies) {
            EXPECT_TRUE(eventually([&] { return cookie->died.load() > 0; }))
                    << "no death notification";
        }
        ABinderHost_waitForIdle();
    }

    ndk::ScopedAIBinder_DeathRecipient recipient{AIBinder_DeathRecipient_new(onDied)};
    ndk::ScopedAIBinder_DeathRecipient other2{AIBinder_DeathRecipient_new(onDied)};
};

INSTANTIATE_TEST_SUITE_P(Transports, DeathTest, bothTransports(), transportRowName);

TEST_P(DeathTest, Kill_WhenLinked_DiedOncePerLinkThenUnlinkedOnBinderThreadOfLinker) {
    const ndk::SpAIBinder& proxy = other->object();
    Cookie a, b, c;
    ASSERT_EQ(STATUS_OK, link(proxy, &a));
    ASSERT_EQ(STATUS_OK, link(proxy, &b));
    ASSERT_EQ(STATUS_OK, link(proxy, &c, other2.get()));
    killAndWait({&a, &b, &c});
    for (Cookie* cookie : {&a, &b, &c}) {
        EXPECT_EQ(1, cookie->died.load()) << "a link's death notification did not fire once";
        EXPECT_EQ(1, cookie->unlinked.load()) << "a link's onUnlinked did not run once";
        EXPECT_FALSE(cookie->unlinkedBeforeDied) << "onUnlinked ran before onBinderDied";
        EXPECT_TRUE(cookie->diedOnBinderThread) << "the notification ran off the binder threads";
        EXPECT_TRUE(cookie->diedInLinkingProcess) << "the notification ran in another process";
    }
    EXPECT_FALSE(AIBinder_isAlive(proxy.get())) << "a dead object's proxy reports it alive";
}

TEST_P(DeathTest, Kill_WhenObjectDead_CallsAndPingFailDeadObject) {
    const ndk::SpAIBinder& proxy = other->object();
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, xproc::kEcho, 1)) << "not reachable";
    ASSERT_TRUE(other->kill());
    EXPECT_EQ(STATUS_DEAD_OBJECT, testobject::callInt(proxy, xproc::kEcho, 1)) << "two-way call";
    EXPECT_EQ(STATUS_DEAD_OBJECT,
              testobject::callInt(proxy, xproc::kRecord, 1, nullptr, FLAG_ONEWAY))
            << "oneway call";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(proxy.get())) << "ping";
    EXPECT_FALSE(other->kill()) << "a process died twice";
}

TEST_P(DeathTest, Kill_WhenCallUnanswered_CallerFailsBeforeHandlerReturns) {
    ASSERT_EQ(STATUS_OK, callWith(other->object(), xproc::kCloseGate, {}));
    binder_status_t status = STATUS_OK;
    std::thread caller([&] { status = testobject::callInt(other->object(), xproc::kRecord, 1); });
    EXPECT_TRUE(eventually([&] { return recordOf(other->object()).inside == 1; }))
            << "the call never reached the handler";
    ASSERT_TRUE(other->kill());
    caller.join();
    EXPECT_EQ(STATUS_DEAD_OBJECT, status) << "the caller of a dead process got an answer";
}

TEST_P(DeathTest, LinkToDeath_WhenLocalOrDead_RefusedAndUnlinkedOnceWithoutDeath) {
    ndk::SpAIBinder local = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ASSERT_TRUE(other->kill());
    Cookie onLocal, onDead;
    EXPECT_EQ(STATUS_INVALID_OPERATION, link(local, &onLocal)) << "linked to a local object";
    EXPECT_TRUE(eventually([&] { return !AIBinder_isAlive(other->object().get()); }));
    EXPECT_EQ(STATUS_DEAD_OBJECT, link(other->object(), &onDead)) << "linked to a dead object";
    ABinderHost_waitForIdle();
    for (Cookie* cookie : {&onLocal, &onDead}) {
        EXPECT_EQ(1, cookie->unlinked.load()) << "a refused link must end with one onUnlinked";
        EXPECT_EQ(0, cookie->died.load()) << "a refused link still got a death notification";
    }
}

TEST_P(DeathTest, UnlinkToDeath_ByLinkState_EndsOnlyThatLinkOnce) {
    const ndk::SpAIBinder& proxy = other->object();
    Cookie kept, removed, stranger;
    ASSERT_EQ(STATUS_OK, link(proxy, &kept));
    ASSERT_EQ(STATUS_OK, link(proxy, &removed));
    EXPECT_EQ(STATUS_OK, AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &removed));
    EXPECT_EQ(1, removed.unlinked.load()) << "unlinking did not call onUnlinked";
    EXPECT_EQ(STATUS_NAME_NOT_FOUND,
              AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &stranger))
            << "an unknown cookie was unlinked";

    killAndWait({&kept});
    EXPECT_EQ(0, removed.died.load()) << "an unlinked link still got the death notification";
    EXPECT_EQ(1, removed.unlinked.load()) << "onUnlinked ran again for an unlinked link";
    EXPECT_EQ(1, kept.died.load()) << "unlinking one cookie removed another";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &kept))
            << "a link consumed by the death was still there";
    EXPECT_EQ(1, kept.unlinked.load()) << "onUnlinked ran twice for one link";
}

TEST_P(DeathTest, LinkOwnerDestroyed_WhenRecipientOrProxyGoes_UnlinksAndNoDeathLater) {
    ndk::SpAIBinder second = newPeerObject();
    Cookie byRecipient, byProxy, witness;
    ASSERT_EQ(STATUS_OK, link(other->object(), &byRecipient, other2.get()));
    ASSERT_EQ(STATUS_OK, link(second, &byProxy));
    ASSERT_EQ(STATUS_OK, link(other->object(), &witness));
    other2.set(nullptr);
    second.set(nullptr);
    EXPECT_EQ(1, byRecipient.unlinked.load()) << "deleting the recipient did not unlink it";
    EXPECT_EQ(1, byProxy.unlinked.load()) << "a destroyed proxy kept its links";

    killAndWait({&witness});
    EXPECT_EQ(0, byRecipient.died.load()) << "a deleted recipient was still notified";
    EXPECT_EQ(0, byProxy.died.load()) << "a destroyed proxy's link was notified";
}

// Simulated processes only: what a process does before it has binder threads, and queued oneway
// calls of a process that dies while alive around them.
class SimulatedDeathTest : public ::testing::Test {
  protected:
    void SetUp() override {
        server.startThreadPool(2);
        AIBinder_DeathRecipient_setOnUnlinked(recipient.get(), onUnlinked);
    }

    void TearDown() override { ABinderHost_waitForIdle(); }

    ndk::SpAIBinder serve(ABinderHost_Process* to, testobject::Handler handler) {
        return server.run(
                [&] { return testobject::sendTo(to, testobject::create(std::move(handler))); });
    }

    ndk::host::ScopedProcess server{"server"};
    ndk::ScopedAIBinder_DeathRecipient recipient{AIBinder_DeathRecipient_new(onDied)};
};

TEST_F(SimulatedDeathTest, Kill_WhenOnewayCallsQueued_DropsThem) {
    Latch entered;
    Latch release;
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve(ABinderHost_Process_getDefault(), [&](auto, auto, auto) {
        ++handled;
        entered.open();
        release.wait();
        return STATUS_OK;
    });
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, xproc::kRecord, i, nullptr, FLAG_ONEWAY));
    }
    ASSERT_TRUE(entered.wait());
    // The running call may finish only once the process is dying, or it could start the next.
    std::thread releaser([&] {
        while (server.isAlive())
            std::this_thread::yield();
        release.open();
    });
    ASSERT_TRUE(server.kill());
    releaser.join();
    EXPECT_EQ(1, handled.load()) << "oneway calls queued to a dead process still ran";
}

TEST_F(SimulatedDeathTest, Kill_WhenLinkerHasNoThreadYet_NotificationWaitsForOne) {
    ndk::host::ScopedProcess idle("idle");
    ndk::SpAIBinder proxy = serve(idle.get(), [](auto, auto, auto) { return STATUS_OK; });
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

}  // namespace

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Death of a simulated process: death notifications once per link, onUnlinked exactly once per
// link whatever ends it, and calls to dead objects failing with STATUS_DEAD_OBJECT.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Latch.h"
#include "TestObject.h"

namespace {

constexpr transaction_code_t kCall = FIRST_CALL_TRANSACTION;

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

class DeathTest : public ::testing::Test {
  protected:
    void SetUp() override {
        server.startThreadPool(2);
        watcher.startThreadPool(1);
        AIBinder_DeathRecipient_setOnUnlinked(recipient.get(), onUnlinked);
    }

    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, watcher.pendingWork()) << "death notifications still queued";
    }

    // A server object and the watcher's proxy for it.
    ndk::SpAIBinder watchedObject(testobject::Handler handler = [](auto, auto, auto) {
        return STATUS_OK;
    }) {
        return server.run([&] {
            ndk::SpAIBinder local = testobject::create(std::move(handler));
            return testobject::sendTo(watcher.get(), local);
        });
    }

    binder_status_t link(const ndk::SpAIBinder& binder, Cookie* cookie,
                         AIBinder_DeathRecipient* with = nullptr) {
        cookie->linkingProcess = watcher.get();
        return AIBinder_linkToDeath(binder.get(), with != nullptr ? with : recipient.get(), cookie);
    }

    ndk::host::ScopedProcess server{"server"};
    ndk::host::ScopedProcess watcher{"watcher"};
    ndk::ScopedAIBinder_DeathRecipient recipient{AIBinder_DeathRecipient_new(onDied)};
};

TEST_F(DeathTest, Kill_WhenLinked_DiedOncePerLinkThenUnlinkedOnBinderThreadOfLinker) {
    ndk::SpAIBinder proxy = watchedObject();
    ndk::ScopedAIBinder_DeathRecipient other(AIBinder_DeathRecipient_new(onDied));
    AIBinder_DeathRecipient_setOnUnlinked(other.get(), onUnlinked);
    Cookie a, b, c;
    ASSERT_EQ(STATUS_OK, link(proxy, &a));
    ASSERT_EQ(STATUS_OK, link(proxy, &b));
    ASSERT_EQ(STATUS_OK, link(proxy, &c, other.get()));

    ASSERT_TRUE(server.kill());
    ABinderHost_waitForIdle();

    for (Cookie* cookie : {&a, &b, &c}) {
        EXPECT_EQ(1, cookie->died.load()) << "a link's death notification did not fire once";
        EXPECT_EQ(1, cookie->unlinked.load()) << "a link's onUnlinked did not run once";
        EXPECT_FALSE(cookie->unlinkedBeforeDied) << "onUnlinked ran before onBinderDied";
        EXPECT_TRUE(cookie->diedOnBinderThread) << "the notification ran off the binder threads";
        EXPECT_TRUE(cookie->diedInLinkingProcess) << "the notification ran in another process";
    }
    EXPECT_FALSE(AIBinder_isAlive(proxy.get())) << "a dead object's proxy reports it alive";
}

TEST_F(DeathTest, Kill_WhenObjectDead_CallsAndPingFailDeadObject) {
    ndk::SpAIBinder proxy = watchedObject();
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kCall, 1)) << "the object was not reachable";
    ASSERT_TRUE(server.kill());
    EXPECT_EQ(STATUS_DEAD_OBJECT, testobject::callInt(proxy, kCall, 1)) << "two-way call";
    EXPECT_EQ(STATUS_DEAD_OBJECT, testobject::callInt(proxy, kCall, 1, nullptr, FLAG_ONEWAY))
            << "oneway call";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_ping(proxy.get())) << "ping";
    EXPECT_FALSE(server.kill()) << "a process died twice";
}

TEST_F(DeathTest, Kill_WhenCallUnanswered_CallerFailsBeforeHandlerReturns) {
    Latch entered;
    Latch release;
    ndk::SpAIBinder proxy = watchedObject([&](auto, auto, auto) {
        entered.open();
        release.wait();
        return STATUS_OK;
    });
    binder_status_t status = STATUS_OK;
    std::thread caller([&] {
        status = testobject::callInt(proxy, kCall, 1);
        // Only a caller released by the death can let the handler finish.
        release.open();
    });
    ASSERT_TRUE(entered.wait()) << "the call never reached the handler";
    ASSERT_TRUE(server.kill());
    caller.join();
    EXPECT_EQ(STATUS_DEAD_OBJECT, status) << "the caller of a dead process got an answer";
}

TEST_F(DeathTest, Kill_WhenOnewayCallsQueued_DropsThem) {
    Latch entered;
    Latch release;
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = watchedObject([&](auto, auto, auto) {
        ++handled;
        entered.open();
        release.wait();
        return STATUS_OK;
    });
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kCall, i, nullptr, FLAG_ONEWAY));
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

TEST_F(DeathTest, LinkToDeath_WhenLocalOrDead_RefusedAndUnlinkedOnceWithoutDeath) {
    ndk::SpAIBinder local = testobject::create([](auto, auto, auto) { return STATUS_OK; });
    ndk::SpAIBinder dead = watchedObject();
    ASSERT_TRUE(server.kill());
    Cookie onLocal, onDead;
    EXPECT_EQ(STATUS_INVALID_OPERATION, link(local, &onLocal)) << "linked to a local object";
    EXPECT_EQ(STATUS_DEAD_OBJECT, link(dead, &onDead)) << "linked to a dead object";
    ABinderHost_waitForIdle();
    for (Cookie* cookie : {&onLocal, &onDead}) {
        EXPECT_EQ(1, cookie->unlinked.load()) << "a refused link must end with one onUnlinked";
        EXPECT_EQ(0, cookie->died.load()) << "a refused link still got a death notification";
    }
}

TEST_F(DeathTest, UnlinkToDeath_ByLinkState_EndsOnlyThatLinkOnce) {
    ndk::SpAIBinder proxy = watchedObject();
    Cookie kept, removed, stranger;
    ASSERT_EQ(STATUS_OK, link(proxy, &kept));
    ASSERT_EQ(STATUS_OK, link(proxy, &removed));
    EXPECT_EQ(STATUS_OK, AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &removed));
    EXPECT_EQ(1, removed.unlinked.load()) << "unlinking did not call onUnlinked";
    EXPECT_EQ(STATUS_NAME_NOT_FOUND,
              AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &stranger))
            << "an unknown cookie was unlinked";

    ASSERT_TRUE(server.kill());
    ABinderHost_waitForIdle();
    EXPECT_EQ(0, removed.died.load()) << "an unlinked link still got the death notification";
    EXPECT_EQ(1, removed.unlinked.load()) << "onUnlinked ran again for an unlinked link";
    EXPECT_EQ(1, kept.died.load()) << "unlinking one cookie removed another";
    EXPECT_EQ(STATUS_DEAD_OBJECT, AIBinder_unlinkToDeath(proxy.get(), recipient.get(), &kept))
            << "a link consumed by the death was still there";
    EXPECT_EQ(1, kept.unlinked.load()) << "onUnlinked ran twice for one link";
}

TEST_F(DeathTest, LinkOwnerDestroyed_WhenRecipientOrProxyGoes_UnlinksAndNoDeathLater) {
    ndk::SpAIBinder first = watchedObject();
    ndk::SpAIBinder second = watchedObject();
    ndk::ScopedAIBinder_DeathRecipient other(AIBinder_DeathRecipient_new(onDied));
    AIBinder_DeathRecipient_setOnUnlinked(other.get(), onUnlinked);
    Cookie byRecipient, byProxy;
    ASSERT_EQ(STATUS_OK, link(first, &byRecipient, other.get()));
    ASSERT_EQ(STATUS_OK, link(second, &byProxy));
    other.set(nullptr);
    second.set(nullptr);
    EXPECT_EQ(1, byRecipient.unlinked.load()) << "deleting the recipient did not unlink it";
    EXPECT_EQ(1, byProxy.unlinked.load()) << "a destroyed proxy kept its links";

    ASSERT_TRUE(server.kill());
    ABinderHost_waitForIdle();
    EXPECT_EQ(0, byRecipient.died.load()) << "a deleted recipient was still notified";
    EXPECT_EQ(0, byProxy.died.load()) << "a destroyed proxy's link was notified";
}

TEST_F(DeathTest, Kill_WhenLinkerHasNoThreadYet_NotificationWaitsForOne) {
    ndk::host::ScopedProcess idle("idle");
    ndk::SpAIBinder proxy = server.run([&] {
        ndk::SpAIBinder local = testobject::create([](auto, auto, auto) { return STATUS_OK; });
        return testobject::sendTo(idle.get(), local);
    });
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

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The looper and its messages: order, wake-ups, quit, thread exit; and the type tags that tell a
// message's param apart. Also run under TSan.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>
#include <plim/Looper.h>
#include <plim/Message.h>
#include <plim/RttiContext.h>
#include <plim/SerialIntParam.h>

#include "LogCapture.h"
#include "LoopThread.h"

namespace com::vyr::plim::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* TAG = "plim-framework";

/** Keeps the value of the last SerialIntParam it handled. */
class Probe : public Handler {
  public:
    int handle(std::shared_ptr<Message> msg) override {
        std::shared_ptr<Param> param = msg->getParam();
        if (param && param->isType(SerialIntParam::RTTI_TYPE)) {
            lastValue = static_cast<SerialIntParam*>(param.get())->value;
        }
        return OK;
    }
    std::atomic<int> lastValue{-1};
};

// Work reaches the loop thread as tasks (messages of LoopThread's own handler). Every test ends
// by stopping the loop and checking that each accepted task ran exactly once.
class LooperTest : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(loop_.stop(), OK) << "a loop ended by quit() must report OK";
        EXPECT_EQ(ran_.load(), accepted_.load())
                << "every accepted message must be handled exactly once before loop() returns";
    }

    int post(std::function<void()> task) {
        int result = loop_.post([this, task = std::move(task)] {
            ran_++;
            task();
        });
        if (result == OK) {
            accepted_++;
        }
        return result;
    }

    /** Keeps the loop thread busy until the returned promise is set, so messages stay queued. */
    std::promise<void> blockLoop() {
        std::promise<void> release;
        std::shared_future<void> released = release.get_future().share();
        EXPECT_EQ(post([released] { released.wait(); }), OK) << "blocking task refused";
        return release;
    }

    LoopThread loop_;
    std::atomic<size_t> accepted_{0};
    std::atomic<size_t> ran_{0};
};

TEST_F(LooperTest, Dispatch_FromProducerThreads_HandlesEachOnceInEachProducersOrder) {
    constexpr int PRODUCERS = 8;
    constexpr int PER_PRODUCER = 4000;
    // Only the loop thread touches these until stop().
    std::vector<int> next(PRODUCERS, 0);
    int misordered = 0, offLoopThread = 0;
    std::vector<std::thread> threads;
    for (int p = 0; p < PRODUCERS; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < PER_PRODUCER; ++i) {
                ASSERT_EQ(post([&, p, i] {
                              misordered += next[p]++ != i;
                              offLoopThread += std::this_thread::get_id() != loop_.threadId();
                          }),
                          OK)
                        << "dispatch refused";
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(loop_.stop(), OK);
    EXPECT_EQ(next, std::vector<int>(PRODUCERS, PER_PRODUCER)) << "messages were lost";
    EXPECT_EQ(misordered, 0) << "a producer's messages were reordered or repeated";
    EXPECT_EQ(offLoopThread, 0) << "handle() ran off the looper's thread";
}

// One message in flight at a time: every post finds the loop asleep or about to sleep, which is
// where a lost wake-up would hang the exchange.
TEST_F(LooperTest, Dispatch_WhenLoopKeepsFallingAsleep_NeverLosesAWakeUp) {
    for (int i = 1; i <= 20000; ++i) {
        auto handled = std::make_shared<std::promise<void>>();  // outlives a failed round
        ASSERT_EQ(post([handled] { handled->set_value(); }), OK);
        ASSERT_EQ(handled->get_future().wait_for(10s), std::future_status::ready)
                << "round " << i << " never handled: lost wake-up";
    }
}

TEST_F(LooperTest, Dispatch_WhenQueued_RefusesSecondCopyKeepsTargetAndParamAliveThenReleasesAll) {
    std::shared_ptr<Probe> target = loop_.call([] { return std::make_shared<Probe>(); });
    std::weak_ptr<Probe> weakTarget = target;
    std::weak_ptr<Message> weakMsg;
    std::promise<void> release = blockLoop();
    {
        auto msg = Message::obtain(3, target, std::make_shared<SerialIntParam>(3, 42), nullptr);
        weakMsg = msg;
        ASSERT_EQ(msg->dispatch(), OK);
        EXPECT_EQ(msg->dispatch(), INVALID_STATE) << "a queued message was queued twice";
    }
    target.reset();
    std::shared_ptr<Probe> observed = weakTarget.lock();
    ASSERT_NE(observed, nullptr) << "a queued message must keep its handler alive";
    release.set_value();
    // The loop drops each message right after handle(); a task posted now runs after that.
    loop_.call([] {});
    EXPECT_EQ(observed->lastValue.load(), 42) << "the parameter did not reach the handler whole";
    observed.reset();
    EXPECT_TRUE(weakMsg.expired()) << "a handled message must be released";
    EXPECT_TRUE(weakTarget.expired()) << "a handled message must release its handler";
}

TEST_F(LooperTest, Quit_WhenProducersRaceIt_HandlesEveryAcceptedMessageThenRefuses) {
    std::promise<void> release = blockLoop();
    std::atomic<bool> stop{false};
    std::vector<std::thread> producers;
    for (int t = 0; t < 3; ++t) {
        producers.emplace_back([&] {
            while (!stop.load()) {
                post([] {});
            }
        });
    }
    while (accepted_.load() < 1000) {
        std::this_thread::yield();
    }
    LogCapture quiet;        // refusals after quit() are expected here
    loop_.looper()->quit();  // with at least 1000 messages still queued
    stop = true;
    for (std::thread& producer : producers) {
        producer.join();
    }
    release.set_value();
    EXPECT_EQ(loop_.stop(), OK);
    EXPECT_EQ(ran_.load(), accepted_.load())
            << "a message accepted before or around quit() was dropped or handled twice";
    EXPECT_EQ(post([] {}), INVALID_STATE) << "a message accepted after quit() is never handled";
}

TEST_F(LooperTest, Loop_WhenCalledOffOwnerThreadOrReentered_RefusesWithInvalidState) {
    EXPECT_EQ(loop_.looper()->loop(), INVALID_STATE) << "only the owning thread may loop";
    EXPECT_EQ(loop_.call([] { return Looper::getThreadLocalLooper()->loop(); }), INVALID_STATE)
            << "loop() inside a handler must refuse";
}

TEST_F(LooperTest, Dispatch_WhenTargetCannotReceive_RefusesWithItsErrorAndHoldsNothing) {
    LogCapture log;
    EXPECT_EQ(Message::obtain(4, nullptr, nullptr, nullptr)->dispatch(), INVALID_ARGUMENT)
            << "a message without target must be an argument error";
    std::shared_ptr<Probe> orphan;
    std::thread([&] { orphan = std::make_shared<Probe>(); }).join();
    EXPECT_EQ(Message::obtain(5, orphan, nullptr, nullptr)->dispatch(), INVALID_STATE)
            << "a handler built on a thread without looper cannot receive messages";

    std::shared_ptr<Probe> handler;
    std::weak_ptr<Message> weakMsg;
    std::thread([&] {
        ASSERT_EQ(Looper::prepareThreadLocalLooper(), OK);
        std::shared_ptr<Looper> first = Looper::getThreadLocalLooper();
        ASSERT_EQ(Looper::prepareThreadLocalLooper(), OK);
        ASSERT_EQ(Looper::getThreadLocalLooper(), first) << "a second prepare replaced the looper";
        handler = std::make_shared<Probe>();
        std::shared_ptr<Message> msg = Message::obtain(1, handler, nullptr, nullptr);
        weakMsg = msg;
        ASSERT_EQ(msg->dispatch(), OK);
    }).join();
    EXPECT_TRUE(weakMsg.expired()) << "a dead thread's queue must not keep its messages alive";
    EXPECT_EQ(Message::obtain(6, handler, nullptr, nullptr)->dispatch(), INVALID_STATE)
            << "a looper whose thread ended must refuse messages";
    for (const char* line : {"dispatch: msg id = 4 has no target handler",
                             "dispatch: looper has quit, msg id = 6 refused"}) {
        EXPECT_TRUE(log.contains(Log::ERROR, TAG, line)) << line << " missing:\n" << log.dump();
    }
    EXPECT_TRUE(log.contains(Log::WARN, TAG, "abandon: thread ended, 1 unhandled messages dropped"))
            << log.dump();
}

class RttiContextTest : public ::testing::Test {};

TEST_F(RttiContextTest, EnableRtti_WhenChainDeeperThanCapacity_KeepsFirstTagsRefusesAndLogs) {
    static const std::vector<std::string> names = {"a", "b", "c", "d", "e", "f", "g", "h", "i"};
    ASSERT_EQ(names.size(), RttiContext::MAX_TYPE_NAMES + 1) << "test setup: one tag too many";
    LogCapture log;
    RttiContext context;
    for (const std::string& name : names) {
        context.enableRtti(name);
    }
    for (size_t i = 0; i < RttiContext::MAX_TYPE_NAMES; ++i) {
        // By the tag itself, and by a copy of its text, as a receiver may hold.
        EXPECT_TRUE(context.isType(names[i]) && context.isType(std::string(names[i])))
                << "tag " << names[i] << " within capacity lost, or compared by address only";
    }
    EXPECT_FALSE(context.isType("i")) << "a tag beyond capacity must not be kept";
    EXPECT_TRUE(log.contains(Log::ERROR, TAG,
                             "enableRtti: no room for type tag {i}, class chain too deep"))
            << log.dump();
}

}  // namespace
}  // namespace com::vyr::plim::test

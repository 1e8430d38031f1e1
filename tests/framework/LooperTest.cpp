/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <plim/Errno.h>
#include <plim/Looper.h>
#include <plim/Message.h>
#include <plim/SerialIntParam.h>

#include "LogCapture.h"
#include "LoopThread.h"
#include "RecordingHandler.h"

namespace com::vyr::plim::test {
namespace {

std::shared_ptr<Message> intMessage(const std::shared_ptr<Handler>& target, int id, int value) {
    return Message::obtain(id, target, std::make_shared<SerialIntParam>(id, value), nullptr);
}

// Every test ends by stopping the loop and checking that each accepted message was handled
// exactly once: nothing may stay queued or be delivered twice.
class LooperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        handler_ =
                loop_.make<RecordingHandler>([] { return std::make_shared<RecordingHandler>(); });
    }

    void TearDown() override {
        EXPECT_EQ(loop_.stop(), OK) << "a loop ended by quit() must report OK";
        EXPECT_EQ(handler_->handled().size(), accepted_.load())
                << "every accepted message must be handled exactly once before loop() returns";
    }

    int dispatch(const std::shared_ptr<Message>& msg) {
        int result = msg->dispatch();
        if (result == OK) {
            accepted_++;
        }
        return result;
    }

    LoopThread loop_;
    std::shared_ptr<RecordingHandler> handler_;
    std::atomic<size_t> accepted_{0};
};

TEST_F(LooperTest, Dispatch_WhenOneProducer_HandlesInPostingOrder) {
    constexpr int COUNT = 1000;
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(dispatch(intMessage(handler_, i, i)), OK) << "dispatch refused message " << i;
    }
    ASSERT_TRUE(handler_->waitForCount(COUNT)) << "messages were lost";
    std::vector<Handled> handled = handler_->handled();
    for (int i = 0; i < COUNT; ++i) {
        ASSERT_EQ(handled[i].id, i) << "message handled out of order at position " << i;
    }
}

TEST_F(LooperTest, Dispatch_WhenSeveralProducers_KeepsEachProducersOrder) {
    constexpr int PRODUCERS = 4;
    constexpr int PER_PRODUCER = 5000;
    std::vector<std::thread> producers;
    for (int p = 0; p < PRODUCERS; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 0; i < PER_PRODUCER; ++i) {
                EXPECT_EQ(dispatch(intMessage(handler_, p, i)), OK) << "dispatch refused";
            }
        });
    }
    for (std::thread& producer : producers) {
        producer.join();
    }
    ASSERT_TRUE(handler_->waitForCount(PRODUCERS * PER_PRODUCER)) << "messages were lost";
    std::vector<int> nextExpected(PRODUCERS, 0);
    for (const Handled& h : handler_->handled()) {
        ASSERT_EQ(h.value, nextExpected[h.id]) << "producer " << h.id << " reordered";
        nextExpected[h.id]++;
    }
}

TEST_F(LooperTest, Handle_WhenDispatchedFromOtherThreads_RunsOnLooperThread) {
    std::thread other([&] { ASSERT_EQ(dispatch(intMessage(handler_, 1, 1)), OK); });
    other.join();
    ASSERT_EQ(dispatch(intMessage(handler_, 2, 2)), OK);
    ASSERT_TRUE(handler_->waitForCount(2));
    for (const Handled& h : handler_->handled()) {
        EXPECT_EQ(h.thread, loop_.threadId()) << "handle() ran off the looper's thread";
    }
}

TEST_F(LooperTest, Dispatch_WhenQueued_KeepsHandlerAndParamAliveUntilHandled) {
    auto target = loop_.make<RecordingHandler>([] { return std::make_shared<RecordingHandler>(); });
    // Block the loop so the message stays queued while the caller drops every reference.
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    ASSERT_EQ(loop_.post([released] { released.wait(); }), OK);

    auto param = std::make_shared<SerialIntParam>(7, 42);
    std::weak_ptr<RecordingHandler> weakTarget = target;
    std::weak_ptr<Param> weakParam = param;
    std::weak_ptr<Message> weakMsg;
    {
        std::shared_ptr<Message> msg = Message::obtain(3, target, param, nullptr);
        weakMsg = msg;
        ASSERT_EQ(msg->dispatch(), OK);
    }
    target.reset();
    param.reset();
    EXPECT_FALSE(weakTarget.expired()) << "queued message must keep its handler alive";
    EXPECT_FALSE(weakParam.expired()) << "queued message must keep its parameter alive";

    std::shared_ptr<RecordingHandler> observed = weakTarget.lock();
    release.set_value();
    ASSERT_TRUE(observed->waitForCount(1)) << "message was lost";
    EXPECT_EQ(observed->handled()[0].value, 42) << "parameter did not reach the handler";
    observed.reset();
    // The loop thread drops the message right after handle(); a posted task runs after that.
    std::promise<void> drained;
    ASSERT_EQ(loop_.post([&] { drained.set_value(); }), OK);
    drained.get_future().wait();
    EXPECT_TRUE(weakMsg.expired()) << "handled message must be released";
    EXPECT_TRUE(weakParam.expired()) << "handled message must release its parameter";
    EXPECT_TRUE(weakTarget.expired()) << "handled message must release its handler";
}

TEST_F(LooperTest, Dispatch_WhenAlreadyQueued_RefusesSecondCopy) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    ASSERT_EQ(loop_.post([released] { released.wait(); }), OK);
    std::shared_ptr<Message> msg = intMessage(handler_, 5, 5);
    ASSERT_EQ(dispatch(msg), OK);
    EXPECT_EQ(dispatch(msg), INVALID_STATE) << "a queued message must not be queued twice";
    release.set_value();
    ASSERT_TRUE(handler_->waitForCount(1));
    // Handled, it may travel again.
    EXPECT_EQ(dispatch(msg), OK) << "a handled message must be dispatchable again";
    ASSERT_TRUE(handler_->waitForCount(2));
}

TEST_F(LooperTest, Dispatch_WhenHandlerRepostsItsOwnMessage_HandlesEachRound) {
    class Repost : public Handler {
      public:
        int handle(std::shared_ptr<Message> msg) override {
            if (++rounds < 100) {
                EXPECT_EQ(msg->dispatch(), OK) << "re-dispatch from inside handle() refused";
            } else {
                done.set_value();
            }
            return 0;
        }
        int rounds = 0;
        std::promise<void> done;
    };
    auto repost = loop_.make<Repost>([] { return std::make_shared<Repost>(); });
    ASSERT_EQ(Message::obtain(1, repost, nullptr, nullptr)->dispatch(), OK);
    repost->done.get_future().wait();
    EXPECT_EQ(repost->rounds, 100);
}

TEST_F(LooperTest, Quit_WhenMessagesQueued_HandlesThemThenRefusesNewOnes) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    ASSERT_EQ(loop_.post([released] { released.wait(); }), OK);
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(dispatch(intMessage(handler_, i, i)), OK);
    }
    loop_.looper()->quit();
    LogCapture log;
    EXPECT_EQ(intMessage(handler_, 99, 99)->dispatch(), INVALID_STATE)
            << "a message accepted after quit() could never be handled";
    EXPECT_TRUE(log.contains(6, "plim-framework", "dispatch: looper has quit, msg id = 99 refused"))
            << log.dump();
    release.set_value();
    EXPECT_EQ(loop_.stop(), OK);
    EXPECT_EQ(handler_->handled().size(), 10u) << "messages accepted before quit() were dropped";
}

TEST_F(LooperTest, Loop_WhenCalledOffOwnerThreadOrReentered_RefusesWithInvalidState) {
    EXPECT_EQ(loop_.looper()->loop(), INVALID_STATE) << "only the owning thread may loop";
    std::promise<int> nested;
    ASSERT_EQ(loop_.post([&] { nested.set_value(Looper::getThreadLocalLooper()->loop()); }), OK);
    EXPECT_EQ(nested.get_future().get(), INVALID_STATE) << "loop() inside a handler must refuse";
}

class MessageDispatchTest : public ::testing::Test {};

TEST_F(MessageDispatchTest, Dispatch_WhenNoTarget_ReturnsInvalidArgument) {
    LogCapture log;
    EXPECT_EQ(Message::obtain(4, nullptr, nullptr, nullptr)->dispatch(), INVALID_ARGUMENT);
    EXPECT_TRUE(log.contains(6, "plim-framework", "dispatch: msg id = 4 has no target handler"))
            << log.dump();
}

TEST_F(MessageDispatchTest, Dispatch_WhenHandlerBuiltWithoutLooper_ReturnsInvalidState) {
    std::shared_ptr<RecordingHandler> orphan;
    std::thread([&] { orphan = std::make_shared<RecordingHandler>(); }).join();
    EXPECT_EQ(orphan->getLooper(), nullptr) << "a thread without looper gave a looper";
    EXPECT_EQ(Message::obtain(4, orphan, nullptr, nullptr)->dispatch(), INVALID_STATE);
}

TEST_F(MessageDispatchTest, Obtain_Always_KeepsWhatItWasGiven) {
    auto param = std::make_shared<SerialIntParam>(1, 2);
    auto extra = std::make_shared<int>(3);
    std::shared_ptr<Message> msg = Message::obtain(17, nullptr, param, extra);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->getId(), 17);
    EXPECT_EQ(msg->getParam(), param);
    EXPECT_EQ(msg->getExtra(), extra);
}

TEST_F(MessageDispatchTest, ThreadExit_WhenMessagesNeverHandled_ReleasesThemAndRefusesMore) {
    std::shared_ptr<RecordingHandler> handler;
    std::weak_ptr<Param> weakParam;
    LogCapture log;
    std::thread([&] {
        Looper::prepareThreadLocalLooper();
        handler = std::make_shared<RecordingHandler>();
        auto param = std::make_shared<SerialIntParam>(1, 1);
        weakParam = param;
        ASSERT_EQ(Message::obtain(1, handler, param, nullptr)->dispatch(), OK);
    }).join();
    EXPECT_TRUE(weakParam.expired()) << "a dead thread's queue must not keep messages alive";
    EXPECT_TRUE(log.contains(5, "plim-framework",
                             "abandon: thread ended, 1 unhandled messages dropped"))
            << log.dump();
    EXPECT_EQ(Message::obtain(2, handler, nullptr, nullptr)->dispatch(), INVALID_STATE)
            << "a looper whose thread ended must refuse messages";
}

TEST_F(MessageDispatchTest, PrepareThreadLocalLooper_WhenCalledTwice_KeepsTheSameLooper) {
    std::thread([] {
        EXPECT_EQ(Looper::getThreadLocalLooper(), nullptr) << "a new thread has no looper";
        ASSERT_EQ(Looper::prepareThreadLocalLooper(), OK);
        std::shared_ptr<Looper> first = Looper::getThreadLocalLooper();
        ASSERT_EQ(Looper::prepareThreadLocalLooper(), OK);
        EXPECT_EQ(Looper::getThreadLocalLooper(), first) << "second prepare replaced the looper";
    }).join();
}

}  // namespace
}  // namespace com::vyr::plim::test

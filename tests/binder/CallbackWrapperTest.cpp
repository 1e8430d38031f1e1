/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The process's callback holders with real proxies for clients in other simulated processes:
// which callback is held, when its death link is made and dropped, what a client's death does,
// and how the holder behaves while responses are being sent from other threads.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"
#include "LogCapture.h"
#include "ModemResponse.h"
#include "ResponseRows.h"
#include "TestClient.h"

namespace com::vyr::plim::modem {
namespace {

using aidl::vendor::vyr::plim::modem::IModemIndication;
using aidl::vendor::vyr::plim::modem::IModemResponse;
using aidl::vendor::vyr::plim::modem::ResponseInfo;
using test::LogCapture;
using test::RecordedCall;
using test::ResponseRow;
using test::TestClient;

constexpr const char* TAG = "modem-impl";
constexpr std::chrono::seconds kTimeout{10};

const std::string kUpdating = "updating callback for vendor.vyr.plim.modem.IModemResponse";

std::string pointerText(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", pointer);
    return text;
}

CallbackWrapper<IModemResponse>& holder() {
    return CallbackHolders::response();
}

std::string diedLine(const char* descriptor, const void* holder) {
    return std::string("client of ") + descriptor + " died, reset callback for " +
           pointerText(holder);
}

std::string unlinkedLine(const char* descriptor, const void* holder) {
    return std::string("binder of ") + descriptor + " unlinked, cookie = " + pointerText(holder);
}

const std::string kResponseDied = diedLine("vendor.vyr.plim.modem.IModemResponse", &holder());
const std::string kResponseUnlinked =
        unlinkedLine("vendor.vyr.plim.modem.IModemResponse", &holder());

ResponseInfo infoFor(int serial) {
    ResponseInfo info;
    info.type = 0;
    info.serial = serial;
    info.error = 0;
    return info;
}

class CallbackWrapperTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // Death notices for the holders' links run on the daemon's binder thread.
        ABinderProcess_setThreadPoolMaxThreadCount(0);
        ABinderProcess_startThreadPool();
        a_.startThreads(2);
        b_.startThreads(2);
    }

    void TearDown() override {
        holder().update(nullptr);
        CallbackHolders::indication().update(nullptr);
        ABinderHost_waitForIdle();
        EXPECT_EQ(nullptr, holder().get()) << "the response holder could not be cleared";
        for (TestClient* client : {&a_, &b_}) {
            EXPECT_EQ(test::texts({}), test::texts(client->takeCalls()))
                    << client->name() << " got responses that no test step sent";
            EXPECT_EQ(0u, client->process().pendingWork())
                    << "responses still queued to " << client->name();
            EXPECT_EQ(0u, client->liveProxies())
                    << "a proxy for " << client->name() << " outlived the holders";
        }
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "death notices still queued to the daemon";
    }

    size_t countImpl(int priority, const std::string& text) const {
        return log_->count(priority, TAG, text);
    }

    // Reset by the test that installs a capture hook of its own.
    std::unique_ptr<LogCapture> log_ = std::make_unique<LogCapture>();
    TestClient a_{"client-a"};
    TestClient b_{"client-b"};
};

TEST_F(CallbackWrapperTest, Update_OnEveryCall_LogsUpdatingLine) {
    holder().update(a_.responseProxy());
    holder().update(a_.responseProxy());  // the same callback again
    holder().update(b_.responseProxy());
    holder().update(nullptr);
    holder().update(nullptr);  // nothing held

    EXPECT_EQ(5u, countImpl(Log::INFO, kUpdating))
            << "an update that changed nothing was not logged\n"
            << log_->dump();
}

TEST_F(CallbackWrapperTest, Update_WhileLoggingUpdatingLine_HolderStaysUnlocked) {
    log_.reset();
    std::atomic<int> updatingLines{0};
    std::atomic<int> lockedWhileLogging{0};
    std::vector<std::future<void>> readers;
    // The hook runs on the updating thread while it writes the line: a reader on another
    // thread must get through the holder's lock meanwhile.
    Log::setCaptureHook([&](int, const char* tag, const std::string& line) {
        if (std::string(tag) != TAG || line != kUpdating) {
            return;
        }
        ++updatingLines;
        readers.push_back(std::async(std::launch::async, [] { holder().get(); }));
        // Ready at once unless update() holds the lock; one wait is enough to tell.
        if (lockedWhileLogging.load() == 0 &&
            readers.back().wait_for(std::chrono::seconds(2)) != std::future_status::ready) {
            ++lockedWhileLogging;
        }
    });
    holder().update(a_.responseProxy());
    holder().update(b_.responseProxy());
    holder().update(nullptr);
    Log::setCaptureHook(nullptr);
    for (std::future<void>& reader : readers) {
        reader.wait();
    }

    EXPECT_EQ(3, updatingLines.load()) << "an update was not logged";
    EXPECT_EQ(0, lockedWhileLogging.load()) << "update logged while holding the holder's lock";
}

TEST_F(CallbackWrapperTest, Update_WhenSameRemoteCallbackSetTwice_LinksOnce) {
    std::shared_ptr<IModemResponse> first = a_.responseProxy();
    std::shared_ptr<IModemResponse> second = a_.responseProxy();
    ASSERT_NE(first, second) << "the two setCallbacks must bring distinct proxy objects";
    ASSERT_EQ(first->asBinder().get(), second->asBinder().get())
            << "the two proxy objects must stand for one remote binder";

    holder().update(first);
    holder().update(second);
    first.reset();
    second.reset();
    EXPECT_EQ(0u, countImpl(Log::WARN, kResponseUnlinked))
            << "setting the held callback again dropped its death link";

    ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    ABinderHost_waitForIdle();
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseDied))
            << "one client death was not reported exactly once\n"
            << log_->dump();
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseUnlinked))
            << "one client had more or fewer than one death link\n"
            << log_->dump();
    EXPECT_EQ(nullptr, holder().get()) << "the dead client's callback is still held";
}

TEST_F(CallbackWrapperTest, Get_WhenCallbackReplacedDuringResponse_CopyStillReachesOldClient) {
    std::weak_ptr<IModemResponse> old;
    {
        std::shared_ptr<IModemResponse> proxy = a_.responseProxy();
        old = proxy;
        holder().update(proxy);
    }
    std::shared_ptr<IModemResponse> inFlight = holder().get();  // what a sender takes
    holder().update(b_.responseProxy());
    ASSERT_FALSE(old.expired()) << "the replaced callback was freed under a sender that uses it";

    EXPECT_TRUE(inFlight->respondSetSarState(infoFor(41)).isOk())
            << "the replaced callback could no longer be called";
    EXPECT_EQ(OK, ModemResponse::respondSetSarState(42, OK)) << "the new callback was not used";
    ABinderHost_waitForIdle();
    EXPECT_EQ(std::vector<std::string>{"client-a: respondSetSarState type=0 serial=41 error=0"},
              test::texts(a_.takeCalls()))
            << "the in-flight response did not reach the old client alone";
    EXPECT_EQ(std::vector<std::string>{"client-b: respondSetSarState type=0 serial=42 error=0"},
              test::texts(b_.takeCalls()))
            << "the later response did not reach the new client alone";

    inFlight.reset();
    EXPECT_TRUE(old.expired()) << "the holder kept a reference to the replaced callback";
}

TEST_F(CallbackWrapperTest, OnClientDied_WhenHeldClientKilled_ClearsHolderAndLaterResponsesDrop) {
    holder().update(a_.responseProxy());
    ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    ABinderHost_waitForIdle();

    EXPECT_EQ(nullptr, holder().get()) << "the dead client's callback is still held";
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseDied))
            << "the death was not reported with the holder as cookie\n"
            << log_->dump();
    EXPECT_EQ(INVALID_STATE, ModemResponse::respondRebootModem(5, OK))
            << "a response after the death was not dropped";
    EXPECT_TRUE(log_->contains(Log::ERROR, "modem-resp",
                               "respondRebootModem: respCb null, can't send response"))
            << log_->dump();
}

TEST_F(CallbackWrapperTest, Update_WhenNewCallbackAfterDeath_ReusesRecipientAndSeesDeathAgain) {
    holder().update(a_.responseProxy());
    AIBinder_DeathRecipient* recipient = holder().getDeathRecipientForTesting();
    ASSERT_NE(nullptr, recipient) << "the first callback got no death recipient";
    ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    ABinderHost_waitForIdle();
    ASSERT_EQ(nullptr, holder().get()) << "the first client's death went unnoticed";

    holder().update(b_.responseProxy());
    EXPECT_EQ(recipient, holder().getDeathRecipientForTesting())
            << "the holder made another death recipient instead of reusing its own";
    ASSERT_TRUE(b_.kill()) << "client B was not alive to be killed";
    ABinderHost_waitForIdle();
    EXPECT_EQ(nullptr, holder().get()) << "the second client's death went unnoticed";
    EXPECT_EQ(2u, countImpl(Log::WARN, kResponseDied))
            << "each of two deaths must be reported once\n"
            << log_->dump();
}

TEST_F(CallbackWrapperTest, Update_WhenEmpty_ClearsAndUnlinks) {
    std::weak_ptr<IModemResponse> old;
    // Dropping a proxy's last reference would also end its links; this one keeps them to the end.
    ndk::SpAIBinder keepAlive;
    {
        std::shared_ptr<IModemResponse> proxy = a_.responseProxy();
        old = proxy;
        keepAlive = proxy->asBinder();
        holder().update(proxy);
    }
    holder().update(nullptr);

    EXPECT_EQ(nullptr, holder().get()) << "an empty update left a callback held";
    EXPECT_TRUE(old.expired()) << "the holder kept a reference to the cleared callback";
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseUnlinked))
            << "the cleared callback was not unlinked once, with the holder as cookie\n"
            << log_->dump();
    holder().update(nullptr);
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseUnlinked)) << "an empty holder unlinked again";

    ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    ABinderHost_waitForIdle();
    EXPECT_EQ(0u, countImpl(Log::WARN, kResponseDied))
            << "the death of a cleared callback still reached the holder";
}

TEST_F(CallbackWrapperTest, Update_WhenReplacedByOtherClient_MovesDeathWatch) {
    std::shared_ptr<IModemResponse> first = a_.responseProxy();
    // Dropping a proxy's last reference would also end its links; this one keeps them to the end.
    ndk::SpAIBinder keepAlive = first->asBinder();
    holder().update(first);
    first.reset();
    std::shared_ptr<IModemResponse> replacement = b_.responseProxy();
    AIBinder* replacementBinder = replacement->asBinder().get();
    holder().update(replacement);
    replacement.reset();
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseUnlinked)) << "the replaced callback stayed linked";

    ASSERT_TRUE(a_.kill()) << "client A was not alive to be killed";
    ABinderHost_waitForIdle();
    EXPECT_EQ(0u, countImpl(Log::WARN, kResponseDied))
            << "the replaced client's death still reached the holder";
    std::shared_ptr<IModemResponse> held = holder().get();
    ASSERT_NE(nullptr, held) << "the replaced client's death cleared its successor";
    EXPECT_EQ(replacementBinder, held->asBinder().get()) << "another callback is held";
    held.reset();
    EXPECT_EQ(OK, ModemResponse::respondSetSarState(7, OK)) << "the successor did not take it";
    ABinderHost_waitForIdle();
    EXPECT_EQ(std::vector<std::string>{"client-b: respondSetSarState type=0 serial=7 error=0"},
              test::texts(b_.takeCalls()))
            << "the response did not reach the successor";

    ASSERT_TRUE(b_.kill()) << "client B was not alive to be killed";
    ABinderHost_waitForIdle();
    EXPECT_EQ(1u, countImpl(Log::WARN, kResponseDied)) << "the held client's death was missed";
    EXPECT_EQ(nullptr, holder().get()) << "the dead successor's callback is still held";
}

TEST_F(CallbackWrapperTest, OnClientDied_WhenIndicationClientDies_ClearsOnlyIndicationHolder) {
    CallbackWrapper<IModemIndication>& indications = CallbackHolders::indication();
    holder().update(a_.responseProxy());
    indications.update(b_.indicationProxy());
    ASSERT_TRUE(b_.kill()) << "client B was not alive to be killed";
    ABinderHost_waitForIdle();

    EXPECT_EQ(nullptr, indications.get()) << "the dead client's indication callback is held";
    EXPECT_NE(nullptr, holder().get()) << "another client's death cleared the response callback";
    EXPECT_EQ(1u, countImpl(Log::WARN,
                            diedLine("vendor.vyr.plim.modem.IModemIndication", &indications)))
            << "the death was not reported for the indication holder\n"
            << log_->dump();
    EXPECT_EQ(0u, countImpl(Log::WARN, kResponseDied))
            << "the death was reported for the response holder";
}

// What one sender thread did, in order.
struct Sent {
    int serial;
    int result;
    uint64_t sequence;  // when the send started, on a counter shared by all senders
    const ResponseRow* row;
};

TEST_F(CallbackWrapperTest, Update_WhileResponsesSentFromManyThreads_AcceptedOnesArriveOnce) {
    constexpr int kSenders = 4;
    constexpr int kMinimumSends = 100;
    constexpr int kMaximumSends = 50000;  // below the 100000 that separates the phases' serials
    const std::vector<const ResponseRow*> rows{
            &test::responseRow("SetSarState"), &test::responseRow("ReadNv"),
            &test::responseRow("GetMbnList"), &test::responseRow("GetQstMode")};
    std::atomic<uint64_t> sequence{0};
    std::atomic<bool> stop{false};

    // Serials: sender in the millions, phase in the hundred-thousands, then a running count.
    auto runSenders = [&](int phase, std::vector<std::vector<Sent>>* sent) {
        sent->assign(kSenders, {});
        std::vector<std::thread> threads;
        for (int id = 0; id < kSenders; ++id) {
            std::vector<Sent>* out = &(*sent)[id];
            threads.emplace_back([&, id, phase, out] {
                for (int i = 0; (i < kMinimumSends || !stop.load()) && i < kMaximumSends; ++i) {
                    const ResponseRow* row = rows[i % rows.size()];
                    const int serial = (id + 1) * 1000000 + phase * 100000 + i;
                    const uint64_t started = sequence.fetch_add(1);
                    out->push_back({serial, row->send(serial, OK, 0), started, row});
                }
            });
        }
        return threads;
    };
    auto waitForSends = [&](uint64_t target) {
        const auto deadline = std::chrono::steady_clock::now() + kTimeout;
        while (sequence.load() < target && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        return sequence.load() >= target;
    };
    // Every call either client received, by serial.
    auto collectArrivals = [&] {
        std::map<int, std::vector<RecordedCall>> bySerial;
        for (TestClient* client : {&a_, &b_}) {
            std::map<int, int> lastPerSender;
            for (RecordedCall& call : client->takeCalls()) {
                int& last = lastPerSender[call.info.serial / 1000000];
                EXPECT_LT(last, call.info.serial)
                        << client->name() << " got one sender's responses out of order";
                last = call.info.serial;
                bySerial[call.info.serial].push_back(std::move(call));
            }
        }
        return bySerial;
    };
    // Checks one phase: `held` names the only client that may have got responses, `deathAt` is
    // the send count once a held client was dead (none if no client died).
    auto verify = [&](const std::vector<std::vector<Sent>>& sent, const std::string& held,
                      uint64_t deathAt) {
        std::map<int, std::vector<RecordedCall>> arrivals = collectArrivals();
        size_t accepted = 0;
        for (const std::vector<Sent>& thread : sent) {
            for (const Sent& s : thread) {
                const std::vector<RecordedCall>& got = arrivals[s.serial];
                if (s.result == OK) {
                    ++accepted;
                    // A client that dies drops the oneway calls still queued to it.
                    EXPECT_TRUE(got.size() == 1 || (got.empty() && deathAt != UINT64_MAX))
                            << "accepted serial " << s.serial << " arrived " << got.size()
                            << " times";
                    EXPECT_GT(deathAt, s.sequence)
                            << "serial " << s.serial << " was accepted after the client died";
                } else {
                    EXPECT_TRUE(s.result == INVALID_STATE ||
                                (s.result == FAILED && deathAt != UINT64_MAX))
                            << "serial " << s.serial << " returned " << s.result;
                    EXPECT_TRUE(got.empty()) << "serial " << s.serial << " failed yet arrived";
                }
                for (const RecordedCall& call : got) {
                    EXPECT_TRUE(held.empty() || call.process == held)
                            << "a response reached a client that was not held: " << call.text();
                    EXPECT_TRUE(call.method == s.row->method() && call.info.type == 0 &&
                                call.info.error == 0 && call.result == s.row->result[0])
                            << "changed on the way: " << call.text();
                }
                arrivals.erase(s.serial);
            }
        }
        EXPECT_GT(accepted, 0u) << "no response was ever accepted: the phase exercised nothing";
        EXPECT_TRUE(arrivals.empty()) << "a client got a response nobody sent, e.g. serial "
                                      << (arrivals.empty() ? 0 : arrivals.begin()->first);
    };

    // Phase 1: both clients alive; the callback is replaced all the time once the senders run.
    holder().update(a_.responseProxy());
    std::vector<std::vector<Sent>> phase1;
    std::vector<std::thread> senders = runSenders(1, &phase1);
    // No ASSERT while threads run: leaving them unjoined would abort the whole run.
    EXPECT_TRUE(waitForSends(kSenders * 10)) << "the senders did not get going";
    std::thread replacer([&] {
        for (int k = 0; k < 150 || sequence.load() < kSenders * kMinimumSends; ++k) {
            switch (k % 5) {
                case 0:
                case 4:
                    holder().update(a_.responseProxy());
                    break;
                case 1:
                case 2:  // the same client twice in a row
                    holder().update(b_.responseProxy());
                    break;
                default:
                    holder().update(nullptr);
                    break;
            }
        }
    });
    replacer.join();
    stop = true;
    for (std::thread& t : senders) {
        t.join();
    }
    ABinderHost_waitForIdle();

    verify(phase1, "", UINT64_MAX);

    // Phase 2: client A held; both clients die while the senders keep going.
    holder().update(a_.responseProxy());
    stop = false;
    const uint64_t phase2Start = sequence.load();
    std::vector<std::vector<Sent>> phase2;
    senders = runSenders(2, &phase2);
    EXPECT_TRUE(waitForSends(phase2Start + kSenders * 20)) << "the senders did not get going";
    EXPECT_TRUE(a_.kill()) << "client A was not alive to be killed";
    const uint64_t afterKill = sequence.load();
    EXPECT_TRUE(b_.kill()) << "client B was not alive to be killed";
    const bool sentAfterKill = waitForSends(afterKill + kSenders * 20);
    stop = true;
    for (std::thread& t : senders) {
        t.join();
    }
    ASSERT_TRUE(sentAfterKill) << "the senders stopped before the clients died";
    ABinderHost_waitForIdle();

    verify(phase2, "client-a", afterKill);
    EXPECT_EQ(nullptr, holder().get()) << "the dead client's callback is still held";
    EXPECT_EQ(INVALID_STATE, ModemResponse::respondSetSarState(1, OK))
            << "a response after the death notice was not dropped";
}

}  // namespace
}  // namespace com::vyr::plim::modem

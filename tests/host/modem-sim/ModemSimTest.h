/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What every fixture of the simulated library shares: a log of delivered events, power-on state
// before each case, and a check after it that the library finished all it had set off.

#pragma once

#include <gtest/gtest.h>
#include <modem_api.h>
#include <modem_sim/ModemSimControl.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

// The event callback is a plain function with no user data, hence one process-wide log.
class EventLog {
  public:
    static EventLog& instance() {
        static EventLog* log = new EventLog();  // outlives library threads still running at exit
        return *log;
    }
    /** The callback to hand to modem_api_set_event_callback. */
    static void callback(modem_api_event_type event, void* data, size_t len) {
        EventLog& log = instance();
        int32_t id = -1;
        if (data != nullptr && len == sizeof(id))
            std::memcpy(&id, data, sizeof(id));
        std::lock_guard<std::mutex> lock(log.mMutex);
        log.mLines.push_back(describe(event, static_cast<uint8_t*>(data), len, id));
        log.offThread += modemsim::Control::isLibraryThread() ? 0 : 1;
        log.mChanged.notify_all();
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mLines.clear();
        offThread = 0;
    }
    std::atomic<int> offThread{0};  // events delivered on a thread not the library's

    std::vector<std::string> lines() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mLines;
    }
    /** False if fewer than `count` events arrived within a generous bound. */
    bool waitForCount(size_t count) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::seconds(10),
                                 [&] { return mLines.size() >= count; });
    }

  private:
    // "connected 3" or "disconnected 3" for a connection event with a 4-byte id, otherwise the
    // event and its bytes: "event 18: 1 2 3", "event 17: null, 4".
    static std::string describe(modem_api_event_type event, const uint8_t* data, size_t len,
                                int32_t id) {
        if (id >= 0 && event == MODEM_API_EVENT_SERVICE_CONNECTED)
            return "connected " + std::to_string(id);
        if (id >= 0 && event == MODEM_API_EVENT_SERVICE_DISCONNECTED)
            return "disconnected " + std::to_string(id);
        std::string line = "event " + std::to_string(event) + ":";
        if (data == nullptr)
            return line + " null, " + std::to_string(len);
        for (size_t i = 0; i < len; ++i)
            line += " " + std::to_string(data[i]);
        return line;
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<std::string> mLines;
};

/** Names a parameterised case after its row's `name`. */
struct RowName {
    template <typename Row>
    std::string operator()(const ::testing::TestParamInfo<Row>& info) const {
        return info.param.name;
    }
};

template <typename Base = ::testing::Test>
class ModemSimTest : public Base {
  protected:
    using Clock = std::chrono::steady_clock;

    void SetUp() override {
        modemsim::Control::reset();
        // Only the delay cases wait for connections.
        modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
        EventLog::instance().clear();
    }
    void TearDown() override {
        EXPECT_TRUE(modemsim::Control::waitForIdle())
                << "the library still had events, checks or replies pending at the end";
        EXPECT_EQ(0, EventLog::instance().offThread.load())
                << "an event ran on a thread not the library's";
        modemsim::Control::reset();  // stops the library's threads: none left running at exit
    }

    /** Starts the library as the daemon does: start, callback, connection events. */
    static void startLibrary(modem_api_event_cb callback = &EventLog::callback,
                             bool subscribeDisconnected = true) {
        ASSERT_EQ(MODEM_API_SUCCESS, modem_api_init_pre()) << "the library did not start";
        ASSERT_EQ(MODEM_API_SUCCESS, modem_api_set_event_callback(callback)) << "callback refused";
        ASSERT_EQ(MODEM_API_SUCCESS, modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_CONNECTED))
                << "subscribing event 0 failed";
        if (subscribeDisconnected) {
            ASSERT_EQ(MODEM_API_SUCCESS,
                      modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_DISCONNECTED))
                    << "subscribing event 1 failed";
        }
    }

    /** Requests the services and waits until the library has reported them. */
    static void connect(std::initializer_list<int32_t> services) {
        for (int32_t service : services) {
            ASSERT_EQ(MODEM_API_SUCCESS, modem_api_init_qmi_connection(service, 0))
                    << "requesting service " << service << " failed";
        }
        ASSERT_TRUE(modemsim::Control::waitForIdle()) << "the connections never settled";
        for (int32_t service : services) {
            ASSERT_TRUE(modemsim::Control::isConnected(service))
                    << "service " << service << " did not connect";
        }
    }

    static Clock::duration since(Clock::time_point start) { return Clock::now() - start; }
};

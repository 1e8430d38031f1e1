/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What every fixture of the simulated library shares: a log of connection events, power-on state
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
    /** For modem_api_set_event_callback: logs "connected 3" or "disconnected 3". */
    static void callback(modem_api_event_type event, void* data, size_t len) {
        EventLog& log = instance();
        int32_t id = -1;
        if (data != nullptr && len == sizeof(id))
            std::memcpy(&id, data, sizeof(id));
        std::lock_guard<std::mutex> lock(log.mMutex);
        log.mLines.push_back(
                (event == MODEM_API_EVENT_SERVICE_CONNECTED ? "connected " : "disconnected ") +
                std::to_string(id));
        log.offThread += modemsim::Control::isLibraryThread() ? 0 : 1;
        log.mChanged.notify_all();
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mLines.clear();
        offThread = 0;
    }
    std::atomic<int> offThread{0};  // events delivered on a thread not the library's

    /** The events so far, once `count` have come or a generous bound has passed. */
    std::vector<std::string> lines(size_t count = 0) {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait_for(lock, std::chrono::seconds(10), [&] { return mLines.size() >= count; });
        return mLines;
    }

  private:
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
    static void startLibrary() {
        ASSERT_EQ(MODEM_API_SUCCESS, modem_api_init_pre()) << "the library did not start";
        ASSERT_EQ(MODEM_API_SUCCESS, modem_api_set_event_callback(&EventLog::callback))
                << "callback refused";
        ASSERT_TRUE(!modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_CONNECTED) &&
                    !modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_DISCONNECTED))
                << "subscribing the connection events failed";
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
};

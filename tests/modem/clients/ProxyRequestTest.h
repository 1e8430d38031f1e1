/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A whole daemon instance 0 and one binder client in a process of its own: requests go through
// a real proxy, the main looper and the simulated modem library. Ends by checking that nothing
// was answered twice or unasked and that nothing is still queued to the client.

#pragma once

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "DaemonHarness.h"
#include "LogCapture.h"
#include "TestClient.h"

namespace com::vyr::plim::test {

using Bytes = std::vector<uint8_t>;

inline Bytes bytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

/** `size` bytes that differ from their neighbours and include 0x00 and 0xFF. */
inline Bytes pattern(size_t size) {
    Bytes data(size);
    for (size_t i = 0; i < size; ++i) {
        data[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    return data;
}

/** A response as the client records it. */
inline std::string response(const std::string& method, int serial, int error,
                            const std::string& result = "") {
    return "client: " + method + " type=0 serial=" + std::to_string(serial) +
           " error=" + std::to_string(error) + (result.empty() ? "" : " result=" + result);
}

class ProxyRequestTest : public ::testing::Test {
  protected:
    using IModem = aidl::vendor::vyr::plim::modem::IModem;

    void SetUp() override {
        ASSERT_EQ(0, daemon_.makeResult()) << log_.dump();
        client_.startThreadPool(1);
        modem_ = client_.connect(0);
        ASSERT_NE(nullptr, modem_) << "the daemon's service is not registered";
        daemon_.waitForIdle();
        modemsim::Control::clearCalls();
    }

    void TearDown() override {
        daemon_.waitForIdle();
        EXPECT_EQ(texts({}), texts(client_.takeCalls()))
                << "responses that no request asked for (or a second answer to a serial)";
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(client_.get()))
                << "responses still queued to the client";
    }

    /** Sends `requests` from the client's process; returns the `count` responses they bring. */
    std::vector<std::string> exchange(const std::function<void(IModem&)>& requests, size_t count) {
        client_.run([&] { requests(*modem_); });
        EXPECT_TRUE(client_.waitForCalls(count)) << "a request was never answered";
        daemon_.waitForIdle();
        return texts(client_.takeCalls());
    }

    std::string ask(const std::function<void(IModem&)>& request) {
        std::vector<std::string> responses = exchange(request, 1);
        return responses.size() == 1 ? responses[0] : "not exactly one response";
    }

    /** Whether a line logged under `tag` contains `fragment`. */
    bool logged(const char* tag, const std::string& fragment) const {
        const std::vector<std::string> lines = log_.texts(tag);
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(fragment) != std::string::npos;
        });
    }

    LogCapture log_;
    DaemonHarness daemon_{0};
    TestClient client_{"client"};
    std::shared_ptr<IModem> modem_;
};

}  // namespace com::vyr::plim::test

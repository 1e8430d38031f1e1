/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A connection's reading buffer: frames that straddle reads, outgrow the buffer, or arrive
// several to a read must come out whole, in order, and nothing more.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Frame.h"
#include "SocketConnection.h"

namespace {

using hostbinder::Frame;
using hostbinder::FrameType;
using hostbinder::SocketConnection;

constexpr size_t kReadChunk = 64 * 1024;  // what the connection asks of each read

struct BufferCase {
    const char* name;
    std::vector<size_t> payloadSizes;  // sent back to back, in one go
};

class SocketConnectionBufferTest : public ::testing::TestWithParam<BufferCase> {
  protected:
    void SetUp() override {
        int fds[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds)) << "socketpair";
        mReader = std::make_unique<SocketConnection>(fds[0]);
        mWriter = fds[1];
    }

    void TearDown() override {
        if (mWriter >= 0)
            close(mWriter);
        // Nothing may be left over once the writer is gone.
        Frame extra;
        EXPECT_EQ(SocketConnection::ReadResult::kClosed, mReader->receive(&extra))
                << "a frame came out that was never sent";
    }

    static Frame frameOf(size_t payloadSize, uint64_t txnId) {
        Frame frame;
        frame.type = FrameType::kTransaction;
        frame.txnId = txnId;
        frame.target = 7;
        frame.payload.resize(payloadSize);
        for (size_t i = 0; i < payloadSize; ++i)
            frame.payload[i] = static_cast<uint8_t>(i * 31 + txnId);
        return frame;
    }

    std::unique_ptr<SocketConnection> mReader;
    int mWriter = -1;
};

TEST_P(SocketConnectionBufferTest, Receive_ReturnsEveryFrameWholeAndInOrder) {
    const std::vector<size_t>& sizes = GetParam().payloadSizes;
    std::vector<uint8_t> stream;
    for (size_t i = 0; i < sizes.size(); ++i) {
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(hostbinder::encodeFrame(frameOf(sizes[i], i + 1), &bytes)) << "frame " << i;
        stream.insert(stream.end(), bytes.begin(), bytes.end());
    }
    // Written from another thread: the socket holds less than the larger cases send.
    std::thread writer([&] {
        size_t sent = 0;
        while (sent < stream.size()) {
            const ssize_t n = write(mWriter, stream.data() + sent, stream.size() - sent);
            if (n <= 0)
                break;
            sent += static_cast<size_t>(n);
        }
        close(mWriter);
    });
    for (size_t i = 0; i < sizes.size(); ++i) {
        Frame frame;
        ASSERT_EQ(SocketConnection::ReadResult::kFrame, mReader->receive(&frame))
                << "frame " << i << " of " << sizes.size() << " never came out";
        EXPECT_EQ(i + 1, frame.txnId) << "frames out of order at " << i;
        EXPECT_EQ(frameOf(sizes[i], i + 1).payload, frame.payload)
                << "payload of frame " << i << " garbled (buffer moved or grown wrongly)";
    }
    writer.join();
    mWriter = -1;
}

INSTANTIATE_TEST_SUITE_P(
        Sizes, SocketConnectionBufferTest,
        ::testing::Values(BufferCase{"ManySmallInOneRead", {0, 1, 100, 7, 160, 3}},
                          BufferCase{"AroundOneRead", {kReadChunk - 100, kReadChunk, 50}},
                          BufferCase{"LargerThanTheBuffer", {10, 3 * kReadChunk + 5, 10}},
                          BufferCase{"GrowsTwice", {kReadChunk * 2, 10, kReadChunk * 5, 1}}),
        [](const auto& info) { return std::string(info.param.name); });

}  // namespace

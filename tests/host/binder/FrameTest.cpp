/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Frames on the wire. The codec against what a broken or hostile peer sends: every truncation,
// every field out of range, and random bytes, none of which may crash it or be taken as a frame.
// Then a connection's reading buffer: frames that straddle reads, outgrow the buffer, or arrive
// several to a read must come out whole, in order, and nothing more.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Frame.h"
#include "SocketConnection.h"

namespace {

using hostbinder::decodeFrame;
using hostbinder::DecodeResult;
using hostbinder::encodeFrame;
using hostbinder::Frame;
using hostbinder::FrameObject;
using hostbinder::FrameType;
using hostbinder::ObjectKind;
using hostbinder::SocketConnection;

Frame transactionWithObjects() {
    Frame frame;
    frame.type = FrameType::kTransaction;
    frame.code = 0x00ffffff;
    frame.flags = 0x11;
    frame.txnId = 0x0102030405060708ull;
    frame.target = 0x8877665544332211ull;
    frame.payload.assign(40, 0xab);
    frame.objects = {{0, ObjectKind::kSenderObject, 7},
                     {8, ObjectKind::kReceiverObject, 0xfffffffffull},
                     {32, ObjectKind::kNull, 0}};
    return frame;
}

std::vector<uint8_t> encoded(const Frame& frame) {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(encodeFrame(frame, &bytes)) << "a valid frame must encode";
    return bytes;
}

void expectSame(const Frame& want, const Frame& got) {
    EXPECT_EQ(want.type, got.type) << "type";
    EXPECT_EQ(want.code, got.code) << "code";
    EXPECT_EQ(want.flags, got.flags) << "flags";
    EXPECT_EQ(want.txnId, got.txnId) << "txnId";
    EXPECT_EQ(want.target, got.target) << "target";
    EXPECT_EQ(want.payload, got.payload) << "payload";
    ASSERT_EQ(want.objects.size(), got.objects.size()) << "object count";
    for (size_t i = 0; i < want.objects.size(); ++i) {
        EXPECT_EQ(want.objects[i].offset, got.objects[i].offset) << "offset of object " << i;
        EXPECT_EQ(want.objects[i].kind, got.objects[i].kind) << "kind of object " << i;
        EXPECT_EQ(want.objects[i].id, got.objects[i].id) << "id of object " << i;
    }
}

TEST(FrameTest, Decode_WhenFramesFollowEachOther_ReturnsEachWithItsSize) {
    Frame hello;
    hello.type = FrameType::kHello;
    hello.payload = {'p', '1'};
    Frame empty;
    empty.type = FrameType::kRelease;
    Frame transaction = transactionWithObjects();
    std::vector<uint8_t> stream;
    for (const Frame* frame : {&hello, &transaction, &empty})
        ASSERT_TRUE(encodeFrame(*frame, &stream)) << "encoding appends";

    size_t at = 0;
    for (const Frame* want : {&hello, &transaction, &empty}) {
        Frame got;
        size_t consumed = 0;
        ASSERT_EQ(DecodeResult::kOk,
                  decodeFrame(stream.data() + at, stream.size() - at, &got, &consumed))
                << "frame at " << at;
        expectSame(*want, got);
        at += consumed;
    }
    EXPECT_EQ(stream.size(), at) << "the frames use up the stream exactly";
}

TEST(FrameTest, Decode_WhenTruncatedAnywhere_WaitsForMoreAndNeverDecodes) {
    const std::vector<uint8_t> bytes = encoded(transactionWithObjects());
    for (size_t size = 0; size < bytes.size(); ++size) {
        Frame frame;
        size_t consumed = 0;
        EXPECT_EQ(DecodeResult::kNeedMore, decodeFrame(bytes.data(), size, &frame, &consumed))
                << "a valid frame cut to " << size << " of " << bytes.size() << " bytes";
    }
}

struct CorruptRow {
    const char* name;
    size_t at;
    std::vector<uint8_t> bytes;  // written at `at`
    friend void PrintTo(const CorruptRow& row, std::ostream* os) { *os << row.name; }
};

class FrameCorruptionTest : public ::testing::TestWithParam<CorruptRow> {};

// Header: length 0-3, type 4, reserved 5, count 6-7, code 8, flags 12, txn 16, target 24;
// table from 32, 16 bytes per entry (offset, kind, reserved, id); payload after three entries.
INSTANTIATE_TEST_SUITE_P(Fields, FrameCorruptionTest,
                         ::testing::Values(CorruptRow{"LengthShorterThanHeader", 0, {27, 0, 0, 0}},
                                           CorruptRow{"LengthOverLimit", 0, {1, 0, 0x10, 0}},
                                           CorruptRow{"LengthHuge", 0, {0xff, 0xff, 0xff, 0xff}},
                                           CorruptRow{"TypeZero", 4, {0}},
                                           CorruptRow{"TypeUnknown", 4, {99}},
                                           CorruptRow{"ReservedSet", 5, {1}},
                                           CorruptRow{"TableLongerThanFrame", 6, {0xff, 0x00}},
                                           CorruptRow{"TooManyObjects", 6, {0xff, 0xff}},
                                           CorruptRow{"OffsetUnaligned", 32, {2}},
                                           CorruptRow{"OffsetsOverlap", 48, {4}},
                                           CorruptRow{"OffsetsOutOfOrder", 64, {0}},
                                           CorruptRow{"OffsetPastPayload", 64, {36}},
                                           CorruptRow{"KindUnknown", 36, {3, 0}},
                                           CorruptRow{"EntryReservedSet", 38, {0, 1}}),
                         [](const ::testing::TestParamInfo<CorruptRow>& info) {
                             return info.param.name;
                         });

TEST_P(FrameCorruptionTest, Decode_WhenFieldIsCorrupt_IsMalformed) {
    std::vector<uint8_t> bytes = encoded(transactionWithObjects());
    const CorruptRow& row = GetParam();
    std::memcpy(bytes.data() + row.at, row.bytes.data(), row.bytes.size());
    Frame frame;
    size_t consumed = 0;
    EXPECT_EQ(DecodeResult::kMalformed, decodeFrame(bytes.data(), bytes.size(), &frame, &consumed))
            << row.name << " must not pass as a frame";
    // Judged from the header alone where it can be, so that a peer cannot make us wait on a lie.
    if (row.at < hostbinder::kFrameHeaderSize) {
        EXPECT_EQ(DecodeResult::kMalformed,
                  decodeFrame(bytes.data(), hostbinder::kFrameHeaderSize, &frame, &consumed))
                << row.name << " is visible in the header";
    }
}

TEST(FrameTest, Encode_WhenFrameBreaksTheRules_RefusesIt) {
    struct Row {
        const char* name;
        void (*spoil)(Frame*);
    };
    const Row rows[] = {
            {"object past payload",
             [](Frame* f) {
                 f->objects.push_back({36, ObjectKind::kNull, 0});
             }},
            {"objects overlap", [](Frame* f) { f->objects[1].offset = 4; }},
            {"payload over limit",
             [](Frame* f) { f->payload.resize(hostbinder::kMaxFrameLength); }},
            {"unknown type", [](Frame* f) { f->type = static_cast<FrameType>(0); }},
    };
    for (const Row& row : rows) {
        Frame frame = transactionWithObjects();
        row.spoil(&frame);
        std::vector<uint8_t> bytes{1, 2};
        EXPECT_FALSE(encodeFrame(frame, &bytes)) << row.name;
        EXPECT_EQ(2u, bytes.size()) << row.name << ": a refused frame writes nothing";
    }
}

// Random bytes, and valid frames with random bytes flipped: whatever decodes must be a frame
// that encodes back to exactly the bytes it came from.
TEST(FrameTest, Decode_WhenBytesAreRandom_NeverCrashesAndOnlyAcceptsCanonicalFrames) {
    std::mt19937 random(20260501);
    const std::vector<uint8_t> valid = encoded(transactionWithObjects());
    size_t accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        std::vector<uint8_t> bytes;
        if (round % 2 == 0) {
            bytes.resize(random() % 96);
            for (uint8_t& byte : bytes)
                byte = static_cast<uint8_t>(random());
            // Plausible lengths reach past the first check more often.
            if (bytes.size() >= 4 && round % 4 == 0) {
                const uint32_t length = static_cast<uint32_t>(bytes.size() - 4);
                std::memcpy(bytes.data(), &length, 4);
            }
        } else {
            bytes = valid;
            for (int flips = 1 + random() % 3; flips > 0; --flips)
                bytes[random() % bytes.size()] ^= static_cast<uint8_t>(1u << (random() % 8));
        }
        Frame frame;
        size_t consumed = 0;
        if (decodeFrame(bytes.data(), bytes.size(), &frame, &consumed) != DecodeResult::kOk)
            continue;
        ++accepted;
        ASSERT_LE(consumed, bytes.size()) << "round " << round;
        std::vector<uint8_t> again;
        ASSERT_TRUE(encodeFrame(frame, &again))
                << "round " << round << ": decoded but not encodable";
        ASSERT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<long>(consumed)),
                  again)
                << "round " << round << ": decoding is not the inverse of encoding";
    }
    EXPECT_GT(accepted, 0u) << "flipping payload bytes leaves valid frames: the loop must see some";
}

// ---- SocketConnection: its reading buffer -------------------------------------------------------

constexpr size_t kReadChunk = 64 * 1024;  // what the connection asks of each read

struct BufferCase {
    const char* name;
    std::vector<size_t> payloadSizes;  // sent back to back, in one go
    friend void PrintTo(const BufferCase& row, std::ostream* os) { *os << row.name; }
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

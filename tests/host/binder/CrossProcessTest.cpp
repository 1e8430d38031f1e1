/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What only the socket transport between real processes has: malformed frames, at the codec (every
// truncation, every field out of range; random streams are the frame fuzzer's) and from a hostile
// stream. What both transports have is in the shared suites.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "Frame.h"
#include "OtherProcess.h"
#include "SocketTransport.h"

namespace {

using hostbinder::decodeFrame;
using hostbinder::DecodeResult;
using hostbinder::encodeFrame;
using hostbinder::Frame;
using hostbinder::FrameType;
using hostbinder::ObjectKind;

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
INSTANTIATE_TEST_SUITE_P(
        Fields, FrameCorruptionTest,
        ::testing::Values(
                CorruptRow{"LengthShorterThanHeader", 0, {27, 0, 0, 0}},
                CorruptRow{"LengthOverLimit", 0, {1, 0, 0x10, 0}}, CorruptRow{"TypeZero", 4, {0}},
                CorruptRow{"TypeUnknown", 4, {99}}, CorruptRow{"ReservedSet", 5, {1}},
                CorruptRow{"TableLongerThanFrame", 6, {0xff, 0x00}},
                CorruptRow{"TooManyObjects", 6, {0xff, 0xff}},
                CorruptRow{"OffsetUnaligned", 32, {2}}, CorruptRow{"OffsetsOverlap", 48, {4}},
                CorruptRow{"OffsetsOutOfOrder", 64, {0}}, CorruptRow{"OffsetPastPayload", 64, {36}},
                CorruptRow{"KindUnknown", 36, {3, 0}}, CorruptRow{"EntryReservedSet", 38, {0, 1}}),
        [](const ::testing::TestParamInfo<CorruptRow>& info) { return info.param.name; });

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

// A socket name of this process, as the transport names them (not this process's own socket).
std::string ownName() {
    return "p" + std::to_string(getpid()) + "-0123456789abcdef";
}

// Raw connections to this process's socket sending what no binder process sends.
struct BadStream {
    const char* name;
    bool hello;  // a valid hello first
    std::vector<uint8_t> bytes;
    friend void PrintTo(const BadStream& row, std::ostream* os) { *os << row.name; }
};

std::vector<uint8_t> helloFrom(const std::string& name) {
    Frame hello;
    hello.type = FrameType::kHello;
    hello.payload.assign(name.begin(), name.end());
    return encoded(hello);
}

// The other process calls back into this one through its socket once the bad stream is done.
class CrossProcessStreamTest : public TwoProcessTest,
                               public ::testing::WithParamInterface<BadStream> {
  protected:
    void SetUp() override { startOther(TransportKind::kSocket); }
};

INSTANTIATE_TEST_SUITE_P(
        Streams, CrossProcessStreamTest,
        ::testing::Values(
                BadStream{"Garbage", false, std::vector<uint8_t>(64, 0xee)},
                BadStream{"TruncatedHello", false, {40, 0, 0, 0, 1, 0}},
                BadStream{"HelloForAnotherPid", false, helloFrom("p1-0123456789abcdef")},
                BadStream{"HelloNotAName", false, helloFrom("../../etc/passwd")},
                BadStream{"TransactionBeforeHello", false,
                          encoded({FrameType::kTransaction, 1, 0, 1, 1, {}, {}})},
                BadStream{"TruncatedTransaction", true, {60, 0, 0, 0, 2, 0, 0, 0, 1}},
                BadStream{"GarbageAfterHello", true, std::vector<uint8_t>(40, 0xff)},
                BadStream{"ReplyToNothing", true, encoded({FrameType::kReply, 0, 0, 5, 0, {}, {}})},
                BadStream{"OnewayWithTxnId", true,
                          encoded({FrameType::kTransaction, 1, FLAG_ONEWAY, 9, 1, {}, {}})},
                BadStream{"HelloTwice", true, helloFrom(ownName())}),
        [](const ::testing::TestParamInfo<BadStream>& info) { return info.param.name; });

TEST_P(CrossProcessStreamTest, Connection_WhenStreamIsBad_ClosesOnlyThatConnection) {
    const BadStream& row = GetParam();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0) << strerror(errno);
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, hostbinder::SocketTransport::instance()->path().c_str(),
                 sizeof(address.sun_path) - 1);
    ASSERT_EQ(0, connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)))
            << strerror(errno);
    std::vector<uint8_t> bytes = row.hello ? helloFrom(ownName()) : std::vector<uint8_t>();
    bytes.insert(bytes.end(), row.bytes.begin(), row.bytes.end());
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    if (row.name == std::string("TruncatedHello") ||
        row.name == std::string("TruncatedTransaction"))
        shutdown(fd, SHUT_WR);  // the rest never comes

    timeval timeout{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    uint8_t byte = 0;
    EXPECT_EQ(0, recv(fd, &byte, 1, 0))
            << row.name << ": the connection must be closed, unanswered";
    close(fd);

    // The peer connects to this process only now, to call the object it is given.
    ndk::SpAIBinder local = testobject::create([](auto, const AParcel* in, AParcel* out) {
        int32_t value = 0;
        AParcel_readInt32(in, &value);
        return AParcel_writeInt32(out, value * 2);
    });
    ndk::ScopedAParcel reply;
    int32_t answer = 0;
    EXPECT_TRUE(callWith(peer, xproc::kCallBack, {5}, &reply, 0, local.get()) == STATUS_OK &&
                AParcel_readInt32(reply.get(), &answer) == STATUS_OK && answer == 10)
            << row.name << ": others must still reach this process";
}

}  // namespace

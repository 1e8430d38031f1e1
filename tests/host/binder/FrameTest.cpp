/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The frame codec against what a broken or hostile peer sends: every truncation, every field
// out of range, and random bytes, none of which may crash it or be taken as a frame.

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <random>

#include "Frame.h"

namespace {

using hostbinder::decodeFrame;
using hostbinder::DecodeResult;
using hostbinder::encodeFrame;
using hostbinder::Frame;
using hostbinder::FrameObject;
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
};

void PrintTo(const CorruptRow& row, std::ostream* os) {
    *os << row.name;
}

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

}  // namespace

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The frames processes exchange over their binder sockets, and their codec.
//
// Every frame is a little-endian header, an object table and the payload:
//
//   u32 length       bytes after this field (header rest + table + payload), at most kMaxLength
//   u8  type         FrameType
//   u8  reserved     0
//   u16 objectCount  entries in the object table
//   u32 code         transaction code; a reply's status; a release's count
//   u32 flags        transaction flags
//   u64 txnId        pairs a reply with its two-way call (0: oneway, nothing answers)
//   u64 target       object id the frame is about (sender's view, see FrameObject); a count
//   objectCount x { u32 offset, u16 kind, u16 reserved 0, u64 id }
//   payload          the parcel's bytes
//
// The object table says where binders sit in the payload (the parcel keeps them beside its
// bytes, so a binder cannot be forged by writing integers). Offsets are 4-aligned, strictly
// increasing, at least 8 apart (a binder's size in a parcel) and inside the payload.
//
// Decoding never trusts the peer: any inconsistency is kMalformed, after which the stream is
// out of step and the connection must go.
//
// Threads: stateless functions, any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hostbinder {

enum class FrameType : uint8_t {
    // First frame on a connection: the payload is the sender's socket name.
    kHello = 1,
    // A call on object target; a reply follows unless txnId is 0.
    kTransaction = 2,
    // The answer to txnId: code is the status, the payload the reply parcel.
    kReply = 3,
    // The sender dropped code references to its receiver's object target.
    kRelease = 4,
    // Asks for the service named by the payload; answered by a reply holding one binder.
    kLookup = 5,
    // Answers oneway transactions that have left the receiver's queue (run or dropped): target
    // is how many of their bytes the sender may queue again.
    kOnewayDone = 6,
};

enum class ObjectKind : uint16_t {
    // A null binder written where a binder was.
    kNull = 0,
    // An object owned by the frame's sender: the receiver makes a proxy for it.
    kSenderObject = 1,
    // An object owned by the frame's receiver, coming back home.
    kReceiverObject = 2,
};

struct FrameObject {
    uint32_t offset = 0;
    ObjectKind kind = ObjectKind::kNull;
    uint64_t id = 0;
};

struct Frame {
    FrameType type = FrameType::kTransaction;
    uint32_t code = 0;
    uint32_t flags = 0;
    uint64_t txnId = 0;
    uint64_t target = 0;
    std::vector<FrameObject> objects;
    std::vector<uint8_t> payload;
};

// The length field plus the fixed header.
constexpr size_t kFrameHeaderSize = 4 + 1 + 1 + 2 + 4 + 4 + 8 + 8;
constexpr size_t kFrameObjectSize = 4 + 2 + 2 + 8;
// A transaction buffer's worth of payload plus room for its table.
constexpr size_t kMaxFrameLength = 1024 * 1024;
constexpr size_t kMaxFrameObjects = 4096;

enum class DecodeResult {
    kOk,
    // A valid prefix of a frame: wait for more bytes.
    kNeedMore,
    kMalformed,
};

// Whether the frame keeps the rules above (size, object table), so that encodeFrame takes it.
bool isEncodable(const Frame& frame);

// False if the frame breaks the rules above, and then out is untouched.
bool encodeFrame(const Frame& frame, std::vector<uint8_t>* out);

// Decodes the frame at the start of bytes; on kOk *consumed is its size.
DecodeResult decodeFrame(const uint8_t* bytes, size_t size, Frame* frame, size_t* consumed);

}  // namespace hostbinder

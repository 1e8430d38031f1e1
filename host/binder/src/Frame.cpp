/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Frame.h"

namespace hostbinder {

namespace {

constexpr size_t kBinderSizeInParcel = 8;

void put(std::vector<uint8_t>* out, uint64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i)
        out->push_back(static_cast<uint8_t>(value >> (8 * i)));
}

uint64_t get(const uint8_t* at, size_t bytes) {
    uint64_t value = 0;
    for (size_t i = 0; i < bytes; ++i)
        value |= static_cast<uint64_t>(at[i]) << (8 * i);
    return value;
}

bool isKnownType(uint8_t type) {
    return type >= static_cast<uint8_t>(FrameType::kHello) &&
           type <= static_cast<uint8_t>(FrameType::kOnewayDone);
}

bool isKnownKind(uint16_t kind) {
    return kind <= static_cast<uint16_t>(ObjectKind::kReceiverObject);
}

// The table rules shared by both directions, so that whatever encodes also decodes.
bool isValidTable(const std::vector<FrameObject>& objects, size_t payloadSize) {
    if (objects.size() > kMaxFrameObjects)
        return false;
    uint64_t minOffset = 0;
    for (const FrameObject& object : objects) {
        if (object.offset % 4 != 0 || object.offset < minOffset ||
            object.offset + kBinderSizeInParcel > payloadSize ||
            !isKnownKind(static_cast<uint16_t>(object.kind))) {
            return false;
        }
        minOffset = static_cast<uint64_t>(object.offset) + kBinderSizeInParcel;
    }
    return true;
}

}  // namespace

bool isEncodable(const Frame& frame) {
    const size_t length =
            kFrameHeaderSize - 4 + frame.objects.size() * kFrameObjectSize + frame.payload.size();
    return length <= kMaxFrameLength && isKnownType(static_cast<uint8_t>(frame.type)) &&
           isValidTable(frame.objects, frame.payload.size());
}

bool encodeFrame(const Frame& frame, std::vector<uint8_t>* out) {
    if (!isEncodable(frame))
        return false;
    const size_t length =
            kFrameHeaderSize - 4 + frame.objects.size() * kFrameObjectSize + frame.payload.size();
    out->reserve(out->size() + length + 4);
    put(out, length, 4);
    put(out, static_cast<uint8_t>(frame.type), 1);
    put(out, 0, 1);
    put(out, frame.objects.size(), 2);
    put(out, frame.code, 4);
    put(out, frame.flags, 4);
    put(out, frame.txnId, 8);
    put(out, frame.target, 8);
    for (const FrameObject& object : frame.objects) {
        put(out, object.offset, 4);
        put(out, static_cast<uint16_t>(object.kind), 2);
        put(out, 0, 2);
        put(out, object.id, 8);
    }
    out->insert(out->end(), frame.payload.begin(), frame.payload.end());
    return true;
}

DecodeResult decodeFrame(const uint8_t* bytes, size_t size, Frame* frame, size_t* consumed) {
    if (size < 4)
        return DecodeResult::kNeedMore;
    const size_t length = static_cast<size_t>(get(bytes, 4));
    // Judged before waiting for the rest, so that a lying length cannot make us buffer forever.
    if (length < kFrameHeaderSize - 4 || length > kMaxFrameLength)
        return DecodeResult::kMalformed;
    if (size >= kFrameHeaderSize) {
        const uint8_t type = bytes[4];
        const size_t objectCount = static_cast<size_t>(get(bytes + 6, 2));
        if (!isKnownType(type) || bytes[5] != 0 || objectCount > kMaxFrameObjects ||
            kFrameHeaderSize - 4 + objectCount * kFrameObjectSize > length) {
            return DecodeResult::kMalformed;
        }
    }
    if (size - 4 < length)
        return DecodeResult::kNeedMore;

    Frame decoded;
    decoded.type = static_cast<FrameType>(bytes[4]);
    const size_t objectCount = static_cast<size_t>(get(bytes + 6, 2));
    decoded.code = static_cast<uint32_t>(get(bytes + 8, 4));
    decoded.flags = static_cast<uint32_t>(get(bytes + 12, 4));
    decoded.txnId = get(bytes + 16, 8);
    decoded.target = get(bytes + 24, 8);
    const uint8_t* at = bytes + kFrameHeaderSize;
    decoded.objects.reserve(objectCount);
    for (size_t i = 0; i < objectCount; ++i, at += kFrameObjectSize) {
        if (get(at + 6, 2) != 0)
            return DecodeResult::kMalformed;
        FrameObject object;
        object.offset = static_cast<uint32_t>(get(at, 4));
        object.kind = static_cast<ObjectKind>(get(at + 4, 2));
        object.id = get(at + 8, 8);
        decoded.objects.push_back(object);
    }
    const uint8_t* end = bytes + 4 + length;
    decoded.payload.assign(at, end);
    if (!isValidTable(decoded.objects, decoded.payload.size()))
        return DecodeResult::kMalformed;
    *frame = std::move(decoded);
    *consumed = 4 + length;
    return DecodeResult::kOk;
}

}  // namespace hostbinder

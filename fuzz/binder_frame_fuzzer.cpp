/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The byte stream a peer process sends over the host binder's socket transport, of any content:
// through the frame decoder, and through a SocketConnection reading it from a socketpair.
//
// Checks: the decoder takes frames one after the other, each re-encoding to exactly its bytes and
// keeping the table rules, and stops at the first malformed one or at an unfinished tail; the
// connection delivers the same frames in the same order, then reports the malformed frame, or the
// end of the stream for an unfinished tail.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Frame.h"
#include "FuzzCheck.h"
#include "SocketConnection.h"

namespace {

using hostbinder::decodeFrame;
using hostbinder::DecodeResult;
using hostbinder::encodeFrame;
using hostbinder::Frame;
using hostbinder::FrameObject;
using hostbinder::SocketConnection;

// Within a socketpair's buffer, so that the whole stream is written before it is read.
constexpr size_t kMaxSocketInput = 96 * 1024;

bool sameFrame(const Frame& a, const Frame& b) {
    if (a.type != b.type || a.code != b.code || a.flags != b.flags || a.txnId != b.txnId ||
        a.target != b.target || a.payload != b.payload || a.objects.size() != b.objects.size()) {
        return false;
    }
    for (size_t i = 0; i < a.objects.size(); ++i) {
        const FrameObject& x = a.objects[i];
        const FrameObject& y = b.objects[i];
        if (x.offset != y.offset || x.kind != y.kind || x.id != y.id) {
            return false;
        }
    }
    return true;
}

/** Decodes the frames at the start of the stream; returns how decoding stopped. */
DecodeResult decodeAll(const uint8_t* data, size_t size, std::vector<Frame>* frames) {
    size_t at = 0;
    for (;;) {
        Frame frame;
        size_t consumed = 0;
        const DecodeResult result = decodeFrame(data + at, size - at, &frame, &consumed);
        if (result != DecodeResult::kOk) {
            return result;
        }
        CHECK(consumed >= hostbinder::kFrameHeaderSize && consumed <= size - at);
        CHECK(consumed <= hostbinder::kMaxFrameLength + 4);
        CHECK(hostbinder::isEncodable(frame));
        std::vector<uint8_t> encoded;
        CHECK(encodeFrame(frame, &encoded));
        CHECK(encoded.size() == consumed);
        CHECK(std::equal(encoded.begin(), encoded.end(), data + at));
        frames->push_back(std::move(frame));
        at += consumed;
    }
}

void throughSocket(const uint8_t* data, size_t size, const std::vector<Frame>& frames,
                   DecodeResult end) {
    int fds[2];
    CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0);
    size_t written = 0;
    while (written < size) {
        const ssize_t n = write(fds[1], data + written, size - written);
        CHECK(n > 0);
        written += static_cast<size_t>(n);
    }
    close(fds[1]);

    SocketConnection connection(fds[0]);
    CHECK(connection.hasPeer());
    for (const Frame& expected : frames) {
        Frame frame;
        CHECK(connection.receive(&frame) == SocketConnection::ReadResult::kFrame);
        CHECK(sameFrame(frame, expected));
    }
    Frame frame;
    const SocketConnection::ReadResult last = connection.receive(&frame);
    CHECK(last == (end == DecodeResult::kMalformed ? SocketConnection::ReadResult::kMalformed
                                                   : SocketConnection::ReadResult::kClosed));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<Frame> frames;
    const DecodeResult end = decodeAll(data, size, &frames);
    CHECK(end != DecodeResult::kOk);
    if (size <= kMaxSocketInput) {
        throughSocket(data, size, frames, end);
    }
    return 0;
}

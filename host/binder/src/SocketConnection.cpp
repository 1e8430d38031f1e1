/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "SocketConnection.h"

#include <errno.h>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace hostbinder {

namespace {

constexpr size_t kReadChunk = 64 * 1024;

bool toAddress(const std::string& path, sockaddr_un* address) {
    std::memset(address, 0, sizeof(*address));
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof(address->sun_path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

}  // namespace

SocketConnection::SocketConnection(int fd) : mFd(fd) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    if (getsockopt(mFd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0 &&
        size == sizeof(credentials)) {
        mPeer = {credentials.pid, credentials.uid, credentials.gid};
        mHasPeer = true;
    }
    int capacity = 0;
    size = sizeof(capacity);
    if (getsockopt(mFd, SOL_SOCKET, SO_SNDBUF, &capacity, &size) == 0 && capacity > 0)
        mSendCapacity = static_cast<size_t>(capacity);
}

SocketConnection::~SocketConnection() {
    close(mFd);
}

std::unique_ptr<SocketConnection> SocketConnection::connectTo(const std::string& path) {
    sockaddr_un address;
    if (!toAddress(path, &address))
        return nullptr;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return nullptr;
    int result;
    do {
        result = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return nullptr;
    }
    return std::make_unique<SocketConnection>(fd);
}

bool SocketConnection::send(const Frame& frame) {
    std::vector<uint8_t> bytes;
    if (!encodeFrame(frame, &bytes))
        return false;
    MutexLock lock(mWriteLock);
    return sendLocked(bytes);
}

SocketConnection::SendResult SocketConnection::sendIfRoom(const Frame& frame) {
    std::vector<uint8_t> bytes;
    if (!encodeFrame(frame, &bytes))
        return SendResult::kBroken;
    // The queue counts the kernel's bookkeeping too: leave it a quarter of the data on top.
    const size_t needed = bytes.size() + bytes.size() / 4 + kQueueSlack;
    const auto deadline = std::chrono::steady_clock::now() + kRoomWait;
    MutexLock lock(mWriteLock);
    for (;;) {
        int queued = 0;
        if (ioctl(mFd, SIOCOUTQ, &queued) != 0)
            return SendResult::kBroken;
        if (queued == 0 || static_cast<size_t>(queued) + needed <= mSendCapacity)
            break;
        // Nothing was read since the last wait ran out: refuse at once instead of waiting again.
        if (mStalledQueue >= 0 && queued >= mStalledQueue)
            return SendResult::kNoRoom;
        mStalledQueue = -1;
        // A reader that is merely behind catches up within moments; one that reads nothing
        // does not, and then the frame is refused rather than waited on.
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            mStalledQueue = queued;
            return SendResult::kNoRoom;
        }
        pollfd writable{mFd, POLLOUT, 0};
        if (poll(&writable, 1, static_cast<int>(std::min<int64_t>(left.count(), 10))) < 0 &&
            errno != EINTR)
            return SendResult::kBroken;
    }
    return sendLocked(bytes) ? SendResult::kSent : SendResult::kBroken;
}

bool SocketConnection::sendLocked(const std::vector<uint8_t>& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        // MSG_NOSIGNAL: a peer that died is an error to report, not a reason to die too.
        const ssize_t n = ::send(mFd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

SocketConnection::ReadResult SocketConnection::receive(Frame* frame) {
    for (;;) {
        size_t consumed = 0;
        switch (decodeFrame(mBuffer.get() + mBegin, mEnd - mBegin, frame, &consumed)) {
            case DecodeResult::kOk:
                mBegin += consumed;
                if (mBegin == mEnd)
                    mBegin = mEnd = 0;
                return ReadResult::kFrame;
            case DecodeResult::kMalformed:
                return ReadResult::kMalformed;
            case DecodeResult::kNeedMore:
                break;
        }
        makeRoom();
        ssize_t n;
        do {
            n = recv(mFd, mBuffer.get() + mEnd, mCapacity - mEnd, 0);
        } while (n < 0 && errno == EINTR);
        if (n <= 0)
            return ReadResult::kClosed;
        mEnd += static_cast<size_t>(n);
    }
}

void SocketConnection::makeRoom() {
    if (mCapacity - mEnd >= kReadChunk)
        return;
    const size_t pending = mEnd - mBegin;
    if (mCapacity - pending < kReadChunk) {
        // A frame longer than what the buffer holds: room for it and one more read.
        const size_t capacity = std::max(2 * mCapacity, pending + kReadChunk);
        auto grown = std::make_unique<uint8_t[]>(capacity);
        if (pending > 0)
            std::memcpy(grown.get(), mBuffer.get() + mBegin, pending);
        mBuffer = std::move(grown);
        mCapacity = capacity;
    } else if (pending > 0) {
        std::memmove(mBuffer.get(), mBuffer.get() + mBegin, pending);
    }
    mBegin = 0;
    mEnd = pending;
}

void SocketConnection::shutdown() {
    ::shutdown(mFd, SHUT_RDWR);
}

void SocketConnection::waitForHangUp() {
    // Asking for POLLRDHUP alone: the kernel wakes a poller only for the events it asked for
    // (and hang-ups and errors, always), not for every frame that arrives.
    pollfd entry{mFd, POLLRDHUP, 0};
    for (;;) {
        entry.revents = 0;
        const int n = poll(&entry, 1, -1);
        if (n > 0 && (entry.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)) != 0)
            return;
        if (n < 0 && errno != EINTR)
            return;
    }
}

int listenAt(const std::string& path, gid_t group) {
    sockaddr_un address;
    if (!toAddress(path, &address))
        return -1;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    unlink(path.c_str());
    // The mode is set after bind (a socket's file takes none at creation); until then the
    // directory's own mode and the credential check on accept keep strangers out.
    const mode_t mode = group == static_cast<gid_t>(-1) ? 0600 : 0660;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        chmod(path.c_str(), mode) != 0 ||
        (group != static_cast<gid_t>(-1) &&
         chown(path.c_str(), static_cast<uid_t>(-1), group) != 0) ||
        listen(fd, SOMAXCONN) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// One Unix-domain stream socket between two processes, carrying Frames, and who is at the other
// end as the kernel vouches for it (SO_PEERCRED), not as the peer claims.
//
// Threads: send from any thread (frames never interleave); receive from one reader at a time
// (readers that take turns must hand over under a lock); waitForHangUp from one thread; shutdown
// from any thread, to wake the reader and that thread.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Frame.h"
#include "Mutex.h"

namespace hostbinder {

struct PeerCredentials {
    pid_t pid = 0;
    uid_t uid = 0;
    gid_t gid = 0;
};

class SocketConnection {
  public:
    enum class ReadResult { kFrame, kClosed, kMalformed };

    // Takes ownership of a connected socket.
    explicit SocketConnection(int fd);
    ~SocketConnection();
    SocketConnection(const SocketConnection&) = delete;
    SocketConnection& operator=(const SocketConnection&) = delete;

    // A connection to the socket at path; null (errno set) if nobody listens there.
    static std::unique_ptr<SocketConnection> connectTo(const std::string& path);

    // False if the credentials could not be read (the connection is then useless).
    bool hasPeer() const { return mHasPeer; }
    const PeerCredentials& peer() const { return mPeer; }

    // False if the frame cannot be encoded or the socket is broken.
    bool send(const Frame& frame) HOST_EXCLUDES(mWriteLock);
    enum class SendResult { kSent, kNoRoom, kBroken };
    // Sends the frame once the socket's send buffer has room for it (a frame larger than the
    // buffer: once nothing of ours waits there), waiting at most kRoomWait for the peer to read:
    // a peer that stopped reading cannot stall the sender for longer.
    SendResult sendIfRoom(const Frame& frame) HOST_EXCLUDES(mWriteLock);
    // The next frame; kClosed at the end of the stream (even mid-frame) or on shutdown.
    ReadResult receive(Frame* frame);
    // Ends the connection in both directions; the reader sees kClosed.
    void shutdown();
    // Returns once the peer has closed its end or shutdown was called; frames that arrive
    // meanwhile do not wake the caller.
    void waitForHangUp();

  private:
    // Room kept in the send buffer beyond a frame's own bytes.
    static constexpr size_t kQueueSlack = 4096;
    static constexpr std::chrono::milliseconds kRoomWait{200};

    // Space for at least one more read of kReadChunk bytes after the undecoded ones.
    void makeRoom();
    bool sendLocked(const std::vector<uint8_t>& bytes) HOST_REQUIRES(mWriteLock);

    const int mFd;
    PeerCredentials mPeer;
    bool mHasPeer = false;
    // The socket's send buffer, read once: nothing here changes it.
    size_t mSendCapacity = 0;
    Mutex mWriteLock;
    // What the send queue held when a wait for room last ran out, or -1: a peer that has read
    // nothing since is not waited on again.
    int mStalledQueue HOST_GUARDED_BY(mWriteLock) = -1;
    // Bytes read but not decoded yet, [mBegin, mEnd) of mBuffer: the reader's own. Grown without
    // being cleared, as a read fills only what it gets.
    std::unique_ptr<uint8_t[]> mBuffer;
    size_t mCapacity = 0;
    size_t mBegin = 0;
    size_t mEnd = 0;
};

// A listening socket at path (an old file there is replaced) that only its owner, or also
// members of group when group is not -1, may connect to. -1 (errno set) on failure.
int listenAt(const std::string& path, gid_t group);

}  // namespace hostbinder

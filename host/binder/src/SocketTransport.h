/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Carries binder transactions between real processes over Unix-domain sockets. A process opts in
// by naming a socket directory in PLIM_BINDER_SOCKET_DIR before its first binder call; without
// it, this transport never starts and everything stays in-process.
//
// How it works:
//  - Each process listens on its own socket in the directory, named p<pid>-<random> so that a
//    reused pid never reaches a dead process's objects. Its file is mode 0600 (0660 and owned by
//    PLIM_BINDER_SOCKET_GID when that names a group id), and every accepted connection is checked
//    again against the peer's kernel credentials: anyone else is logged and dropped.
//  - A process calls another over its own outgoing connection to the other's socket, sent with a
//    hello naming its own socket; the name must carry the pid the kernel reports. Calls and
//    lookups (and credits for its oneway calls, below) go out on it, only replies come back on
//    it. So one process's calls to an object arrive in order, and a connection closing means its
//    peer is gone.
//  - Incoming transactions run on the default process's binder thread pool, under its limits,
//    with AIBinder_getCallingUid/Pid taken from SO_PEERCRED (pid 0 for oneway, as in-process).
//    Oneway transactions to one object run one at a time, in arrival order.
//  - Oneway transactions a process sent to another and that have not yet run there share half
//    the transaction buffer (kMaxOnewayBytes): the receiver tells the sender with kOnewayDone, on
//    its own connection to the sender and in batches (kCreditBatchBytes), which of them ran or
//    were dropped, and a send that would overfill the share fails at once with
//    STATUS_FAILED_TRANSACTION. The socket buffer (about 200 KiB by default) is smaller than
//    the share: a oneway frame waits at most a moment for room there, and a receiver that reads
//    nothing at all gets its frames refused the same way. So a receiver that is slow or stopped
//    cannot make the sender wait, nor queue more than that share of its data.
//  - Binders travel in the frame's object table: the sender's own objects become proxies in the
//    receiver, the receiver's own objects come home as themselves. The sender keeps an object
//    alive for each receiver it sent it to (counted per send) until the receiver's proxy goes
//    and releases that count, or until the receiver's connection closes.
//  - A peer's outgoing connection closing (exit, kill, malformed frame) fails its unanswered
//    calls with STATUS_DEAD_OBJECT and sends the death notifications of every proxy for its
//    objects. A malformed or truncated frame closes only the connection it came on.
//  - The service manager is a rendezvous in the directory (ServiceDirectory): names point to the
//    owning process's socket, and the owner answers lookups with the binder. A name whose owner
//    no longer answers is gone; a second registration replaces the first, and the first owner
//    lets go of its object when it next looks the name up or is asked for it. Waiting for a
//    service sleeps until the directory changes (DirectoryWatch).
//  - A process removes the socket files of processes that are gone (its user's only): those it
//    finds at start-up, one whose connection to it closed, and one whose connect is refused.
//
// Not done yet:
//  - Only the default process takes part: binders of simulated processes, and proxies for
//    objects of a third process, cannot be sent over a socket (STATUS_FAILED_TRANSACTION), and
//    only local binders can be registered as services.
//  - Oneway shares are per sending process: several senders together can queue more than half
//    the buffer at one receiver.
//  - A replaced registration is let go of only when its old owner next handles that name.
//  - File descriptors in parcels are not carried.
//
// Threads: any thread.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_status.h>

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Frame.h"
#include "Mutex.h"
#include "ServiceDirectory.h"
#include "SocketConnection.h"
#include "Transport.h"

namespace hostbinder {

class Process;
class ReplySlot;
class Work;

class SocketTransport : public Transport {
  public:
    static constexpr size_t kMaxTwoWayBytes = 1024 * 1024 - 8 * 1024;
    static constexpr size_t kMaxOnewayBytes = kMaxTwoWayBytes / 2;
    // A receiver tells a sender that its oneway calls ran once they add up to this much.
    static constexpr size_t kCreditBatchBytes = kMaxOnewayBytes / 8;

    // The process's transport, set up on first use from the environment; null when the process
    // did not opt in. Aborts if it opted in but the socket cannot be set up.
    static SocketTransport* instance();

    // This process's socket, by name in the directory and by path.
    const std::string& name() const { return mName; }
    std::string path() const { return mDirectory.socketPath(mName); }

    // The service manager of the default process.
    binder_exception_t addService(AIBinder* binder, const char* name) HOST_EXCLUDES(mLock);
    ndk::SpAIBinder getService(const char* name, std::optional<std::chrono::milliseconds> timeout);

    binder_status_t transact(RemoteBinder& proxy, transaction_code_t code, const AParcel& data,
                             AParcel* reply, binder_flags_t flags) override;
    bool isAlive(const RemoteBinder& proxy) override;
    std::string descriptor(const RemoteBinder& proxy) override;
    void onProxyDestroyed(RemoteBinder& proxy) override;

    // Whether a connection with these credentials may talk to this process.
    static bool isAllowed(const PeerCredentials& peer, uid_t ownUid, gid_t group);
    // The pid a socket name carries, or -1 if it is not a process's socket name.
    static pid_t pidOfName(const std::string& name);

    struct Peer;
    struct Incoming;

  private:
    friend class SocketIncomingTransaction;
    friend class IncomingReadDuty;
    class Ref;

    enum class ReadOutcome { kClosed, kHandedOff };

    SocketTransport(ServiceDirectory directory, gid_t group);

    bool start();
    void acceptLoop();
    void serveIncoming(const std::shared_ptr<Incoming>& incoming);
    // Reads incoming's frames until the connection ends (kClosed), or until the reading went to
    // another thread so that this one runs *toRun, a transaction it received (kHandedOff).
    ReadOutcome readIncoming(const std::shared_ptr<Incoming>& incoming,
                             std::unique_ptr<Work>* toRun);
    // Waits for peer to hang up, then reads what is left of its stream and declares it dead.
    void watchOutgoing(const std::shared_ptr<Peer>& peer);
    // With peer's reading taken: delivers replies until ownTxnId's (0: until the stream ends),
    // then passes the reading on. The end of the stream is the peer's death.
    void readReplies(const std::shared_ptr<Peer>& peer, uint64_t ownTxnId);
    // Lets go of peer's reading, offering it to a caller still waiting.
    void passReading(const std::shared_ptr<Peer>& peer);
    void onPeerDied(const std::shared_ptr<Peer>& peer);

    // The live outgoing connection to name, connecting if needed; null if nobody answers.
    std::shared_ptr<Peer> peerFor(const std::string& name) HOST_EXCLUDES(mLock);
    // Sends a two-way frame on peer and waits for its reply.
    binder_status_t call(const std::shared_ptr<Peer>& peer, Frame frame,
                         std::unique_ptr<AParcel>* reply);

    // Fills frame's table and payload from parcel for dest, keeping the sent objects alive for
    // it; *pinned lists them, to be let go if the frame never leaves.
    binder_status_t exportParcel(const AParcel& parcel, const std::string& dest, Frame* frame,
                                 std::vector<uint64_t>* pinned) HOST_EXCLUDES(mLock);
    void unpin(const std::string& peer, const std::vector<uint64_t>& ids) HOST_EXCLUDES(mLock);
    void releaseFrom(const std::string& peer, uint64_t id, uint32_t count) HOST_EXCLUDES(mLock);
    void releaseAllOf(const std::string& peer) HOST_EXCLUDES(mLock);
    // The parcel a frame carries, its objects brought into this process: the sender's as proxies
    // (reached through sender, connected to senderName if null), ours as themselves. Null if an
    // object cannot be resolved.
    std::unique_ptr<AParcel> importParcel(const Frame& frame, const std::string& senderName,
                                          const std::shared_ptr<Peer>& sender) HOST_EXCLUDES(mLock);
    ndk::SpAIBinder importProxy(const std::shared_ptr<Peer>& from, uint64_t id);
    // The exported object id, with a strong reference; null if it is gone.
    ndk::SpAIBinder exportedBinder(uint64_t id) HOST_EXCLUDES(mLock);
    // Forgets exported objects that were destroyed; the caller drops their weak references.
    void pruneExportsLocked(std::vector<AIBinder*>* forgotten) HOST_REQUIRES(mLock);

    // The service this process registered as name, unless another process has replaced it
    // since: then it is let go of, and null.
    ndk::SpAIBinder ownService(const std::string& name) HOST_EXCLUDES(mLock);
    void answerLookup(const std::shared_ptr<Incoming>& incoming, const Frame& frame)
            HOST_EXCLUDES(mLock);
    void sendReply(const std::shared_ptr<Incoming>& incoming, uint64_t txnId,
                   binder_status_t status, const AParcel* reply);
    // Sends a oneway frame if the peer's share of its oneway queue has room for it.
    binder_status_t sendOneway(Peer& peer, const Frame& frame);
    // Takes a kOnewayDone from peerName: that much of our oneway data has run there.
    void creditOneway(const std::string& peerName, size_t bytes) HOST_EXCLUDES(mLock);
    void sendOnewayDone(const std::shared_ptr<Incoming>& incoming, size_t bytes);
    // Whether *work may run now: false when it is a oneway transaction queued behind another to
    // the same object (it then goes to the pool when that one is done).
    bool admitIncoming(uint64_t target, bool oneway, std::unique_ptr<Work>* work)
            HOST_EXCLUDES(mLock);
    // Gives the reading of incoming to an idle binder thread, so that the caller runs *work
    // itself (true); else queues *work for the pool (false).
    bool handOffReading(const std::shared_ptr<Incoming>& incoming, std::unique_ptr<Work>* work);
    void onOnewayDone(uint64_t target) HOST_EXCLUDES(mLock);

    struct Export {
        // A weak reference: the id keeps naming the object for as long as it lives, so that a
        // frame bringing it home still finds it after the sender has let go of its proxy (the
        // release may overtake the frame, as they travel on different connections).
        AIBinder* binder = nullptr;
        // A strong reference while any receiver holds the object.
        ndk::SpAIBinder held;
        // Sends not yet released, by receiver.
        std::map<std::string, uint32_t> pins;
    };
    struct OnewayQueue {
        bool active = false;
        std::deque<std::unique_ptr<Work>> waiting;
    };

    const ServiceDirectory mDirectory;
    const gid_t mGroup;
    const std::string mName;
    const std::shared_ptr<Process> mProcess;
    int mListenFd = -1;

    Mutex mLock;
    std::map<std::string, std::shared_ptr<Peer>> mPeers HOST_GUARDED_BY(mLock);
    uint64_t mNextExportId HOST_GUARDED_BY(mLock) = 1;
    std::map<uint64_t, Export> mExports HOST_GUARDED_BY(mLock);
    std::map<const AIBinder*, uint64_t> mExportIds HOST_GUARDED_BY(mLock);
    std::map<uint64_t, OnewayQueue> mOneway HOST_GUARDED_BY(mLock);
    // The services this process registered.
    std::map<std::string, ndk::SpAIBinder> mServices HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder

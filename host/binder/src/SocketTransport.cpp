/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "SocketTransport.h"

#include <errno.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Binder.h"
#include "DirectoryWatch.h"
#include "LocalBinder.h"
#include "Parcel.h"
#include "PendingWork.h"
#include "Process.h"
#include "ProcessRegistry.h"
#include "RemoteBinder.h"
#include "ReplySlot.h"
#include "ServiceManager.h"
#include "ThreadContext.h"
#include "TransactionCodes.h"
#include "Work.h"

namespace hostbinder {

namespace {

std::string randomSuffix() {
    uint64_t nonce = 0;
    if (getrandom(&nonce, sizeof(nonce), 0) != sizeof(nonce)) {
        // Unlikely; the pid and the clock still make the name unique enough on one host.
        nonce = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    char text[17];
    std::snprintf(text, sizeof(text), "%016" PRIx64, nonce);
    return text;
}

}  // namespace

// This process's outgoing connection to another: its calls go out here, their replies come back.
// Callers read the replies themselves, one at a time, so that a reply wakes the thread that
// waits for it and no other; a watcher thread only waits for the peer to hang up.
struct SocketTransport::Peer {
    Peer(std::string name, std::unique_ptr<SocketConnection> connection)
        : name(std::move(name)), connection(std::move(connection)) {}

    const std::string name;
    const std::unique_ptr<SocketConnection> connection;
    Mutex lock;
    bool dead HOST_GUARDED_BY(lock) = false;
    uint64_t nextTxnId HOST_GUARDED_BY(lock) = 1;
    std::map<uint64_t, std::shared_ptr<ReplySlot>> unanswered HOST_GUARDED_BY(lock);
    // This process's proxy for each object of the peer, each with a weak reference held here.
    std::map<uint64_t, RemoteBinder*> proxies HOST_GUARDED_BY(lock);
    // Bytes of oneway transactions sent to the peer that it has not answered with kOnewayDone:
    // what it still queues of ours.
    size_t onewayBytes HOST_GUARDED_BY(lock) = 0;
    // Whether a thread reads the connection: a caller until its reply comes, or the watcher to
    // the end of the stream once the peer hung up.
    bool reading HOST_GUARDED_BY(lock) = false;
    bool watcherWaiting HOST_GUARDED_BY(lock) = false;
    CondVar readingFree;
};

// Another process's outgoing connection to this one.
struct SocketTransport::Incoming {
    explicit Incoming(std::unique_ptr<SocketConnection> connection)
        : connection(std::move(connection)) {}

    const std::unique_ptr<SocketConnection> connection;
    // The peer's socket name, from its hello; set before any work refers to it, then fixed.
    std::string peerName;
    // Bytes of the peer's oneway calls that ran here and that it has not been told of yet.
    std::atomic<size_t> uncredited{0};
};

// What a proxy holds: the connection to the object's process and the object's id there.
class SocketTransport::Ref : public RemoteRef {
  public:
    Ref(SocketTransport& transport, std::shared_ptr<Peer> peer, uint64_t id)
        : mTransport(transport), mPeer(std::move(peer)), mId(id) {}

    Transport& transport() override { return mTransport; }
    const std::shared_ptr<Peer>& peer() const { return mPeer; }
    uint64_t id() const { return mId; }

    // Times the object arrived here through this proxy: what the owner holds for us. Changed and
    // read under the peer's lock (atomic only because the analysis cannot name that lock here).
    std::atomic<uint32_t> imports{1};

    Mutex descriptorLock;
    std::string descriptor HOST_GUARDED_BY(descriptorLock);

  private:
    SocketTransport& mTransport;
    const std::shared_ptr<Peer> mPeer;
    const uint64_t mId;
};

// A transaction from another process, run on a binder thread of this one.
class SocketIncomingTransaction : public Work {
  public:
    SocketIncomingTransaction(SocketTransport& transport,
                              std::shared_ptr<SocketTransport::Incoming> from, const Frame& frame,
                              std::unique_ptr<AParcel> data)
        : mPending(transport.mProcess),
          mTransport(transport),
          mFrom(std::move(from)),
          mTarget(frame.target),
          mCode(frame.code),
          mTxnId(frame.txnId),
          mData(std::move(data)),
          mOnewayBytes(mTxnId == 0 ? frame.payload.size() : 0),
          // As in-process: a oneway caller's pid is not known to the callee.
          mCaller{mTxnId == 0 ? 0 : mFrom->connection->peer().pid, mFrom->connection->peer().uid} {}

    void run() override {
        AParcel reply;
        binder_status_t status = STATUS_DEAD_OBJECT;
        ndk::SpAIBinder binder = mTransport.exportedBinder(mTarget);
        if (binder.get() != nullptr) {
            IncomingCallScope scope(mCaller);
            status = binder.get()->asLocal().dispatch(mCode, *mData, &reply);
        }
        mData.reset();
        if (mTxnId == 0) {
            mTransport.onOnewayDone(mTarget);
            mTransport.sendOnewayDone(mFrom, mOnewayBytes);
            return;
        }
        if (status == STATUS_OK && reply.dataSize() > SocketTransport::kMaxTwoWayBytes)
            status = STATUS_FAILED_TRANSACTION;
        mTransport.sendReply(mFrom, mTxnId, status, &reply);
    }

    void cancel() override {
        if (mTxnId != 0)
            mTransport.sendReply(mFrom, mTxnId, STATUS_DEAD_OBJECT, nullptr);
        else
            mTransport.sendOnewayDone(mFrom, mOnewayBytes);
    }

  private:
    PendingWork mPending;
    SocketTransport& mTransport;
    const std::shared_ptr<SocketTransport::Incoming> mFrom;
    const uint64_t mTarget;
    const transaction_code_t mCode;
    const uint64_t mTxnId;
    std::unique_ptr<AParcel> mData;
    const size_t mOnewayBytes;
    const ThreadContext::Caller mCaller;
};

// The reading of a connection from another process, handed to an idle binder thread by the reader
// that received a transaction to run itself.
class IncomingReadDuty : public Work {
  public:
    IncomingReadDuty(SocketTransport& transport, std::shared_ptr<SocketTransport::Incoming> from)
        : mTransport(transport), mFrom(std::move(from)) {}

    void run() override {
        std::unique_ptr<Work> work;
        if (mTransport.readIncoming(mFrom, &work) == SocketTransport::ReadOutcome::kHandedOff) {
            work->run();
        } else {
            mTransport.mProcess->dutyEnded();
        }
    }

    void cancel() override {
        // The process is dying: nobody reads the connection any more.
        mFrom->connection->shutdown();
        mTransport.releaseAllOf(mFrom->peerName);
    }

  private:
    SocketTransport& mTransport;
    const std::shared_ptr<SocketTransport::Incoming> mFrom;
};

SocketTransport* SocketTransport::instance() {
    // Never destroyed: its threads serve until the executable exits.
    static SocketTransport* transport = []() -> SocketTransport* {
        const char* directory = std::getenv("PLIM_BINDER_SOCKET_DIR");
        if (directory == nullptr || *directory == '\0')
            return nullptr;
        gid_t group = static_cast<gid_t>(-1);
        if (const char* text = std::getenv("PLIM_BINDER_SOCKET_GID"); text && *text) {
            char* end = nullptr;
            const unsigned long value = std::strtoul(text, &end, 10);
            if (*end != '\0' || value >= static_cast<gid_t>(-1)) {
                std::fprintf(stderr, "binder: PLIM_BINDER_SOCKET_GID=%s is not a group id\n", text);
                std::abort();
            }
            group = static_cast<gid_t>(value);
        }
        auto* created = new SocketTransport(ServiceDirectory(directory), group);
        if (!created->start()) {
            std::fprintf(stderr, "binder: cannot listen at %s: %s\n", created->path().c_str(),
                         std::strerror(errno));
            std::abort();
        }
        // A process that exits normally takes its socket file with it; a killed one's stays,
        // refused by the next connect, and its random name is never reused.
        static SocketTransport* self = created;
        std::atexit([] { unlink(self->path().c_str()); });
        return created;
    }();
    return transport;
}

SocketTransport::SocketTransport(ServiceDirectory directory, gid_t group)
    : mDirectory(std::move(directory)),
      mGroup(group),
      mName("p" + std::to_string(getpid()) + "-" + randomSuffix()),
      mProcess(ProcessRegistry::instance().defaultProcess().shared_from_this()) {}

bool SocketTransport::start() {
    if (!mDirectory.prepare(mGroup))
        return false;
    for (const std::string& name : mDirectory.socketNames())
        mDirectory.removeIfStale(name, pidOfName(name));
    mListenFd = listenAt(path(), mGroup);
    if (mListenFd < 0)
        return false;
    std::thread([this] { acceptLoop(); }).detach();
    return true;
}

bool SocketTransport::isAllowed(const PeerCredentials& peer, uid_t ownUid, gid_t group) {
    return peer.uid == ownUid || (group != static_cast<gid_t>(-1) && peer.gid == group);
}

pid_t SocketTransport::pidOfName(const std::string& name) {
    // p<decimal pid>-<16 hex digits>
    const size_t dash = name.find('-');
    if (name.size() < 2 || name[0] != 'p' || dash == std::string::npos || dash < 2 || dash > 11 ||
        name.size() - dash - 1 != 16) {
        return -1;
    }
    long long pid = 0;
    for (size_t i = 1; i < dash; ++i) {
        if (name[i] < '0' || name[i] > '9')
            return -1;
        pid = pid * 10 + (name[i] - '0');
    }
    for (size_t i = dash + 1; i < name.size(); ++i) {
        const char c = name[i];
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')))
            return -1;
    }
    return pid > 0 && pid <= INT32_MAX ? static_cast<pid_t>(pid) : -1;
}

void SocketTransport::acceptLoop() {
    for (;;) {
        const int fd = accept4(mListenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            // Out of descriptors: let the others finish rather than spin.
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        auto connection = std::make_unique<SocketConnection>(fd);
        if (!connection->hasPeer() || !isAllowed(connection->peer(), getuid(), mGroup)) {
            std::fprintf(stderr, "binder: %s: refused a connection from uid %u gid %u pid %d\n",
                         mName.c_str(), static_cast<unsigned>(connection->peer().uid),
                         static_cast<unsigned>(connection->peer().gid),
                         static_cast<int>(connection->peer().pid));
            continue;
        }
        auto incoming = std::make_shared<Incoming>(std::move(connection));
        std::thread([this, incoming] { serveIncoming(incoming); }).detach();
    }
}

void SocketTransport::serveIncoming(const std::shared_ptr<Incoming>& incoming) {
    SocketConnection& connection = *incoming->connection;
    Frame frame;
    if (connection.receive(&frame) != SocketConnection::ReadResult::kFrame ||
        frame.type != FrameType::kHello || !frame.objects.empty()) {
        std::fprintf(stderr, "binder: %s: connection from pid %d did not start with a hello\n",
                     mName.c_str(), static_cast<int>(connection.peer().pid));
        return;
    }
    std::string peerName(frame.payload.begin(), frame.payload.end());
    // A process may only speak for its own socket, so that nobody answers in another's name.
    if (pidOfName(peerName) != connection.peer().pid) {
        std::fprintf(stderr, "binder: %s: pid %d claimed to be %s\n", mName.c_str(),
                     static_cast<int>(connection.peer().pid), peerName.c_str());
        return;
    }
    incoming->peerName = peerName;
    std::unique_ptr<Work> work;
    if (readIncoming(incoming, &work) == ReadOutcome::kHandedOff)
        mProcess->serveInPlace(std::move(work));
}

SocketTransport::ReadOutcome SocketTransport::readIncoming(
        const std::shared_ptr<Incoming>& incoming, std::unique_ptr<Work>* toRun) {
    SocketConnection& connection = *incoming->connection;
    const std::string& peerName = incoming->peerName;
    Frame frame;
    for (;;) {
        const SocketConnection::ReadResult result = connection.receive(&frame);
        if (result == SocketConnection::ReadResult::kClosed)
            break;
        bool valid = result == SocketConnection::ReadResult::kFrame;
        if (valid && frame.type == FrameType::kTransaction) {
            const bool oneway = (frame.flags & FLAG_ONEWAY) != 0;
            valid = oneway == (frame.txnId == 0);
            if (valid) {
                std::unique_ptr<AParcel> data = importParcel(frame, peerName, nullptr);
                if (data == nullptr) {
                    if (!oneway)
                        sendReply(incoming, frame.txnId, STATUS_FAILED_TRANSACTION, nullptr);
                    else
                        sendOnewayDone(incoming, frame.payload.size());
                } else {
                    std::unique_ptr<Work> work = std::make_unique<SocketIncomingTransaction>(
                            *this, incoming, frame, std::move(data));
                    if (admitIncoming(frame.target, oneway, &work) &&
                        handOffReading(incoming, &work)) {
                        *toRun = std::move(work);
                        return ReadOutcome::kHandedOff;
                    }
                }
            }
        } else if (valid && frame.type == FrameType::kLookup) {
            valid = frame.txnId != 0 && frame.objects.empty();
            if (valid)
                answerLookup(incoming, frame);
        } else if (valid && frame.type == FrameType::kRelease) {
            releaseFrom(peerName, frame.target, frame.code);
        } else if (valid && frame.type == FrameType::kOnewayDone) {
            valid = frame.objects.empty() && frame.payload.empty();
            if (valid)
                creditOneway(peerName, frame.target);
        } else {
            valid = false;
        }
        if (!valid) {
            std::fprintf(stderr, "binder: %s: malformed frame from %s, closing its connection\n",
                         mName.c_str(), peerName.c_str());
            break;
        }
    }
    connection.shutdown();
    // Its proxies for our objects went with the connection.
    releaseAllOf(peerName);
    return ReadOutcome::kClosed;
}

bool SocketTransport::handOffReading(const std::shared_ptr<Incoming>& incoming,
                                     std::unique_ptr<Work>* work) {
    std::unique_ptr<Work> duty = std::make_unique<IncomingReadDuty>(*this, incoming);
    if (mProcess->handOff(&duty))
        return true;
    mProcess->post(std::move(*work));
    return false;
}

std::shared_ptr<SocketTransport::Peer> SocketTransport::peerFor(const std::string& name) {
    if (name == mName || pidOfName(name) < 0)
        return nullptr;
    std::shared_ptr<Peer> peer;
    {
        MutexLock lock(mLock);
        auto it = mPeers.find(name);
        if (it != mPeers.end())
            return it->second;
        // Connected under the lock so that a process has one connection per peer, which keeps
        // its calls to one object in order.
        auto connection = SocketConnection::connectTo(mDirectory.socketPath(name));
        if (connection == nullptr) {
            if (errno == ECONNREFUSED)
                mDirectory.removeIfStale(name, pidOfName(name));
            return nullptr;
        }
        Frame hello;
        hello.type = FrameType::kHello;
        hello.payload.assign(mName.begin(), mName.end());
        if (!connection->send(hello))
            return nullptr;
        peer = std::make_shared<Peer>(name, std::move(connection));
        mPeers.emplace(name, peer);
    }
    std::thread([this, peer] { watchOutgoing(peer); }).detach();
    return peer;
}

void SocketTransport::watchOutgoing(const std::shared_ptr<Peer>& peer) {
    peer->connection->waitForHangUp();
    {
        MutexLock lock(peer->lock);
        peer->watcherWaiting = true;
        while (peer->reading)
            peer->readingFree.wait(lock);
        peer->watcherWaiting = false;
        if (peer->dead)
            return;
        peer->reading = true;
    }
    // Replies sent before the peer went still reach their callers; then the death.
    readReplies(peer, 0);
}

void SocketTransport::readReplies(const std::shared_ptr<Peer>& peer, uint64_t ownTxnId) {
    Frame frame;
    for (;;) {
        const SocketConnection::ReadResult result = peer->connection->receive(&frame);
        if (result == SocketConnection::ReadResult::kClosed)
            break;
        std::shared_ptr<ReplySlot> slot;
        if (result == SocketConnection::ReadResult::kFrame && frame.type == FrameType::kReply) {
            MutexLock lock(peer->lock);
            auto it = peer->unanswered.find(frame.txnId);
            if (it != peer->unanswered.end()) {
                slot = std::move(it->second);
                peer->unanswered.erase(it);
            }
        }
        if (slot == nullptr) {
            std::fprintf(stderr, "binder: %s: malformed frame from %s, closing its connection\n",
                         mName.c_str(), peer->name.c_str());
            break;
        }
        auto status = static_cast<binder_status_t>(frame.code);
        std::unique_ptr<AParcel> reply;
        if (status == STATUS_OK) {
            reply = importParcel(frame, peer->name, peer);
            if (reply == nullptr)
                status = STATUS_FAILED_TRANSACTION;
        }
        slot->complete(status, std::move(reply));
        if (frame.txnId == ownTxnId) {
            passReading(peer);
            return;
        }
    }
    onPeerDied(peer);
    passReading(peer);
}

void SocketTransport::passReading(const std::shared_ptr<Peer>& peer) {
    std::shared_ptr<ReplySlot> next;
    bool watcherWaiting;
    {
        MutexLock lock(peer->lock);
        peer->reading = false;
        if (!peer->unanswered.empty())
            next = peer->unanswered.begin()->second;
        watcherWaiting = peer->watcherWaiting;
    }
    if (next != nullptr)
        next->offerTurn();
    if (watcherWaiting)
        peer->readingFree.notifyAll();
}

void SocketTransport::onPeerDied(const std::shared_ptr<Peer>& peer) {
    std::vector<std::shared_ptr<ReplySlot>> unanswered;
    std::vector<ndk::SpAIBinder> proxies;
    {
        MutexLock lock(peer->lock);
        // A caller and then the watcher may both read to the end of the stream.
        if (peer->dead)
            return;
        peer->dead = true;
        for (auto& [id, slot] : peer->unanswered)
            unanswered.push_back(std::move(slot));
        peer->unanswered.clear();
        for (auto& [id, proxy] : peer->proxies) {
            if (proxy->tryIncStrong())
                proxies.emplace_back(proxy);
        }
    }
    peer->connection->shutdown();
    {
        MutexLock lock(mLock);
        auto it = mPeers.find(peer->name);
        if (it != mPeers.end() && it->second == peer)
            mPeers.erase(it);
    }
    for (auto& slot : unanswered)
        slot->complete(STATUS_DEAD_OBJECT, nullptr);
    for (auto& proxy : proxies)
        proxy.get()->asRemote().sendObituary();
    proxies.clear();
    releaseAllOf(peer->name);
    // Most often it was killed (an exit removes its own): its file would outlive it.
    mDirectory.removeIfStale(peer->name, pidOfName(peer->name));
}

binder_status_t SocketTransport::call(const std::shared_ptr<Peer>& peer, Frame frame,
                                      std::unique_ptr<AParcel>* reply) {
    auto slot = std::make_shared<ReplySlot>();
    uint64_t txnId;
    {
        MutexLock lock(peer->lock);
        if (peer->dead)
            return STATUS_DEAD_OBJECT;
        txnId = peer->nextTxnId++;
        peer->unanswered.emplace(txnId, slot);
    }
    frame.txnId = txnId;
    if (!peer->connection->send(frame)) {
        // The socket broke: the watcher is about to fail every call, this one included.
        MutexLock lock(peer->lock);
        peer->unanswered.erase(txnId);
        return STATUS_DEAD_OBJECT;
    }
    for (;;) {
        bool read = false;
        {
            MutexLock lock(peer->lock);
            // Not unanswered any more: its reply, or the peer's death, is on its way to the slot.
            if (!peer->reading && peer->unanswered.count(txnId) != 0) {
                peer->reading = true;
                read = true;
            }
        }
        if (read) {
            readReplies(peer, txnId);
            break;
        }
        if (slot->waitForTurn())
            break;
    }
    return slot->wait(reply);
}

binder_status_t SocketTransport::transact(RemoteBinder& proxy, transaction_code_t code,
                                          const AParcel& data, AParcel* reply,
                                          binder_flags_t flags) {
    const bool oneway = (flags & FLAG_ONEWAY) != 0;
    if (data.dataSize() > (oneway ? kMaxOnewayBytes : kMaxTwoWayBytes))
        return STATUS_FAILED_TRANSACTION;
    Ref& ref = static_cast<Ref&>(proxy.ref());
    const std::shared_ptr<Peer>& peer = ref.peer();
    Frame frame;
    frame.type = FrameType::kTransaction;
    frame.code = code;
    frame.flags = flags;
    frame.target = ref.id();
    std::vector<uint64_t> pinned;
    binder_status_t status = exportParcel(data, peer->name, &frame, &pinned);
    if (status != STATUS_OK)
        return status;
    if (oneway) {
        status = sendOneway(*peer, frame);
        if (status != STATUS_OK)
            unpin(peer->name, pinned);
        return status;
    }
    std::unique_ptr<AParcel> answer;
    status = call(peer, std::move(frame), &answer);
    if (status == STATUS_DEAD_OBJECT)
        unpin(peer->name, pinned);  // maybe never delivered; a dead peer holds nothing anyway
    if (status != STATUS_OK)
        return status;
    reply->copyFrom(*answer);
    return STATUS_OK;
}

bool SocketTransport::isAlive(const RemoteBinder& proxy) {
    const std::shared_ptr<Peer>& peer = static_cast<Ref&>(proxy.ref()).peer();
    MutexLock lock(peer->lock);
    return !peer->dead;
}

std::string SocketTransport::descriptor(const RemoteBinder& proxy) {
    Ref& ref = static_cast<Ref&>(proxy.ref());
    {
        MutexLock lock(ref.descriptorLock);
        if (!ref.descriptor.empty())
            return isAlive(proxy) ? ref.descriptor : std::string();
    }
    AParcel data;
    AParcel reply;
    if (transact(const_cast<RemoteBinder&>(proxy), kInterfaceTransaction, data, &reply, 0) !=
        STATUS_OK) {
        return std::string();
    }
    std::optional<std::string> text;
    if (reply.readString(&text) != STATUS_OK || !text)
        return std::string();
    std::string descriptor = std::move(*text);
    MutexLock lock(ref.descriptorLock);
    ref.descriptor = descriptor;
    return descriptor;
}

void SocketTransport::onProxyDestroyed(RemoteBinder& proxy) {
    Ref& ref = static_cast<Ref&>(proxy.ref());
    const std::shared_ptr<Peer>& peer = ref.peer();
    bool cached = false;
    bool dead;
    Frame release;
    release.type = FrameType::kRelease;
    release.target = ref.id();
    {
        MutexLock lock(peer->lock);
        auto it = peer->proxies.find(ref.id());
        if (it != peer->proxies.end() && it->second == &proxy) {
            peer->proxies.erase(it);
            cached = true;
        }
        release.code = ref.imports.load(std::memory_order_relaxed);
        dead = peer->dead;
    }
    if (!dead)
        peer->connection->send(release);
    if (cached)
        proxy.decWeak();
}

binder_status_t SocketTransport::exportParcel(const AParcel& parcel, const std::string& dest,
                                              Frame* frame, std::vector<uint64_t>* pinned) {
    frame->payload.assign(parcel.data(), parcel.data() + parcel.dataSize());
    binder_status_t status = STATUS_OK;
    std::vector<AIBinder*> forgotten;
    for (const auto& [offset, binder] : parcel.objects()) {
        FrameObject object;
        object.offset = static_cast<uint32_t>(offset);
        AIBinder* raw = binder.get();
        if (raw == nullptr) {
            object.kind = ObjectKind::kNull;
        } else if (raw->isRemote()) {
            RemoteRef& remote = raw->asRemote().ref();
            // Only an object of the receiver itself can be named to it by id.
            if (&remote.transport() != this || static_cast<Ref&>(remote).peer()->name != dest) {
                status = STATUS_FAILED_TRANSACTION;
                break;
            }
            object.kind = ObjectKind::kReceiverObject;
            object.id = static_cast<Ref&>(remote).id();
        } else {
            if (&raw->process() != mProcess.get()) {
                status = STATUS_FAILED_TRANSACTION;
                break;
            }
            MutexLock lock(mLock);
            auto it = mExportIds.find(raw);
            uint64_t id;
            if (it != mExportIds.end()) {
                id = it->second;
            } else {
                pruneExportsLocked(&forgotten);
                id = mNextExportId++;
                raw->incWeak();
                mExports[id].binder = raw;
                mExportIds.emplace(raw, id);
            }
            Export& entry = mExports[id];
            if (entry.held.get() == nullptr) {
                raw->incStrong();
                entry.held = ndk::SpAIBinder(raw);
            }
            ++mExports[id].pins[dest];
            pinned->push_back(id);
            object.kind = ObjectKind::kSenderObject;
            object.id = id;
        }
        frame->objects.push_back(object);
    }
    if (status == STATUS_OK && !isEncodable(*frame))
        status = STATUS_FAILED_TRANSACTION;  // too big, or binders at odd positions
    for (AIBinder* binder : forgotten)
        binder->decWeak();
    if (status != STATUS_OK) {
        unpin(dest, *pinned);
        pinned->clear();
    }
    return status;
}

void SocketTransport::releaseFrom(const std::string& peer, uint64_t id, uint32_t count) {
    ndk::SpAIBinder released;
    {
        MutexLock lock(mLock);
        auto it = mExports.find(id);
        if (it == mExports.end())
            return;
        auto pin = it->second.pins.find(peer);
        if (pin == it->second.pins.end())
            return;
        // A peer releasing more than it was sent gets no more than that.
        pin->second -= std::min(pin->second, count);
        if (pin->second == 0)
            it->second.pins.erase(pin);
        if (it->second.pins.empty())
            released = std::move(it->second.held);
    }
    // Dropped outside the lock: it may be the object's last reference.
}

void SocketTransport::unpin(const std::string& peer, const std::vector<uint64_t>& ids) {
    for (uint64_t id : ids)
        releaseFrom(peer, id, 1);
}

void SocketTransport::releaseAllOf(const std::string& peer) {
    std::vector<ndk::SpAIBinder> released;
    {
        MutexLock lock(mLock);
        for (auto it = mExports.begin(); it != mExports.end();) {
            it->second.pins.erase(peer);
            if (it->second.pins.empty() && it->second.held.get() != nullptr)
                released.push_back(std::move(it->second.held));
            ++it;
        }
    }
}

std::unique_ptr<AParcel> SocketTransport::importParcel(const Frame& frame,
                                                       const std::string& senderName,
                                                       const std::shared_ptr<Peer>& sender) {
    auto parcel = std::make_unique<AParcel>();
    parcel->assign(frame.payload.data(), frame.payload.size());
    std::shared_ptr<Peer> from = sender;
    for (const FrameObject& object : frame.objects) {
        ndk::SpAIBinder binder;
        if (object.kind == ObjectKind::kSenderObject) {
            if (from == nullptr)
                from = peerFor(senderName);
            if (from == nullptr)
                return nullptr;
            binder = importProxy(from, object.id);
        } else if (object.kind == ObjectKind::kReceiverObject) {
            binder = exportedBinder(object.id);
            if (binder.get() == nullptr)
                return nullptr;
        }
        parcel->replaceObject(object.offset, std::move(binder));
    }
    return parcel;
}

ndk::SpAIBinder SocketTransport::importProxy(const std::shared_ptr<Peer>& from, uint64_t id) {
    AIBinder* stale = nullptr;
    AIBinder* result = nullptr;
    {
        MutexLock lock(from->lock);
        auto it = from->proxies.find(id);
        if (it != from->proxies.end()) {
            if (it->second->tryIncStrong()) {
                result = it->second;
                static_cast<Ref&>(it->second->ref())
                        .imports.fetch_add(1, std::memory_order_relaxed);
            } else {
                stale = it->second;  // dying: replaced below, its weak reference dropped
            }
        }
        if (result == nullptr) {
            auto* proxy =
                    new RemoteBinder(mProcess, std::make_unique<Ref>(*this, from, id), from->dead);
            proxy->incWeak();
            from->proxies[id] = proxy;
            result = proxy;
        }
    }
    if (stale != nullptr)
        stale->decWeak();
    return ndk::SpAIBinder(result);
}

ndk::SpAIBinder SocketTransport::exportedBinder(uint64_t id) {
    MutexLock lock(mLock);
    auto it = mExports.find(id);
    if (it == mExports.end() || !it->second.binder->tryIncStrong())
        return nullptr;
    return ndk::SpAIBinder(it->second.binder);
}

void SocketTransport::pruneExportsLocked(std::vector<AIBinder*>* forgotten) {
    for (auto it = mExports.begin(); it != mExports.end();) {
        // Nobody holds it any more, here or elsewhere: its id can name nothing again.
        if (it->second.pins.empty() && it->second.binder->strongCount() == 0) {
            forgotten->push_back(it->second.binder);
            mExportIds.erase(it->second.binder);
            it = mExports.erase(it);
        } else {
            ++it;
        }
    }
}

void SocketTransport::answerLookup(const std::shared_ptr<Incoming>& incoming, const Frame& frame) {
    const std::string name(frame.payload.begin(), frame.payload.end());
    ndk::SpAIBinder service = ownService(name);
    AParcel reply;
    reply.writeBinder(service.get());
    sendReply(incoming, frame.txnId, STATUS_OK, &reply);
}

void SocketTransport::sendReply(const std::shared_ptr<Incoming>& incoming, uint64_t txnId,
                                binder_status_t status, const AParcel* reply) {
    Frame frame;
    frame.type = FrameType::kReply;
    frame.txnId = txnId;
    std::vector<uint64_t> pinned;
    if (status == STATUS_OK && reply != nullptr)
        status = exportParcel(*reply, incoming->peerName, &frame, &pinned);
    if (status != STATUS_OK) {
        frame.objects.clear();
        frame.payload.clear();
    }
    frame.code = static_cast<uint32_t>(status);
    if (!incoming->connection->send(frame))
        unpin(incoming->peerName, pinned);
}

binder_status_t SocketTransport::sendOneway(Peer& peer, const Frame& frame) {
    const size_t bytes = frame.payload.size();
    {
        MutexLock lock(peer.lock);
        if (peer.dead)
            return STATUS_DEAD_OBJECT;
        // As a device's receiver would refuse it: its queue of our oneway calls is full, because
        // it is slow or stopped reading. Failing here keeps this thread from waiting on it.
        if (bytes > kMaxOnewayBytes - peer.onewayBytes)
            return STATUS_FAILED_TRANSACTION;
        peer.onewayBytes += bytes;
    }
    // Nor may a receiver that stopped reading altogether (stopped, or its reader stuck) make
    // this thread wait while the socket is full.
    const SocketConnection::SendResult result = peer.connection->sendIfRoom(frame);
    if (result == SocketConnection::SendResult::kSent)
        return STATUS_OK;
    MutexLock lock(peer.lock);
    peer.onewayBytes -= std::min(peer.onewayBytes, bytes);
    return result == SocketConnection::SendResult::kNoRoom ? STATUS_FAILED_TRANSACTION
                                                           : STATUS_DEAD_OBJECT;
}

void SocketTransport::creditOneway(const std::string& peerName, size_t bytes) {
    std::shared_ptr<Peer> peer;
    {
        MutexLock lock(mLock);
        auto it = mPeers.find(peerName);
        if (it == mPeers.end())
            return;  // our connection to it closed: nothing of ours is counted any more
        peer = it->second;
    }
    MutexLock lock(peer->lock);
    // A credit for a connection that closed since may exceed what the new one counts.
    peer->onewayBytes -= std::min(peer->onewayBytes, bytes);
}

void SocketTransport::sendOnewayDone(const std::shared_ptr<Incoming>& incoming, size_t bytes) {
    // Credits go out in batches: one frame per call would wake the sender's reader for each of
    // its oneway calls. What stays unsent is at most one batch of the sender's share.
    if (incoming->uncredited.fetch_add(bytes) + bytes < kCreditBatchBytes)
        return;
    Frame done;
    done.type = FrameType::kOnewayDone;
    done.target = incoming->uncredited.exchange(0);
    if (done.target == 0)
        return;
    // On our own connection to the sender, which it always reads; its connection to us carries
    // only our replies, and nobody reads that while it waits for none. A peer that is gone
    // needs no credit.
    if (std::shared_ptr<Peer> back = peerFor(incoming->peerName))
        back->connection->send(done);
}

bool SocketTransport::admitIncoming(uint64_t target, bool oneway, std::unique_ptr<Work>* work) {
    if (oneway) {
        MutexLock lock(mLock);
        OnewayQueue& queue = mOneway[target];
        if (queue.active) {
            queue.waiting.push_back(std::move(*work));
            return false;
        }
        queue.active = true;
    }
    return true;
}

void SocketTransport::onOnewayDone(uint64_t target) {
    std::unique_ptr<Work> next;
    {
        MutexLock lock(mLock);
        auto it = mOneway.find(target);
        if (it == mOneway.end())
            return;
        if (it->second.waiting.empty()) {
            mOneway.erase(it);
        } else {
            next = std::move(it->second.waiting.front());
            it->second.waiting.pop_front();
        }
    }
    if (next != nullptr)
        mProcess->post(std::move(next));
}

binder_exception_t SocketTransport::addService(AIBinder* binder, const char* name) {
    if (binder == nullptr || !ServiceManager::isValidName(name))
        return EX_ILLEGAL_ARGUMENT;
    if (binder->isRemote() || &binder->process() != mProcess.get())
        return EX_UNSUPPORTED_OPERATION;
    ndk::SpAIBinder replaced;
    MutexLock lock(mLock);
    // Entered and published under the lock, so that ownService never sees the entry with the
    // directory still naming an earlier owner, and takes it for replaced.
    replaced = ServiceManager::replaceEntry(mServices, name, binder);
    if (!mDirectory.publish(name, mName)) {
        std::fprintf(stderr, "binder: %s: cannot publish service %s: %s\n", mName.c_str(), name,
                     std::strerror(errno));
        return EX_TRANSACTION_FAILED;
    }
    return EX_NONE;
}

ndk::SpAIBinder SocketTransport::ownService(const std::string& name) {
    ndk::SpAIBinder replaced;
    MutexLock lock(mLock);
    auto it = mServices.find(name);
    if (it == mServices.end())
        return nullptr;
    const std::optional<std::string> owner = mDirectory.owner(name);
    if (owner && *owner != mName) {
        // Another process registered the name since: let go of ours, as a device's service
        // manager would have (dropped after the lock, as it may be the last reference).
        replaced = std::move(it->second);
        mServices.erase(it);
        return nullptr;
    }
    return it->second;
}

ndk::SpAIBinder SocketTransport::getService(const char* name,
                                            std::optional<std::chrono::milliseconds> timeout) {
    if (!ServiceManager::isValidName(name))
        return nullptr;
    std::optional<std::chrono::steady_clock::time_point> deadline;
    if (timeout)
        deadline = std::chrono::steady_clock::now() + *timeout;
    // Watched before looking, so that a registration right after the look still wakes us.
    std::optional<DirectoryWatch> watch;
    if (timeout != std::chrono::milliseconds(0))
        watch.emplace(mDirectory.servicesPath());
    for (;;) {
        const std::optional<std::string> owner = mDirectory.owner(name);
        if (ndk::SpAIBinder own = ownService(name); own.get() != nullptr) {
            return own;
        } else if (owner && *owner != mName) {
            // An owner that does not answer has died: its registration is gone with it.
            if (std::shared_ptr<Peer> peer = peerFor(*owner)) {
                Frame lookup;
                lookup.type = FrameType::kLookup;
                lookup.payload.assign(name, name + std::strlen(name));
                std::unique_ptr<AParcel> reply;
                AIBinder* found = nullptr;
                if (call(peer, std::move(lookup), &reply) == STATUS_OK &&
                    reply->readBinder(&found) == STATUS_OK && found != nullptr) {
                    return ndk::SpAIBinder(found);
                }
            }
        }
        if (!watch || !watch->wait(deadline))
            return nullptr;
    }
}

}  // namespace hostbinder

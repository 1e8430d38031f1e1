/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Carries transactions between simulated processes of one executable, as the kernel driver does
// between real ones: the parcel is copied, each binder in it is brought into the receiving
// process (the object itself there, else that process's one proxy for it), and the copy runs on
// a binder thread of the object's process. Oneway transactions to one object run one at a time,
// in the order they were sent. A process's death fails the calls it had not answered, drops its
// queued oneway calls and sends the death notifications of its objects.
//
// Threads: any thread.

#pragma once

#include <android/binder_auto_utils.h>

#include <map>
#include <memory>
#include <vector>

#include "Mutex.h"
#include "Node.h"
#include "Transport.h"

namespace hostbinder {

class LocalBinder;

class InProcessTransport : public Transport {
  public:
    // A device's transaction buffer: a two-way transaction or its reply may fill it, a oneway
    // one only half of it. Bigger ones fail with STATUS_FAILED_TRANSACTION.
    static constexpr size_t kMaxTwoWayBytes = 1024 * 1024 - 8 * 1024;
    static constexpr size_t kMaxOnewayBytes = kMaxTwoWayBytes / 2;

    static InProcessTransport& instance();

    // binder (of any process) as seen from dest: the object itself if dest owns it, else dest's
    // proxy for it. Null if it cannot be brought there.
    ndk::SpAIBinder importBinder(AIBinder* binder, const std::shared_ptr<Process>& dest);
    // Whether the object binder stands for is alive.
    bool isObjectAlive(AIBinder* binder);
    // The process owning the object binder stands for.
    Process* ownerOf(AIBinder* binder);

    // Makes a process die (see ABinderHost_Process_kill). False if it was already dead.
    bool killProcess(Process& process) HOST_EXCLUDES(mLock);

    void onLocalBinderDestroyed(Node& node);
    // A oneway transaction on node finished: the next one may run.
    void onOnewayDone(const std::shared_ptr<Node>& node);

    binder_status_t transact(RemoteBinder& proxy, transaction_code_t code, const AParcel& data,
                             AParcel* reply, binder_flags_t flags) override;
    bool isAlive(const RemoteBinder& proxy) override;
    std::string descriptor(const RemoteBinder& proxy) override;
    void onProxyDestroyed(RemoteBinder& proxy) override;

  private:
    InProcessTransport() = default;

    std::shared_ptr<Node> nodeOf(AIBinder* binder) HOST_EXCLUDES(mLock);
    std::shared_ptr<Node> exportLocal(LocalBinder& binder) HOST_EXCLUDES(mLock);
    // A copy of parcel for dest, with its binders imported into dest.
    std::unique_ptr<AParcel> copyInto(const AParcel& parcel, const std::shared_ptr<Process>& dest);

    Mutex mLock;
    // Nodes by owner, so that a death finds them all.
    std::map<Process*, std::vector<std::weak_ptr<Node>>> mNodesByOwner HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder

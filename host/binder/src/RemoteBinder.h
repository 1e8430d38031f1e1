/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A proxy: the binder a process holds for an object of another process. Transactions go through
// the proxy's transport; death notifications linked to it fire on a binder thread of the
// proxy's process when the object dies.
//
// Threads: any thread.

#pragma once

#include <memory>
#include <vector>

#include "Binder.h"
#include "DeathLink.h"
#include "Mutex.h"
#include "Transport.h"

namespace hostbinder {

class RemoteBinder : public AIBinder {
  public:
    // objectDead: the object died before this proxy was made, so no notification will come.
    RemoteBinder(std::shared_ptr<Process> process, std::unique_ptr<RemoteRef> ref, bool objectDead);

    bool isRemote() const override { return true; }
    bool associateClass(const AIBinder_Class* clazz) override;
    bool isAlive() const override;
    binder_status_t transact(transaction_code_t code, AParcel& data, AParcel* reply,
                             binder_flags_t flags) override;

    // Valid while a strong reference exists.
    RemoteRef& ref() const { return *mRef; }

    binder_status_t linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie)
            HOST_EXCLUDES(mLinkLock);
    binder_status_t unlinkToDeath(AIBinder_DeathRecipient* recipient, void* cookie)
            HOST_EXCLUDES(mLinkLock);
    // The recipient is being deleted: unlink whatever it still has here. Safe on a proxy with
    // only weak references left.
    void unlinkAll(const AIBinder_DeathRecipient* recipient) HOST_EXCLUDES(mLinkLock);
    // The object died: queues its death notifications to this proxy's process, once.
    void sendObituary() HOST_EXCLUDES(mLinkLock);

  private:
    void onLastStrongRef() override;

    std::unique_ptr<RemoteRef> mRef;
    Mutex mLinkLock;
    std::vector<DeathLink> mLinks HOST_GUARDED_BY(mLinkLock);
    bool mObituarySent HOST_GUARDED_BY(mLinkLock);
};

}  // namespace hostbinder

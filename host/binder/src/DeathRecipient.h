/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AIBinder_DeathRecipient: the callbacks of death notifications, and the proxies it is linked
// to, so that deleting it unlinks them all.
//
// Threads: any thread; setOnUnlinked before linking (links keep the callbacks they were made
// with).

#pragma once

#include <android/binder_ibinder.h>

#include <set>

#include "Mutex.h"

namespace hostbinder {
class RemoteBinder;
}  // namespace hostbinder

struct AIBinder_DeathRecipient {
  public:
    explicit AIBinder_DeathRecipient(AIBinder_DeathRecipient_onBinderDied onDied)
        : mOnDied(onDied) {}
    // Unlinks every link still made with this recipient.
    ~AIBinder_DeathRecipient();
    AIBinder_DeathRecipient(const AIBinder_DeathRecipient&) = delete;
    AIBinder_DeathRecipient& operator=(const AIBinder_DeathRecipient&) = delete;

    AIBinder_DeathRecipient_onBinderDied onDied() const { return mOnDied; }
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked() const HOST_EXCLUDES(mLock);
    void setOnUnlinked(AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) HOST_EXCLUDES(mLock);

    // Remembers a proxy this recipient was linked to (holding a weak reference on it).
    void track(hostbinder::RemoteBinder* proxy) HOST_EXCLUDES(mLock);

  private:
    const AIBinder_DeathRecipient_onBinderDied mOnDied;
    mutable hostbinder::Mutex mLock;
    AIBinder_DeathRecipient_onBinderUnlinked mOnUnlinked HOST_GUARDED_BY(mLock) = nullptr;
    std::set<hostbinder::RemoteBinder*> mProxies HOST_GUARDED_BY(mLock);
};

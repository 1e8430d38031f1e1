/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DeathRecipient.h"

#include "RemoteBinder.h"

AIBinder_DeathRecipient::~AIBinder_DeathRecipient() {
    std::set<hostbinder::RemoteBinder*> proxies;
    {
        hostbinder::MutexLock lock(mLock);
        proxies.swap(mProxies);
    }
    for (hostbinder::RemoteBinder* proxy : proxies) {
        proxy->unlinkAll(this);
        proxy->decWeak();
    }
}

AIBinder_DeathRecipient_onBinderUnlinked AIBinder_DeathRecipient::onUnlinked() const {
    hostbinder::MutexLock lock(mLock);
    return mOnUnlinked;
}

void AIBinder_DeathRecipient::setOnUnlinked(AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    hostbinder::MutexLock lock(mLock);
    mOnUnlinked = onUnlinked;
}

void AIBinder_DeathRecipient::track(hostbinder::RemoteBinder* proxy) {
    hostbinder::MutexLock lock(mLock);
    if (mProxies.insert(proxy).second)
        proxy->incWeak();
}

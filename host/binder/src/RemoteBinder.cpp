/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RemoteBinder.h"

#include "BinderClass.h"
#include "DeathNotification.h"
#include "DeathRecipient.h"
#include "Process.h"

namespace hostbinder {

RemoteBinder::RemoteBinder(std::shared_ptr<Process> process, std::unique_ptr<RemoteRef> ref,
                           bool objectDead)
    : AIBinder(nullptr, std::move(process)), mRef(std::move(ref)), mObituarySent(objectDead) {}

bool RemoteBinder::associateClass(const AIBinder_Class* clazz) {
    if (clazz == nullptr)
        return false;
    const AIBinder_Class* current = getClass();
    if (current == clazz)
        return true;
    const std::string descriptor = mRef->transport().descriptor(*this);
    if (descriptor.empty() || descriptor != clazz->descriptor)
        return false;
    // The first class that fits stays; another class of the same interface still fits.
    const AIBinder_Class* expected = nullptr;
    mClass.compare_exchange_strong(expected, clazz, std::memory_order_acq_rel);
    return true;
}

bool RemoteBinder::isAlive() const {
    return mRef->transport().isAlive(*this);
}

binder_status_t RemoteBinder::transact(transaction_code_t code, AParcel& data, AParcel* reply,
                                       binder_flags_t flags) {
    return mRef->transport().transact(*this, code, data, reply, flags);
}

binder_status_t RemoteBinder::linkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) {
    const DeathLink link{recipient, cookie, recipient->onDied(), recipient->onUnlinked()};
    {
        MutexLock lock(mLinkLock);
        // The transport learns of a death before the obituary goes out: a link made in between
        // would be notified of a death that came before it.
        if (!mObituarySent && isAlive()) {
            mLinks.push_back(link);
            recipient->track(this);
            return STATUS_OK;
        }
    }
    // A link that failed is over at once.
    link.unlinked();
    return STATUS_DEAD_OBJECT;
}

binder_status_t RemoteBinder::unlinkToDeath(AIBinder_DeathRecipient* recipient, void* cookie) {
    DeathLink removed{};
    {
        MutexLock lock(mLinkLock);
        // Once dead, the links went with the death notification: nothing is left to unlink.
        if (mObituarySent)
            return STATUS_DEAD_OBJECT;
        auto it = mLinks.begin();
        while (it != mLinks.end() && !(it->recipient == recipient && it->cookie == cookie))
            ++it;
        if (it == mLinks.end())
            return STATUS_NAME_NOT_FOUND;
        removed = *it;
        mLinks.erase(it);
    }
    removed.unlinked();
    return STATUS_OK;
}

void RemoteBinder::unlinkAll(const AIBinder_DeathRecipient* recipient) {
    std::vector<DeathLink> removed;
    {
        MutexLock lock(mLinkLock);
        auto it = mLinks.begin();
        while (it != mLinks.end()) {
            if (it->recipient == recipient) {
                removed.push_back(*it);
                it = mLinks.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const DeathLink& link : removed)
        link.unlinked();
}

void RemoteBinder::sendObituary() {
    std::vector<DeathLink> links;
    {
        MutexLock lock(mLinkLock);
        if (mObituarySent)
            return;
        mObituarySent = true;
        links.swap(mLinks);
    }
    if (links.empty())
        return;
    process().post(std::make_unique<DeathNotification>(std::move(links), processRef()));
}

void RemoteBinder::onLastStrongRef() {
    // A proxy that goes away takes its links with it.
    std::vector<DeathLink> links;
    {
        MutexLock lock(mLinkLock);
        links.swap(mLinks);
    }
    for (const DeathLink& link : links)
        link.unlinked();
    mRef->transport().onProxyDestroyed(*this);
    mRef.reset();
}

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "InProcessTransport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>

#include "BinderClass.h"
#include "IncomingTransaction.h"
#include "LocalBinder.h"
#include "NodeRef.h"
#include "Parcel.h"
#include "Process.h"
#include "RemoteBinder.h"
#include "ReplySlot.h"
#include "ServiceManager.h"
#include "ThreadContext.h"

namespace hostbinder {

InProcessTransport& InProcessTransport::instance() {
    // Never destroyed: binder threads may still use it while the executable exits.
    static InProcessTransport* transport = new InProcessTransport();
    return *transport;
}

std::shared_ptr<Node> InProcessTransport::exportLocal(LocalBinder& binder) {
    return binder.exportedNode([&] {
        MutexLock lock(mLock);
        // Registered under the same lock a death takes, so no node escapes the death.
        auto node =
                std::make_shared<Node>(&binder, binder.processRef(), binder.getClass()->descriptor,
                                       !binder.process().isAlive());
        auto& nodes = mNodesByOwner[&binder.process()];
        nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                                   [](const std::weak_ptr<Node>& n) { return n.expired(); }),
                    nodes.end());
        nodes.push_back(node);
        return node;
    });
}

std::shared_ptr<Node> InProcessTransport::nodeOf(AIBinder* binder) {
    if (binder->isRemote())
        return static_cast<NodeRef&>(binder->asRemote().ref()).nodeRef();
    return exportLocal(binder->asLocal());
}

ndk::SpAIBinder InProcessTransport::importBinder(AIBinder* binder,
                                                 const std::shared_ptr<Process>& dest) {
    if (binder == nullptr)
        return nullptr;
    if (!binder->isRemote() && &binder->process() == dest.get()) {
        binder->incStrong();
        return ndk::SpAIBinder(binder);
    }
    std::shared_ptr<Node> node = nodeOf(binder);
    AIBinder* stale = nullptr;
    AIBinder* result = nullptr;
    {
        MutexLock lock(node->lock);
        if (node->owner == dest) {
            // Back home: the object itself, which the node keeps alive while proxies exist.
            if (node->holdsBinder && node->binder->tryIncStrong())
                result = node->binder;
        } else {
            auto it = node->proxies.find(dest.get());
            if (it != node->proxies.end()) {
                if (it->second->tryIncStrong()) {
                    result = it->second;
                } else {
                    stale = it->second;  // dying: replaced below, its weak reference dropped
                }
            }
            if (result == nullptr) {
                auto ref = std::make_unique<NodeRef>(*this, NodeHold::acquireLocked(*node, node));
                auto* proxy = new RemoteBinder(dest, std::move(ref), node->dead);
                proxy->incWeak();
                node->proxies[dest.get()] = proxy;
                result = proxy;
            }
        }
    }
    if (stale != nullptr)
        stale->decWeak();
    return ndk::SpAIBinder(result);
}

bool InProcessTransport::isObjectAlive(AIBinder* binder) {
    if (!binder->isRemote())
        return binder->process().isAlive();
    return isAlive(binder->asRemote());
}

Process* InProcessTransport::ownerOf(AIBinder* binder) {
    if (!binder->isRemote())
        return &binder->process();
    return static_cast<NodeRef&>(binder->asRemote().ref()).node().owner.get();
}

std::unique_ptr<AParcel> InProcessTransport::copyInto(const AParcel& parcel,
                                                      const std::shared_ptr<Process>& dest) {
    auto copy = std::make_unique<AParcel>();
    copy->copyFrom(parcel);
    for (const auto& [offset, binder] : parcel.objects()) {
        copy->replaceObject(offset, importBinder(binder.get(), dest));
    }
    return copy;
}

binder_status_t InProcessTransport::transact(RemoteBinder& proxy, transaction_code_t code,
                                             const AParcel& data, AParcel* reply,
                                             binder_flags_t flags) {
    const bool oneway = (flags & FLAG_ONEWAY) != 0;
    if (!proxy.process().isAlive())
        return STATUS_DEAD_OBJECT;  // the dead make no calls
    if (data.dataSize() > (oneway ? kMaxOnewayBytes : kMaxTwoWayBytes)) {
        return STATUS_FAILED_TRANSACTION;
    }
    const std::shared_ptr<Node> node = static_cast<NodeRef&>(proxy.ref()).nodeRef();
    const std::shared_ptr<Process>& dest = node->owner;
    // Released when the transaction is gone, run or cancelled.
    const size_t onewayBytes = oneway ? data.dataSize() : 0;
    if (oneway && !dest->reserveOnewayBytes(onewayBytes))
        return STATUS_FAILED_TRANSACTION;
    std::unique_ptr<AParcel> incoming = copyInto(data, dest);
    const ThreadContext::Caller caller{oneway ? 0 : proxy.process().pid(), proxy.process().uid()};
    std::shared_ptr<ReplySlot> slot = oneway ? nullptr : std::make_shared<ReplySlot>();

    std::unique_ptr<Work> ready;
    {
        MutexLock lock(node->lock);
        if (node->dead) {
            dest->releaseOnewayBytes(onewayBytes);
            return STATUS_DEAD_OBJECT;
        }
        auto work = std::make_unique<IncomingTransaction>(NodeHold::acquireLocked(*node, node),
                                                          code, std::move(incoming), slot, caller,
                                                          onewayBytes);
        if (!oneway) {
            auto& unanswered = node->unanswered;
            unanswered.erase(
                    std::remove_if(unanswered.begin(), unanswered.end(),
                                   [](const std::weak_ptr<ReplySlot>& s) { return s.expired(); }),
                    unanswered.end());
            unanswered.push_back(slot);
            ready = std::move(work);
        } else if (node->asyncActive) {
            node->asyncQueue.push_back(std::move(work));
        } else {
            node->asyncActive = true;
            ready = std::move(work);
        }
    }
    if (ready != nullptr)
        dest->post(std::move(ready));
    if (oneway)
        return STATUS_OK;

    std::unique_ptr<AParcel> answer;
    const binder_status_t status = slot->wait(&answer);
    if (status != STATUS_OK)
        return status;
    reply->copyFrom(*copyInto(*answer, proxy.processRef()));
    return STATUS_OK;
}

void InProcessTransport::onOnewayDone(const std::shared_ptr<Node>& node) {
    std::unique_ptr<Work> next;
    {
        MutexLock lock(node->lock);
        if (node->dead || node->asyncQueue.empty()) {
            node->asyncActive = false;
        } else {
            next = std::move(node->asyncQueue.front());
            node->asyncQueue.pop_front();
        }
    }
    if (next != nullptr)
        node->owner->post(std::move(next));
}

bool InProcessTransport::isAlive(const RemoteBinder& proxy) {
    Node& node = static_cast<NodeRef&>(proxy.ref()).node();
    MutexLock lock(node.lock);
    return !node.dead;
}

std::string InProcessTransport::descriptor(const RemoteBinder& proxy) {
    Node& node = static_cast<NodeRef&>(proxy.ref()).node();
    MutexLock lock(node.lock);
    return node.dead ? std::string() : node.descriptor;
}

void InProcessTransport::onProxyDestroyed(RemoteBinder& proxy) {
    Node& node = static_cast<NodeRef&>(proxy.ref()).node();
    bool cached = false;
    {
        MutexLock lock(node.lock);
        auto it = node.proxies.find(&proxy.process());
        if (it != node.proxies.end() && it->second == &proxy) {
            node.proxies.erase(it);
            cached = true;
        }
    }
    if (cached)
        proxy.decWeak();
}

void InProcessTransport::onLocalBinderDestroyed(Node& node) {
    MutexLock lock(node.lock);
    node.binder = nullptr;
}

bool InProcessTransport::killProcess(Process& process) {
    if (ThreadContext::current().isBinderThreadOf(process)) {
        std::fprintf(stderr, "binder: process %s killed from its own binder thread\n",
                     process.name().c_str());
        std::abort();
    }
    std::deque<std::unique_ptr<Work>> cancelled;
    std::vector<std::shared_ptr<Node>> nodes;
    {
        MutexLock lock(mLock);
        if (!process.markDead(&cancelled))
            return false;
        auto it = mNodesByOwner.find(&process);
        if (it != mNodesByOwner.end()) {
            for (auto& weak : it->second) {
                if (auto node = weak.lock())
                    nodes.push_back(std::move(node));
            }
            mNodesByOwner.erase(it);
        }
    }

    std::vector<std::shared_ptr<ReplySlot>> unanswered;
    std::vector<ndk::SpAIBinder> proxies;
    std::vector<AIBinder*> released;
    for (const auto& node : nodes) {
        MutexLock lock(node->lock);
        node->dead = true;
        for (auto& work : node->asyncQueue)
            cancelled.push_back(std::move(work));
        node->asyncQueue.clear();
        for (auto& weak : node->unanswered) {
            if (auto slot = weak.lock())
                unanswered.push_back(std::move(slot));
        }
        node->unanswered.clear();
        for (auto& [owner, proxy] : node->proxies) {
            if (proxy->tryIncStrong())
                proxies.emplace_back(proxy);
        }
        if (node->holdsBinder) {
            node->holdsBinder = false;
            released.push_back(node->binder);
        }
    }

    // Callers stop waiting at once, as their kernel would tell them; what the dying handlers
    // still answer is dropped.
    for (auto& slot : unanswered)
        slot->complete(STATUS_DEAD_OBJECT, nullptr);
    for (auto& work : cancelled)
        work->cancel();
    cancelled.clear();
    process.joinThreads();
    for (auto& proxy : proxies)
        proxy.get()->asRemote().sendObituary();
    proxies.clear();
    for (AIBinder* binder : released)
        binder->decStrong();
    ServiceManager::instance().removeServicesOf(process);
    return true;
}

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The in-process transport's record of a local object that was sent to another process, as the
// kernel keeps one: proxies and transactions in flight reach the object through it, and it
// keeps one strong reference on the object while any of them exist and the owner is alive.
// It also queues the object's oneway transactions so that they run one at a time, in order.
//
// Threads: any thread, under lock.

#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Mutex.h"
#include "Work.h"

struct AIBinder;

namespace hostbinder {

class LocalBinder;
class Process;
class RemoteBinder;
class ReplySlot;

class Node {
  public:
    Node(LocalBinder* binder, std::shared_ptr<Process> owner, std::string descriptor, bool dead)
        : owner(std::move(owner)), descriptor(std::move(descriptor)), binder(binder), dead(dead) {}

    // One more proxy or transaction refers to the object.
    void acquireLocked() HOST_REQUIRES(lock);
    // One fewer; returns the binder whose strong reference the caller must drop (outside the
    // lock) if that was the last, else null.
    AIBinder* releaseLocked() HOST_REQUIRES(lock);
    // The object with one strong reference for running a transaction, or null if it is gone.
    AIBinder* acquireBinderForCall() HOST_EXCLUDES(lock);

    const std::shared_ptr<Process> owner;
    const std::string descriptor;

    Mutex lock;
    // Null once the object was destroyed.
    LocalBinder* binder HOST_GUARDED_BY(lock);
    bool dead HOST_GUARDED_BY(lock);
    size_t remoteRefs HOST_GUARDED_BY(lock) = 0;
    bool holdsBinder HOST_GUARDED_BY(lock) = false;
    // A oneway transaction is queued or running; later ones wait in asyncQueue.
    bool asyncActive HOST_GUARDED_BY(lock) = false;
    std::deque<std::unique_ptr<Work>> asyncQueue HOST_GUARDED_BY(lock);
    // Two-way calls not answered yet, failed with STATUS_DEAD_OBJECT if the owner dies.
    std::vector<std::weak_ptr<ReplySlot>> unanswered HOST_GUARDED_BY(lock);
    // The proxy of each other process, each with a weak reference held here.
    std::map<Process*, RemoteBinder*> proxies HOST_GUARDED_BY(lock);
};

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Node.h"

#include "LocalBinder.h"

namespace hostbinder {

void Node::acquireLocked() {
    // The first reference comes from the object itself being sent, so it is still alive.
    if (remoteRefs++ == 0 && !dead && binder != nullptr && binder->tryIncStrong()) {
        holdsBinder = true;
    }
}

AIBinder* Node::releaseLocked() {
    if (--remoteRefs != 0 || !holdsBinder)
        return nullptr;
    holdsBinder = false;
    return binder;
}

AIBinder* Node::acquireBinderForCall() {
    MutexLock guard(lock);
    if (dead || binder == nullptr || !binder->tryIncStrong())
        return nullptr;
    return binder;
}

}  // namespace hostbinder

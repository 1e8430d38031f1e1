/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "NodeHold.h"

#include "Binder.h"

namespace hostbinder {

NodeHold NodeHold::acquireLocked(Node& node, std::shared_ptr<Node> owner) {
    node.acquireLocked();
    return NodeHold(std::move(owner));
}

NodeHold& NodeHold::operator=(NodeHold&& other) noexcept {
    if (this != &other) {
        reset();
        mNode = std::move(other.mNode);
    }
    return *this;
}

void NodeHold::reset() {
    if (mNode == nullptr)
        return;
    AIBinder* release;
    {
        MutexLock guard(mNode->lock);
        release = mNode->releaseLocked();
    }
    // Dropping the object's last reference runs its destruction, which may call back in.
    if (release != nullptr)
        release->decStrong();
    mNode.reset();
}

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// One AIBinder_linkToDeath: who to tell, with what, when the proxy's object dies.

#pragma once

#include <android/binder_ibinder.h>

namespace hostbinder {

struct DeathLink {
    // Identity only (for unlinking); never dereferenced through a link.
    const AIBinder_DeathRecipient* recipient;
    void* cookie;
    AIBinder_DeathRecipient_onBinderDied onDied;
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked;

    void unlinked() const {
        if (onUnlinked != nullptr)
            onUnlinked(cookie);
    }
};

}  // namespace hostbinder

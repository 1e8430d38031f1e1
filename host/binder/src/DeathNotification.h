/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The death notifications of one proxy, run on a binder thread of the proxy's process: for each
// link, onBinderDied then onUnlinked.

#pragma once

#include <memory>
#include <vector>

#include "DeathLink.h"
#include "PendingWork.h"
#include "Work.h"

namespace hostbinder {

class DeathNotification : public Work {
  public:
    DeathNotification(std::vector<DeathLink> links, std::shared_ptr<Process> process)
        : mPending(std::move(process)), mLinks(std::move(links)) {}

    void run() override {
        for (const DeathLink& link : mLinks) {
            if (link.onDied != nullptr)
                link.onDied(link.cookie);
            link.unlinked();
        }
    }
    // The linking process died too: nobody is left to tell.
    void cancel() override {}

  private:
    PendingWork mPending;
    const std::vector<DeathLink> mLinks;
};

}  // namespace hostbinder

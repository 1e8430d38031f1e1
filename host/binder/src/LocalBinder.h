/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A local binder object (made by AIBinder_new): runs transactions through its class's
// onTransact after checking their interface token.
//
// Threads: any thread. Transactions from other processes run on the owning process's binder
// threads; a transaction from the owning process itself runs on the caller's thread, as on a
// device.

#pragma once

#include <functional>
#include <memory>

#include "Binder.h"
#include "Mutex.h"

namespace hostbinder {

class Node;

class LocalBinder : public AIBinder {
  public:
    LocalBinder(const AIBinder_Class* clazz, void* userData, std::shared_ptr<Process> process)
        : AIBinder(clazz, std::move(process)), mUserData(userData) {}

    bool isRemote() const override { return false; }
    bool associateClass(const AIBinder_Class* clazz) override { return clazz == getClass(); }
    bool isAlive() const override { return true; }
    binder_status_t transact(transaction_code_t code, AParcel& data, AParcel* reply,
                             binder_flags_t flags) override;

    void* userData() const { return mUserData; }

    // Runs one incoming transaction: user codes go to the class (STATUS_BAD_TYPE if the
    // interface token does not match), ping and interface queries are answered here, anything
    // else is STATUS_UNKNOWN_TRANSACTION.
    binder_status_t dispatch(transaction_code_t code, const AParcel& data, AParcel* reply);

    // The record other processes reach this object through; create makes it on first use.
    std::shared_ptr<Node> exportedNode(const std::function<std::shared_ptr<Node>()>& create)
            HOST_EXCLUDES(mNodeLock);

  private:
    void onLastStrongRef() override;

    void* const mUserData;
    Mutex mNodeLock;
    std::shared_ptr<Node> mNode HOST_GUARDED_BY(mNodeLock);
};

}  // namespace hostbinder

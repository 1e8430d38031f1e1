/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A transaction from another process, run on a binder thread of the object's process: the
// parcel is already a copy for that process. A two-way transaction completes its caller's
// ReplySlot; a oneway one lets the object's next oneway transaction go.

#pragma once

#include <android/binder_ibinder.h>

#include <cstddef>
#include <memory>

#include "NodeHold.h"
#include "PendingWork.h"
#include "ThreadContext.h"
#include "Work.h"

namespace hostbinder {

class ReplySlot;

class IncomingTransaction : public Work {
  public:
    // slot is null for a oneway transaction, which holds onewayBytes of its process's oneway
    // buffer until it is gone.
    IncomingTransaction(NodeHold hold, transaction_code_t code, std::unique_ptr<AParcel> data,
                        std::shared_ptr<ReplySlot> slot, ThreadContext::Caller caller,
                        size_t onewayBytes = 0);
    ~IncomingTransaction() override;

    void run() override;
    void cancel() override;

  private:
    // First, so that the work stops counting as pending only after everything else is gone.
    PendingWork mPending;
    NodeHold mHold;
    const transaction_code_t mCode;
    std::unique_ptr<AParcel> mData;
    const std::shared_ptr<ReplySlot> mSlot;
    const ThreadContext::Caller mCaller;
    const size_t mOnewayBytes;
};

}  // namespace hostbinder

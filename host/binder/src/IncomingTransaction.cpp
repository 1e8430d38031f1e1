/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "IncomingTransaction.h"

#include "InProcessTransport.h"
#include "LocalBinder.h"
#include "Parcel.h"
#include "Process.h"
#include "ReplySlot.h"

namespace hostbinder {

IncomingTransaction::IncomingTransaction(NodeHold hold, transaction_code_t code,
                                         std::unique_ptr<AParcel> data,
                                         std::shared_ptr<ReplySlot> slot,
                                         ThreadContext::Caller caller, size_t onewayBytes)
    : mPending(hold.node()->owner),
      mHold(std::move(hold)),
      mCode(code),
      mData(std::move(data)),
      mSlot(std::move(slot)),
      mCaller(caller),
      mOnewayBytes(onewayBytes) {}

IncomingTransaction::~IncomingTransaction() {
    if (mOnewayBytes != 0)
        mHold.node()->owner->releaseOnewayBytes(mOnewayBytes);
}

void IncomingTransaction::run() {
    Node& node = *mHold.get();
    auto reply = std::make_unique<AParcel>();
    binder_status_t status = STATUS_DEAD_OBJECT;
    if (AIBinder* binder = node.acquireBinderForCall()) {
        IncomingCallScope scope(mCaller);
        status = binder->asLocal().dispatch(mCode, *mData, reply.get());
        binder->decStrong();
    }
    if (mSlot != nullptr) {
        if (status == STATUS_OK && reply->dataSize() > InProcessTransport::kMaxTwoWayBytes) {
            status = STATUS_FAILED_TRANSACTION;
        }
        // A process dies before its callers are told: a handler that returns in between must not
        // answer for the dead.
        if (!mHold.node()->owner->isAlive())
            status = STATUS_DEAD_OBJECT;
        mSlot->complete(status, status == STATUS_OK ? std::move(reply) : nullptr);
    } else {
        InProcessTransport::instance().onOnewayDone(mHold.node());
    }
}

void IncomingTransaction::cancel() {
    if (mSlot != nullptr)
        mSlot->complete(STATUS_DEAD_OBJECT, nullptr);
}

}  // namespace hostbinder

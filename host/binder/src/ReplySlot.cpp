/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ReplySlot.h"

namespace hostbinder {

void ReplySlot::complete(binder_status_t status, std::unique_ptr<AParcel> reply) {
    {
        MutexLock lock(mLock);
        if (mDone)
            return;
        mDone = true;
        mStatus = status;
        mReply = std::move(reply);
    }
    // One caller waits; woken after the unlock so that it does not block at once on mLock. The
    // slot outlives this call: the completer holds it by a shared pointer.
    mCompleted.notifyOne();
}

binder_status_t ReplySlot::wait(std::unique_ptr<AParcel>* reply) {
    MutexLock lock(mLock);
    while (!mDone)
        mCompleted.wait(lock);
    *reply = std::move(mReply);
    return mStatus;
}

void ReplySlot::offerTurn() {
    {
        MutexLock lock(mLock);
        if (mDone)
            return;
        mTurnOffered = true;
    }
    mCompleted.notifyOne();
}

bool ReplySlot::waitForTurn() {
    MutexLock lock(mLock);
    while (!mDone && !mTurnOffered)
        mCompleted.wait(lock);
    mTurnOffered = false;
    return mDone;
}

}  // namespace hostbinder

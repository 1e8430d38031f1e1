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
        mCompleted.notifyAll();
    }
}

binder_status_t ReplySlot::wait(std::unique_ptr<AParcel>* reply) {
    MutexLock lock(mLock);
    while (!mDone)
        mCompleted.wait(lock);
    *reply = std::move(mReply);
    return mStatus;
}

}  // namespace hostbinder

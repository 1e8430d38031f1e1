/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Where the answer to a two-way call meets its caller: the serving side (or the death of the
// serving process) completes it once; the caller waits for it. Where callers read their replies
// themselves, a waiting caller may also be told that it is its turn to read.
//
// Threads: complete and offerTurn from any thread; wait and waitForTurn from the caller's thread.

#pragma once

#include <android/binder_status.h>

#include <memory>

#include "Mutex.h"
#include "Parcel.h"

namespace hostbinder {

class ReplySlot {
  public:
    // The first completion wins; later ones are dropped.
    void complete(binder_status_t status, std::unique_ptr<AParcel> reply) HOST_EXCLUDES(mLock);
    // Returns the status; on STATUS_OK *reply is the serving side's reply.
    binder_status_t wait(std::unique_ptr<AParcel>* reply) HOST_EXCLUDES(mLock);

    // Wakes the caller from waitForTurn, unless it is answered already.
    void offerTurn() HOST_EXCLUDES(mLock);
    // Waits until the slot is completed (true) or offered the turn (false; the offer is used up).
    bool waitForTurn() HOST_EXCLUDES(mLock);

  private:
    Mutex mLock;
    CondVar mCompleted;
    bool mDone HOST_GUARDED_BY(mLock) = false;
    bool mTurnOffered HOST_GUARDED_BY(mLock) = false;
    binder_status_t mStatus HOST_GUARDED_BY(mLock) = STATUS_OK;
    std::unique_ptr<AParcel> mReply HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder

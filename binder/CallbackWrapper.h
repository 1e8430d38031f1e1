/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <android/binder_ibinder.h>

#include <memory>

#include <plim/Log.h>
#include <plim/Mutex.h>

namespace com::vyr::plim::modem {

/**
 * Holds the client's current callback of type T (IModemResponse or IModemIndication) and drops
 * it when the client process dies.
 *
 * Threads: update() from binder threads (setCallback, death notifications); get() from any
 * thread. A reader copies the pointer under the lock and calls the client without it, so a
 * callback replaced or cleared meanwhile stays alive until that call ends, and a slow client
 * never holds up update().
 *
 * The death recipient is made on the first non-empty update and reused for every later callback
 * of this holder; its cookie is the holder itself, which lives until process exit.
 */
template <typename T>
class CallbackWrapper {
  public:
    CallbackWrapper() = default;
    CallbackWrapper(const CallbackWrapper&) = delete;
    CallbackWrapper& operator=(const CallbackWrapper&) = delete;

    virtual ~CallbackWrapper() {
        // Process exit: nobody else can reach the holder any more, hence no lock.
        if (callback_ && deathRecipient_ != nullptr) {
            AIBinder_unlinkToDeath(callback_->asBinder().get(), deathRecipient_, this);
        }
        if (deathRecipient_ != nullptr) {
            AIBinder_DeathRecipient_delete(deathRecipient_);
            deathRecipient_ = nullptr;
        }
        callback_.reset();
    }

    /** Installs `cb` (empty clears), moving the death watch from the old binder to the new. */
    virtual void update(const std::shared_ptr<T>& cb) { replace(cb, /*onlyIfHeldIsDead=*/false); }

    /** The current callback, or empty. */
    std::shared_ptr<T> get() {
        MutexLock lock(mutex_);
        return callback_;
    }

    /** The death recipient's death callback; `cookie` is the holder. Called without its lock. */
    static void onClientDied(void* cookie) {
        Log::printAndroidLog(Log::WARN, TAG, "client of %s died, reset callback for %p",
                             T::descriptor, cookie);
        if (cookie != nullptr) {
            static_cast<CallbackWrapper*>(cookie)->clearIfDead();
        }
    }

    /** The death recipient's on-unlinked callback. The cookie is the long-lived holder, so there
     *  is nothing to free. */
    static void onBinderUnlinked(void* cookie) {
        Log::printAndroidLog(Log::WARN, TAG, "binder of %s unlinked, cookie = %p", T::descriptor,
                             cookie);
    }

    /** The death recipient in use, or null before the first callback: for tests. */
    AIBinder_DeathRecipient* getDeathRecipientForTesting() {
        MutexLock lock(mutex_);
        return deathRecipient_;
    }

  private:
    static constexpr const char* TAG = "modem-impl";

    /**
     * A death notice names the holder, not the callback: a client that died after being
     * replaced (its notice still on its way) must not take its successor with it. So the notice
     * clears only a callback whose binder is dead.
     */
    void clearIfDead() {
        if (isDead(get())) {
            replace(nullptr, /*onlyIfHeldIsDead=*/true);
        }
    }

    /** update()'s work; with `onlyIfHeldIsDead`, does nothing unless the held binder is dead
     *  (checked again under the lock: a setCallback may have come in since the caller looked). */
    void replace(const std::shared_ptr<T>& cb, bool onlyIfHeldIsDead) {
        Log::printAndroidLog(Log::INFO, TAG, "updating callback for %s", T::descriptor);
        MutexLock lock(mutex_);
        if (onlyIfHeldIsDead && !isDead(callback_)) {
            return;
        }
        if (isSameObject(cb, callback_)) {
            return;
        }
        // A dead binder's link ended with its death; unlinking it would only fail.
        if (callback_ && deathRecipient_ != nullptr && !isDead(callback_)) {
            binder_status_t status =
                    AIBinder_unlinkToDeath(callback_->asBinder().get(), deathRecipient_, this);
            if (status != STATUS_OK) {
                Log::printAndroidLog(Log::ERROR, TAG, "failed to unlink death, status = %d",
                                     status);
            }
        }
        callback_ = cb;
        if (!callback_) {
            return;
        }
        if (deathRecipient_ == nullptr) {
            deathRecipient_ = AIBinder_DeathRecipient_new(onClientDied);
            if (deathRecipient_ == nullptr) {
                Log::printAndroidLog(Log::ERROR, TAG, "failed to create death recipient for %s",
                                     T::descriptor);
                return;
            }
            AIBinder_DeathRecipient_setOnUnlinked(deathRecipient_, onBinderUnlinked);
        }
        binder_status_t status =
                AIBinder_linkToDeath(callback_->asBinder().get(), deathRecipient_, this);
        if (status != STATUS_OK) {
            Log::printAndroidLog(Log::ERROR, TAG, "failed to link death, status = %d", status);
        }
    }

    static bool isDead(const std::shared_ptr<T>& cb) {
        return cb && !AIBinder_isAlive(cb->asBinder().get());
    }

    /** Two callbacks are the same object when they reach the same binder: each setCallback
     *  brings a new proxy object for the same remote callback. */
    static bool isSameObject(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b) {
        if (!a || !b) {
            return a == b;
        }
        return a == b || a->asBinder().get() == b->asBinder().get();
    }

    std::shared_ptr<T> callback_ GUARDED_BY(mutex_);
    AIBinder_DeathRecipient* deathRecipient_ GUARDED_BY(mutex_) = nullptr;
    Mutex mutex_;
};

}  // namespace com::vyr::plim::modem

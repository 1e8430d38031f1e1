/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AIBinder: the common part of local objects (LocalBinder) and proxies (RemoteBinder): strong
// and weak reference counts, the class, and the simulated process the binder lives in.
//
// Counting: a binder starts with one strong reference. When the last strong reference goes,
// onLastStrongRef() runs (the object's destruction proper); the memory goes with the last weak
// reference (strong references together hold one weak reference), so weak holders can still
// try to promote and safely fail.
//
// Threads: all members may be called from any thread.

#pragma once

#include <android/binder_ibinder.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace hostbinder {
class LocalBinder;
class Process;
class RemoteBinder;
}  // namespace hostbinder

struct AIBinder {
  public:
    virtual ~AIBinder() = default;
    AIBinder(const AIBinder&) = delete;
    AIBinder& operator=(const AIBinder&) = delete;

    void incStrong() { mStrong.fetch_add(1, std::memory_order_relaxed); }
    void decStrong();
    // Adds a strong reference unless the last one is already gone.
    bool tryIncStrong();
    void incWeak() { mWeak.fetch_add(1, std::memory_order_relaxed); }
    void decWeak();
    int32_t strongCount() const { return mStrong.load(std::memory_order_relaxed); }

    virtual bool isRemote() const = 0;
    hostbinder::LocalBinder& asLocal();
    hostbinder::RemoteBinder& asRemote();

    const AIBinder_Class* getClass() const { return mClass.load(std::memory_order_acquire); }
    // Whether the object is of clazz; a proxy takes clazz on as its class if it fits.
    virtual bool associateClass(const AIBinder_Class* clazz) = 0;
    virtual bool isAlive() const = 0;
    // Runs a transaction on the object: on the caller's thread for a local object, on the
    // owning process's binder threads for a proxy. The data position of data is reset first.
    virtual binder_status_t transact(transaction_code_t code, AParcel& data, AParcel* reply,
                                     binder_flags_t flags) = 0;

    // The simulated process this binder object lives in.
    hostbinder::Process& process() const { return *mProcess; }
    const std::shared_ptr<hostbinder::Process>& processRef() const { return mProcess; }

  protected:
    AIBinder(const AIBinder_Class* clazz, std::shared_ptr<hostbinder::Process> process)
        : mClass(clazz), mProcess(std::move(process)) {}

    // The last strong reference is gone: release what the object holds.
    virtual void onLastStrongRef() = 0;

    std::atomic<const AIBinder_Class*> mClass;

  private:
    std::atomic<int32_t> mStrong{1};
    std::atomic<int32_t> mWeak{1};
    const std::shared_ptr<hostbinder::Process> mProcess;
};

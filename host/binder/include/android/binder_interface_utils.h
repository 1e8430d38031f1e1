/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: the C++ base classes of AIDL interfaces (ndk::SharedRefBase,
// ndk::ICInterface, ndk::BnCInterface, ndk::BpCInterface). Same names and semantics as the NDK's
// header of the same name.
//
// Unlike the current NDK, SharedRefBase's operator new is public: the host's AIDL compiler
// creates proxies with plain `new`. Prefer SharedRefBase::make<T>() in hand-written code.
//
// Threads: ref(), asBinder() and the static helpers may be called from any thread.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace ndk {

// Base of objects shared through std::shared_ptr that can hand out a shared_ptr to themselves.
class SharedRefBase {
  public:
    SharedRefBase() = default;
    // Misuse that a device catches here too, aborting with a message: an object that no
    // shared_ptr from ref() ever owned (on the stack, from std::make_shared, plain new and
    // delete), and one destroyed while its owners still count it alive (owned twice).
    virtual ~SharedRefBase() {
        if (!mRefMade.load())
            misuse("no ref created during its lifetime: make it with SharedRefBase::make");
        if (!mSelf.expired())
            misuse("destroyed while still owned: is it owned twice?");
    }
    SharedRefBase(const SharedRefBase&) = delete;
    SharedRefBase& operator=(const SharedRefBase&) = delete;

    // A shared_ptr to this object. The first call makes the object owned by shared_ptrs; the
    // object must have been created with new (or make) and must not be deleted by hand after.
    template <typename T = SharedRefBase>
    std::shared_ptr<T> ref() {
        std::shared_ptr<SharedRefBase> self;
        std::call_once(mOwnerOnce, [&] {
            self = std::shared_ptr<SharedRefBase>(this);
            mSelf = self;
            mRefMade.store(true);
        });
        if (self == nullptr)
            self = mSelf.lock();
        return std::static_pointer_cast<T>(self);
    }
    template <typename T = SharedRefBase>
    std::shared_ptr<const T> ref() const {
        return const_cast<SharedRefBase*>(this)->ref<T>();
    }

    template <typename T, typename... Args>
    static std::shared_ptr<T> make(Args&&... args) {
        T* object = new T(std::forward<Args>(args)...);
        return object->template ref<T>();
    }

    static void* operator new(size_t size) { return ::operator new(size); }
    static void operator delete(void* p) { ::operator delete(p); }

  private:
    [[noreturn]] static void misuse(const char* what) {
        std::fprintf(stderr, "ndk::SharedRefBase: %s\n", what);
        std::abort();
    }

    std::once_flag mOwnerOnce;
    std::atomic<bool> mRefMade{false};
    std::weak_ptr<SharedRefBase> mSelf;
};

// Base of every AIDL interface, local (Bn) or proxy (Bp).
class ICInterface : public SharedRefBase {
  public:
    ICInterface() = default;
    ~ICInterface() override = default;

    virtual SpAIBinder asBinder() = 0;
    virtual bool isRemote() = 0;

    // A class whose objects keep their ICInterface (given to AIBinder_new) alive.
    static AIBinder_Class* defineClass(const char* interfaceDescriptor,
                                       AIBinder_Class_onTransact onTransact) {
        return AIBinder_Class_define(interfaceDescriptor, &LocalData::onCreate,
                                     &LocalData::onDestroy, onTransact);
    }

    // The interface behind a local binder made by defineClass's class; null for a proxy.
    static std::shared_ptr<ICInterface> asInterface(AIBinder* binder) {
        if (binder == nullptr || AIBinder_isRemote(binder))
            return nullptr;
        void* userData = AIBinder_getUserData(binder);
        if (userData == nullptr)
            return nullptr;
        return static_cast<LocalData*>(userData)->interface;
    }

  private:
    // User data of a local binder: the binder owns its interface.
    struct LocalData {
        std::shared_ptr<ICInterface> interface;

        static void* onCreate(void* args) {
            auto* interface = static_cast<ICInterface*>(args);
            return new LocalData{interface->ref<ICInterface>()};
        }
        static void onDestroy(void* userData) { delete static_cast<LocalData*>(userData); }
    };
};

// Local implementation of INTERFACE: creates its binder on first use, and again after the
// previous one was destroyed.
template <typename INTERFACE>
class BnCInterface : public INTERFACE {
  public:
    BnCInterface() = default;
    ~BnCInterface() override = default;

    SpAIBinder asBinder() override final {
        std::lock_guard<std::mutex> guard(mBinderLock);
        SpAIBinder binder = mWeakBinder.promote();
        if (binder.get() == nullptr) {
            binder = createBinder();
            mWeakBinder.set(AIBinder_Weak_new(binder.get()));
        }
        return binder;
    }
    bool isRemote() override final { return false; }

  protected:
    virtual SpAIBinder createBinder() = 0;

  private:
    std::mutex mBinderLock;
    ScopedAIBinder_Weak mWeakBinder;
};

// Proxy implementation of INTERFACE for a binder (usually remote).
template <typename INTERFACE>
class BpCInterface : public INTERFACE {
  public:
    explicit BpCInterface(const SpAIBinder& binder) : mBinder(binder) {}
    ~BpCInterface() override = default;

    SpAIBinder asBinder() override final { return mBinder; }
    bool isRemote() override final { return AIBinder_isRemote(mBinder.get()); }

  private:
    SpAIBinder mBinder;
};

}  // namespace ndk

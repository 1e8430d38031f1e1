/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: RAII owners of the NDK's C objects (ndk::SpAIBinder,
// ndk::ScopedAStatus, ndk::ScopedAParcel, ...). Same names and semantics as the NDK's header of
// the same name.
//
// Threads: each owner is used by one thread at a time; the objects they own follow their own
// rules.

#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_parcel.h>
#include <android/binder_status.h>

#include <cstddef>
#include <string>
#include <utility>

namespace ndk {

// One strong reference to an AIBinder (or none).
class SpAIBinder {
  public:
    SpAIBinder() = default;
    // Adopts one strong reference that the caller already holds.
    explicit SpAIBinder(AIBinder* binder) : mBinder(binder) {}
    SpAIBinder(std::nullptr_t) {}  // NOLINT: implicit so that nullptr converts; owns nothing
    SpAIBinder(const SpAIBinder& other) : mBinder(other.mBinder) {
        if (mBinder != nullptr)
            AIBinder_incStrong(mBinder);
    }
    SpAIBinder(SpAIBinder&& other) noexcept : mBinder(other.mBinder) { other.mBinder = nullptr; }
    ~SpAIBinder() { set(nullptr); }

    SpAIBinder& operator=(const SpAIBinder& other) {
        if (this != &other) {
            if (other.mBinder != nullptr)
                AIBinder_incStrong(other.mBinder);
            set(other.mBinder);
        }
        return *this;
    }
    SpAIBinder& operator=(SpAIBinder&& other) noexcept {
        if (this != &other) {
            set(other.mBinder);
            other.mBinder = nullptr;
        }
        return *this;
    }

    // Drops the held reference and adopts binder's.
    void set(AIBinder* binder) {
        AIBinder* old = mBinder;
        mBinder = binder;
        if (old != nullptr)
            AIBinder_decStrong(old);
    }
    AIBinder* get() const { return mBinder; }
    // For out-parameters that hand over one reference; the owner must be empty.
    AIBinder** getR() { return &mBinder; }

    bool operator==(const SpAIBinder& rhs) const { return mBinder == rhs.mBinder; }
    bool operator!=(const SpAIBinder& rhs) const { return mBinder != rhs.mBinder; }
    bool operator<(const SpAIBinder& rhs) const { return mBinder < rhs.mBinder; }
    bool operator<=(const SpAIBinder& rhs) const { return mBinder <= rhs.mBinder; }
    bool operator>(const SpAIBinder& rhs) const { return mBinder > rhs.mBinder; }
    bool operator>=(const SpAIBinder& rhs) const { return mBinder >= rhs.mBinder; }
    // With a raw binder on the right, as the device's header allows.
    bool operator==(const AIBinder* rhs) const { return mBinder == rhs; }
    bool operator!=(const AIBinder* rhs) const { return mBinder != rhs; }
    bool operator<(const AIBinder* rhs) const { return mBinder < rhs; }
    bool operator<=(const AIBinder* rhs) const { return mBinder <= rhs; }
    bool operator>(const AIBinder* rhs) const { return mBinder > rhs; }
    bool operator>=(const AIBinder* rhs) const { return mBinder >= rhs; }

  private:
    AIBinder* mBinder = nullptr;
};

namespace impl {

// Sole owner of one resource T, released with Destroy; DEFAULT means "none".
template <typename T, void (*Destroy)(T), T DEFAULT>
class ScopedAResource {
  public:
    explicit ScopedAResource(T t = DEFAULT) : mT(t) {}
    ~ScopedAResource() { set(DEFAULT); }

    ScopedAResource(const ScopedAResource&) = delete;
    ScopedAResource& operator=(const ScopedAResource&) = delete;
    ScopedAResource(ScopedAResource&& other) noexcept : mT(other.mT) { other.mT = DEFAULT; }
    ScopedAResource& operator=(ScopedAResource&& other) noexcept {
        if (this != &other) {
            set(other.mT);
            other.mT = DEFAULT;
        }
        return *this;
    }

    // Releases the held resource and takes t.
    void set(T t) {
        T old = mT;
        mT = t;
        if (old != DEFAULT)
            Destroy(old);
    }
    T get() { return mT; }
    const T get() const { return mT; }
    [[nodiscard]] T release() {
        T t = mT;
        mT = DEFAULT;
        return t;
    }
    // For out-parameters that hand over a resource; the owner must be empty.
    T* getR() { return &mT; }

  private:
    T mT;
};

}  // namespace impl

class ScopedAParcel : public impl::ScopedAResource<AParcel*, AParcel_delete, nullptr> {
  public:
    explicit ScopedAParcel(AParcel* a = nullptr) : ScopedAResource(a) {}
    ScopedAParcel(ScopedAParcel&&) = default;
    ScopedAParcel& operator=(ScopedAParcel&&) = default;
};

// The outcome of an AIDL method call. An empty owner is not ok.
class ScopedAStatus : public impl::ScopedAResource<AStatus*, AStatus_delete, nullptr> {
  public:
    explicit ScopedAStatus(AStatus* a = nullptr) : ScopedAResource(a) {}
    ScopedAStatus(ScopedAStatus&&) = default;
    ScopedAStatus& operator=(ScopedAStatus&&) = default;

    bool isOk() const { return get() != nullptr && AStatus_isOk(get()); }
    binder_exception_t getExceptionCode() const { return AStatus_getExceptionCode(get()); }
    int32_t getServiceSpecificError() const { return AStatus_getServiceSpecificError(get()); }
    binder_status_t getStatus() const { return AStatus_getStatus(get()); }
    const char* getMessage() const { return AStatus_getMessage(get()); }
    std::string getDescription() const {
        const char* text = AStatus_getDescription(get());
        std::string description(text);
        AStatus_deleteDescription(text);
        return description;
    }

    static ScopedAStatus ok() { return ScopedAStatus(AStatus_newOk()); }
    static ScopedAStatus fromExceptionCode(binder_exception_t exception) {
        return ScopedAStatus(AStatus_fromExceptionCode(exception));
    }
    static ScopedAStatus fromExceptionCodeWithMessage(binder_exception_t exception,
                                                      const char* message) {
        return ScopedAStatus(AStatus_fromExceptionCodeWithMessage(exception, message));
    }
    static ScopedAStatus fromServiceSpecificError(int32_t serviceSpecific) {
        return ScopedAStatus(AStatus_fromServiceSpecificError(serviceSpecific));
    }
    static ScopedAStatus fromServiceSpecificErrorWithMessage(int32_t serviceSpecific,
                                                             const char* message) {
        return ScopedAStatus(AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, message));
    }
    static ScopedAStatus fromStatus(binder_status_t status) {
        return ScopedAStatus(AStatus_fromStatus(status));
    }
};

class ScopedAIBinder_DeathRecipient
    : public impl::ScopedAResource<AIBinder_DeathRecipient*, AIBinder_DeathRecipient_delete,
                                   nullptr> {
  public:
    explicit ScopedAIBinder_DeathRecipient(AIBinder_DeathRecipient* a = nullptr)
        : ScopedAResource(a) {}
    ScopedAIBinder_DeathRecipient(ScopedAIBinder_DeathRecipient&&) = default;
    ScopedAIBinder_DeathRecipient& operator=(ScopedAIBinder_DeathRecipient&&) = default;
};

class ScopedAIBinder_Weak
    : public impl::ScopedAResource<AIBinder_Weak*, AIBinder_Weak_delete, nullptr> {
  public:
    explicit ScopedAIBinder_Weak(AIBinder_Weak* a = nullptr) : ScopedAResource(a) {}
    ScopedAIBinder_Weak(ScopedAIBinder_Weak&&) = default;
    ScopedAIBinder_Weak& operator=(ScopedAIBinder_Weak&&) = default;

    SpAIBinder promote() const {
        return SpAIBinder(AIBinder_Weak_promote(const_cast<AIBinder_Weak*>(get())));
    }
};

}  // namespace ndk

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "TestObject.h"

#include <android/binder_manager.h>

#include <atomic>

namespace testobject {

namespace {

void* onCreate(void* args) {
    return new Handler(std::move(*static_cast<Handler*>(args)));
}

void onDestroy(void* userData) {
    delete static_cast<Handler*>(userData);
}

binder_status_t onTransact(AIBinder* binder, transaction_code_t code, const AParcel* in,
                           AParcel* out) {
    return (*static_cast<Handler*>(AIBinder_getUserData(binder)))(code, in, out);
}

}  // namespace

const AIBinder_Class* objectClass() {
    static const AIBinder_Class* clazz =
            AIBinder_Class_define(kDescriptor, onCreate, onDestroy, onTransact);
    return clazz;
}

ndk::SpAIBinder create(Handler handler) {
    return ndk::SpAIBinder(AIBinder_new(objectClass(), &handler));
}

ndk::SpAIBinder sendTo(ABinderHost_Process* process, const ndk::SpAIBinder& binder) {
    static std::atomic<int> counter{0};
    const std::string name = "plim.test.carrier/" + std::to_string(counter++);
    if (AServiceManager_addService(binder.get(), name.c_str()) != EX_NONE)
        return nullptr;
    ABinderHost_Process* previous = ABinderHost_Process_enter(process);
    ndk::SpAIBinder received(AServiceManager_checkService(name.c_str()));
    ABinderHost_Process_enter(previous);
    if (received.get() != nullptr && !AIBinder_associateClass(received.get(), objectClass())) {
        return nullptr;
    }
    return received;
}

binder_status_t callInt(const ndk::SpAIBinder& binder, transaction_code_t code, int32_t value,
                        int32_t* result, binder_flags_t flags) {
    ndk::ScopedAParcel in;
    binder_status_t status = AIBinder_prepareTransaction(binder.get(), in.getR());
    if (status != STATUS_OK)
        return status;
    status = AParcel_writeInt32(in.get(), value);
    if (status != STATUS_OK)
        return status;
    ndk::ScopedAParcel out;
    status = AIBinder_transact(binder.get(), code, in.getR(), out.getR(), flags);
    if (status != STATUS_OK || result == nullptr)
        return status;
    return AParcel_readInt32(out.get(), result);
}

}  // namespace testobject

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "TestObject.h"

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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

binder_status_t callWith(const ndk::SpAIBinder& binder, transaction_code_t code,
                         const std::vector<int32_t>& args, ndk::ScopedAParcel* reply,
                         binder_flags_t flags, AIBinder* first) {
    ndk::ScopedAParcel in;
    binder_status_t status = AIBinder_prepareTransaction(binder.get(), in.getR());
    if (status == STATUS_OK && first != nullptr)
        status = AParcel_writeStrongBinder(in.get(), first);
    for (int32_t arg : args) {
        if (status == STATUS_OK)
            status = AParcel_writeInt32(in.get(), arg);
    }
    if (status != STATUS_OK)
        return status;
    ndk::ScopedAParcel out;
    status = AIBinder_transact(binder.get(), code, in.getR(), out.getR(), flags);
    if (reply != nullptr)
        *reply = std::move(out);
    return status;
}

binder_status_t callInt(const ndk::SpAIBinder& binder, transaction_code_t code, int32_t value,
                        int32_t* result, binder_flags_t flags) {
    ndk::ScopedAParcel reply;
    const binder_status_t status = callWith(binder, code, {value}, &reply, flags);
    return status != STATUS_OK || result == nullptr ? status
                                                    : AParcel_readInt32(reply.get(), result);
}

}  // namespace testobject

namespace xproc {

namespace {

// One gate for the whole executable: a test has one other process at a time.
std::mutex gGateMutex;
std::condition_variable gGateChanged;
bool gGateClosed = false;

void setGate(bool closed) {
    std::lock_guard<std::mutex> lock(gGateMutex);
    gGateClosed = closed;
    gGateChanged.notify_all();
}

// A simulated process being killed waits for its handlers: they leave the gate when it dies.
void passGate() {
    ABinderHost_Process* self = ABinderHost_Process_getCurrent();
    std::unique_lock<std::mutex> lock(gGateMutex);
    while (gGateClosed && ABinderHost_Process_isAlive(self))
        gGateChanged.wait_for(lock, std::chrono::milliseconds(5));
}

struct State {
    AIBinder* self = nullptr;  // valid while a transaction to it runs
    std::mutex mutex;
    std::vector<std::pair<int32_t, int32_t>> record;
    int32_t inside = 0;
    bool passing = false;
    bool overlapped = false;
    ndk::SpAIBinder firstBounced;
};

binder_status_t record(State& state, const AParcel* in) {
    int32_t value = 0;
    if (AParcel_readInt32(in, &value) != STATUS_OK)
        return STATUS_BAD_VALUE;
    const int32_t caller = AIBinder_getCallingPid();
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        ++state.inside;
    }
    passGate();
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.overlapped = state.overlapped || state.passing;
        state.passing = true;
    }
    std::this_thread::yield();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.passing = false;
    state.record.emplace_back(value, caller);
    --state.inside;
    return STATUS_OK;
}

binder_status_t recorded(State& state, AParcel* out) {
    std::lock_guard<std::mutex> lock(state.mutex);
    AParcel_writeInt32(out, static_cast<int32_t>(state.record.size()));
    AParcel_writeInt32(out, state.inside);
    AParcel_writeInt32(out, state.overlapped);
    for (const auto& [value, caller] : state.record) {
        AParcel_writeInt32(out, value);
        AParcel_writeInt32(out, caller);
    }
    return STATUS_OK;
}

binder_status_t callBack(const AParcel* in, AParcel* out) {
    ndk::SpAIBinder target;
    int32_t code = 0, value = 0, flags = 0, count = 0, threads = 0;
    for (int32_t* field : {&code, &value, &flags, &count, &threads}) {
        if (field == &code && AParcel_readStrongBinder(in, target.getR()) != STATUS_OK)
            return STATUS_BAD_VALUE;
        if (AParcel_readInt32(in, field) != STATUS_OK)
            return STATUS_BAD_VALUE;
    }
    if (target.get() == nullptr || threads < 1 ||
        !AIBinder_associateClass(target.get(), testobject::objectClass()))
        return STATUS_BAD_VALUE;
    std::mutex mutex;
    binder_status_t failed = STATUS_OK;
    int32_t answer = 0;
    ABinderHost_Process* process = ABinderHost_Process_getCurrent();
    auto calls = [&](int32_t n) {
        ndk::host::ProcessContext context(process);
        for (int32_t i = 0; i < n; ++i) {
            int32_t result = 0;
            const binder_status_t status =
                    testobject::callInt(target, static_cast<transaction_code_t>(code), value,
                                        flags == 0 ? &result : nullptr, flags);
            std::lock_guard<std::mutex> lock(mutex);
            if (failed == STATUS_OK)
                failed = status;
            answer = result;
        }
    };
    std::vector<std::thread> pool;
    for (int32_t t = 0; t < threads; ++t)
        pool.emplace_back(calls, count / threads + (t < count % threads ? 1 : 0));
    for (std::thread& thread : pool)
        thread.join();
    AParcel_writeInt32(out, failed);
    return AParcel_writeInt32(out, answer);
}

binder_status_t mirror(const AParcel* in, AParcel* out) {
    const int32_t start = AParcel_getDataPosition(in);
    std::vector<uint8_t> bytes(static_cast<size_t>(AParcel_getDataSize(in) - start));
    binder_status_t status =
            AParcel_marshal(in, bytes.data(), static_cast<size_t>(start), bytes.size());
    if (status != STATUS_OK)
        return status;
    return AParcel_unmarshal(out, bytes.data(), bytes.size());
}

binder_status_t fail(const AParcel* in, AParcel* out) {
    int32_t status = 0, exception = 0;
    if (AParcel_readInt32(in, &status) != STATUS_OK ||
        AParcel_readInt32(in, &exception) != STATUS_OK)
        return STATUS_BAD_VALUE;
    if (exception == EX_NONE)
        return status;
    ndk::ScopedAStatus reply(exception == EX_SERVICE_SPECIFIC
                                     ? AStatus_fromServiceSpecificErrorWithMessage(status, "m")
                                     : AStatus_fromExceptionCodeWithMessage(exception, "m"));
    return AParcel_writeStatusHeader(out, reply.get());
}

binder_status_t lookUp(const AParcel* in, AParcel* out) {
    std::string name;
    int32_t wait = 0;
    if (ndk::AParcel_readString(in, &name) != STATUS_OK ||
        AParcel_readInt32(in, &wait) != STATUS_OK)
        return STATUS_BAD_VALUE;
    ndk::SpAIBinder found(wait ? AServiceManager_waitForService(name.c_str())
                               : AServiceManager_checkService(name.c_str()));
    ndk::SpAIBinder again(AServiceManager_checkService(name.c_str()));
    AParcel_writeStrongBinder(out, found.get());
    return AParcel_writeInt32(out, found.get() == again.get());
}

binder_status_t handle(State& state, transaction_code_t code, const AParcel* in, AParcel* out) {
    int32_t value = 0;
    switch (code) {
        case kEcho:
            if (AParcel_readInt32(in, &value) != STATUS_OK)
                return STATUS_BAD_VALUE;
            for (int32_t field : {value * 2, AIBinder_getCallingPid(),
                                  static_cast<int32_t>(AIBinder_getCallingUid()),
                                  ABinderHost_Process_getPid(ABinderHost_Process_getCurrent()),
                                  static_cast<int32_t>(ABinderHost_isBinderThread()),
                                  static_cast<int32_t>(AIBinder_isHandlingTransaction())})
                AParcel_writeInt32(out, field);
            return STATUS_OK;
        case kCallBack:
            return callBack(in, out);
        case kBounce: {
            ndk::SpAIBinder binder;
            if (AParcel_readStrongBinder(in, binder.getR()) != STATUS_OK)
                return STATUS_BAD_VALUE;
            std::lock_guard<std::mutex> lock(state.mutex);
            if (state.firstBounced.get() == nullptr)
                state.firstBounced = binder;
            AParcel_writeStrongBinder(out, binder.get());
            return AParcel_writeInt32(out, binder.get() == state.firstBounced.get());
        }
        case kRecord:
            return record(state, in);
        case kRecorded:
            return recorded(state, out);
        case kCloseGate:
        case kOpenGate:
            setGate(code == kCloseGate);
            return STATUS_OK;
        case kNewObject:
            return AParcel_writeStrongBinder(out, newPeerObject().get());
        case kMirror:
            return mirror(in, out);
        case kFail:
            return fail(in, out);
        case kLookUp:
            return lookUp(in, out);
        case kRegister: {
            std::string name;
            if (ndk::AParcel_readString(in, &name) != STATUS_OK)
                return STATUS_BAD_VALUE;
            return AParcel_writeInt32(out, AServiceManager_addService(state.self, name.c_str()));
        }
        case kPending:
            return AParcel_writeInt32(out, static_cast<int32_t>(ABinderHost_Process_getPendingWork(
                                                   ABinderHost_Process_getCurrent())) -
                                                   1);
        case kSizedReply:
            if (AParcel_readInt32(in, &value) != STATUS_OK || value < 4)
                return STATUS_BAD_VALUE;
            return ndk::AParcel_writeVector(out,
                                            std::vector<uint8_t>(static_cast<size_t>(value - 4)));
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

}  // namespace

ndk::SpAIBinder newPeerObject() {
    auto state = std::make_shared<State>();
    ndk::SpAIBinder object =
            testobject::create([state](transaction_code_t code, const AParcel* in, AParcel* out) {
                return handle(*state, code, in, out);
            });
    state->self = object.get();
    return object;
}

}  // namespace xproc

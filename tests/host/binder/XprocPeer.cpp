/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The other process of the cross-process tests, started with PLIM_BINDER_SOCKET_DIR set:
//   serve <name>         registers a test object (see XprocProtocol.h) and serves until killed;
//   call <name> <value>  calls the service's kEcho two-way and exits 0 if the answer is right
//                        and names this process as the caller.

#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "TestObject.h"
#include "XprocProtocol.h"

namespace {

std::mutex gMutex;
std::vector<int32_t> gRecorded;

binder_status_t handle(transaction_code_t code, const AParcel* in, AParcel* out) {
    int32_t value = 0;
    switch (code) {
        case xproc::kEcho:
            if (AParcel_readInt32(in, &value) != STATUS_OK)
                return STATUS_BAD_VALUE;
            AParcel_writeInt32(out, value * 2);
            AParcel_writeInt32(out, AIBinder_getCallingPid());
            AParcel_writeInt32(out, static_cast<int32_t>(AIBinder_getCallingUid()));
            return AParcel_writeInt32(out, getpid());
        case xproc::kCallBack: {
            ndk::SpAIBinder callback;
            if (AParcel_readStrongBinder(in, callback.getR()) != STATUS_OK ||
                AParcel_readInt32(in, &value) != STATUS_OK || callback.get() == nullptr ||
                !AIBinder_associateClass(callback.get(), testobject::objectClass())) {
                return STATUS_BAD_VALUE;
            }
            int32_t answer = 0;
            const binder_status_t status =
                    testobject::callInt(callback, xproc::kEcho, value, &answer);
            if (status != STATUS_OK)
                return status;
            return AParcel_writeInt32(out, answer);
        }
        case xproc::kBounce: {
            ndk::SpAIBinder binder;
            if (AParcel_readStrongBinder(in, binder.getR()) != STATUS_OK)
                return STATUS_BAD_VALUE;
            return AParcel_writeStrongBinder(out, binder.get());
        }
        case xproc::kRecord: {
            if (AParcel_readInt32(in, &value) != STATUS_OK)
                return STATUS_BAD_VALUE;
            std::lock_guard<std::mutex> lock(gMutex);
            gRecorded.push_back(value);
            return STATUS_OK;
        }
        case xproc::kRecorded: {
            std::lock_guard<std::mutex> lock(gMutex);
            AParcel_writeInt32(out, static_cast<int32_t>(gRecorded.size()));
            for (int32_t recorded : gRecorded)
                AParcel_writeInt32(out, recorded);
            return STATUS_OK;
        }
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

int serve(const char* name) {
    ABinderProcess_setThreadPoolMaxThreadCount(4);
    ABinderProcess_startThreadPool();
    ndk::SpAIBinder object = testobject::create(handle);
    if (AServiceManager_addService(object.get(), name) != EX_NONE) {
        std::fprintf(stderr, "xproc peer: cannot register %s\n", name);
        return 2;
    }
    ABinderProcess_joinThreadPool();
    return 0;
}

int call(const char* name, int32_t value) {
    ndk::SpAIBinder service;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (service.get() == nullptr && std::chrono::steady_clock::now() < deadline) {
        service.set(AServiceManager_checkService(name));
        if (service.get() == nullptr)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (service.get() == nullptr ||
        !AIBinder_associateClass(service.get(), testobject::objectClass())) {
        std::fprintf(stderr, "xproc peer: no service %s\n", name);
        return 3;
    }
    ndk::ScopedAParcel in;
    ndk::ScopedAParcel out;
    int32_t doubled = 0;
    int32_t pid = 0;
    if (AIBinder_prepareTransaction(service.get(), in.getR()) != STATUS_OK ||
        AParcel_writeInt32(in.get(), value) != STATUS_OK ||
        AIBinder_transact(service.get(), xproc::kEcho, in.getR(), out.getR(), 0) != STATUS_OK ||
        AParcel_readInt32(out.get(), &doubled) != STATUS_OK ||
        AParcel_readInt32(out.get(), &pid) != STATUS_OK) {
        std::fprintf(stderr, "xproc peer: call to %s failed\n", name);
        return 4;
    }
    if (doubled != value * 2 || pid != getpid()) {
        std::fprintf(stderr, "xproc peer: got %d from caller %d, wanted %d from %d\n", doubled, pid,
                     value * 2, getpid());
        return 5;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "serve") == 0)
        return serve(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "call") == 0)
        return call(argv[2], static_cast<int32_t>(std::atoi(argv[3])));
    std::fprintf(stderr, "usage: %s serve <name> | call <name> <value>\n", argv[0]);
    return 1;
}

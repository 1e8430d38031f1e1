/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "OtherProcess.h"

#include <android/binder_manager.h>
#include <android/binder_parcel_utils.h>
#include <android/binder_process.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "TestObject.h"

extern char** environ;

namespace {

// Static storage without a destructor: the exit handler that removes it runs after the static
// strings are gone.
char gSocketDir[] = "/tmp/plim-xproc-XXXXXX";

std::string uniqueName() {
    static std::atomic<int> counter{0};
    return "plim.test.other/" + std::to_string(getpid()) + "-" + std::to_string(counter++);
}

}  // namespace

std::string transportName(TransportKind kind) {
    return kind == TransportKind::kInProcess ? "InProcess" : "Socket";
}

const std::string& OtherProcess::socketDirectory() {
    static const std::string directory = [] {
        const char* made = mkdtemp(gSocketDir);
        if (made != nullptr) {
            std::atexit([] {
                std::error_code ignored;
                std::filesystem::remove_all(gSocketDir, ignored);
            });
        }
        return std::string(made != nullptr ? made : "");
    }();
    return directory;
}

void OtherProcess::selectTransport(TransportKind kind, uint32_t maxThreads) {
    if (kind == TransportKind::kSocket) {
        ASSERT_FALSE(socketDirectory().empty()) << "no temporary directory";
        setenv("PLIM_BINDER_SOCKET_DIR", socketDirectory().c_str(), 1);
    } else {
        unsetenv("PLIM_BINDER_SOCKET_DIR");
    }
    if (maxThreads != kPoolStartedByTest) {
        ABinderProcess_setThreadPoolMaxThreadCount(maxThreads);
        ABinderProcess_startThreadPool();
    }
}

OtherProcess::OtherProcess(TransportKind kind) : mName(uniqueName()) {
    if (kind == TransportKind::kInProcess) {
        mSimulated = std::make_unique<ndk::host::ScopedProcess>("other");
        mSimulated->startThreadPool(3);
        mPid = mSimulated->pid();
        ndk::SpAIBinder object = mSimulated->run([] { return xproc::newPeerObject(); });
        if (mSimulated->run([&] {
                return AServiceManager_addService(object.get(), mName.c_str());
            }) != EX_NONE)
            return;
    } else {
        // A real process running XprocPeer, in this process's socket directory (the environment).
        char* argv[] = {const_cast<char*>(XPROC_PEER_PATH), const_cast<char*>("serve"),
                        const_cast<char*>(mName.c_str()), nullptr};
        if (posix_spawn(&mPid, XPROC_PEER_PATH, nullptr, nullptr, argv, environ) != 0)
            mPid = -1;
    }
    eventually([&] {
        mObject.set(AServiceManager_checkService(mName.c_str()));
        return mObject.get() != nullptr;
    });
    if (mObject.get() != nullptr &&
        !AIBinder_associateClass(mObject.get(), testobject::objectClass()))
        mObject.set(nullptr);
}

OtherProcess::~OtherProcess() {
    kill();
}

bool OtherProcess::kill() {
    if (mSimulated != nullptr)
        return mSimulated->kill();
    if (mPid <= 0)
        return false;
    ::kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
    mPid = -mPid;  // keeps pid() meaningless rather than naming a reused pid
    return true;
}

int32_t OtherProcess::pendingWork() const {
    ndk::ScopedAParcel reply;
    int32_t pending = -1;
    if (callWith(mObject, xproc::kPending, {}, &reply) == STATUS_OK)
        AParcel_readInt32(reply.get(), &pending);
    return pending;
}

bool OtherProcess::waitForIdle() {
    if (mSimulated != nullptr) {
        mSimulated->waitForIdle();
        return true;
    }
    return eventually([&] { return pendingWork() == 0; });
}

binder_status_t recordBytes(const ndk::SpAIBinder& peerObject, size_t dataSize,
                            binder_flags_t flags) {
    ndk::ScopedAParcel in;
    binder_status_t status = AIBinder_prepareTransaction(peerObject.get(), in.getR());
    // After the interface token, a byte[] whose length field and bytes fill the rest.
    const size_t used = static_cast<size_t>(AParcel_getDataSize(in.get())) + 4;
    if (status == STATUS_OK)
        status = ndk::AParcel_writeVector(in.get(), std::vector<uint8_t>(dataSize - used));
    if (status != STATUS_OK)
        return status;
    ndk::ScopedAParcel out;
    return AIBinder_transact(peerObject.get(), xproc::kRecord, in.getR(), out.getR(), flags);
}

Relayed callBackThrough(const ndk::SpAIBinder& peerObject, AIBinder* target, int32_t value,
                        binder_flags_t flags, int32_t count, int32_t threads) {
    Relayed relayed;
    ndk::ScopedAParcel reply;
    relayed.status =
            callWith(peerObject, xproc::kCallBack,
                     {FIRST_CALL_TRANSACTION, value, static_cast<int32_t>(flags), count, threads},
                     &reply, 0, target);
    if (relayed.status == STATUS_OK) {
        AParcel_readInt32(reply.get(), &relayed.status);
        AParcel_readInt32(reply.get(), &relayed.answer);
    }
    return relayed;
}

PeerRecord recordOf(const ndk::SpAIBinder& peerObject) {
    PeerRecord record;
    record.inside = -1;
    ndk::ScopedAParcel reply;
    int32_t count = 0;
    int32_t overlapped = 0;
    if (callWith(peerObject, xproc::kRecorded, {}, &reply) == STATUS_OK &&
        AParcel_readInt32(reply.get(), &count) == STATUS_OK &&
        AParcel_readInt32(reply.get(), &record.inside) == STATUS_OK &&
        AParcel_readInt32(reply.get(), &overlapped) == STATUS_OK) {
        record.overlapped = overlapped != 0;
        record.values.resize(static_cast<size_t>(count));
        record.callers.resize(static_cast<size_t>(count));
        for (size_t i = 0; i < record.values.size(); ++i) {
            AParcel_readInt32(reply.get(), &record.values[i]);
            AParcel_readInt32(reply.get(), &record.callers[i]);
        }
    }
    return record;
}

void TwoProcessTest::startOther(TransportKind kind, uint32_t ownMaxThreads) {
    OtherProcess::selectTransport(kind, ownMaxThreads);
    other = std::make_unique<OtherProcess>(kind);
    ASSERT_NE(nullptr, other->object().get()) << "the other process never served its object";
}

void TwoProcessTest::TearDown() {
    if (other != nullptr && other->object().get() != nullptr &&
        callWith(other->object(), xproc::kOpenGate, {}) == STATUS_OK) {
        EXPECT_TRUE(other->waitForIdle()) << "the other process still has work queued";
    }
    ABinderHost_waitForIdle();
    EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
            << "this process still has work queued";
}

ndk::SpAIBinder TwoProcessTest::newPeerObject() {
    ndk::ScopedAParcel reply;
    ndk::SpAIBinder object;
    if (callWith(other->object(), xproc::kNewObject, {}, &reply) == STATUS_OK)
        AParcel_readStrongBinder(reply.get(), object.getR());
    if (object.get() != nullptr)
        AIBinder_associateClass(object.get(), testobject::objectClass());
    return object;
}

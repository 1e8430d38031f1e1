/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "OtherProcess.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "PeerObject.h"
#include "TestObject.h"
#include "XprocProtocol.h"

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
        mPid = spawnPeer({"serve", mName});
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
    waitPeer(mPid);
    mPid = -mPid;  // keeps pid() meaningless rather than naming a reused pid
    return true;
}

bool OtherProcess::waitForIdle() {
    if (mSimulated != nullptr) {
        mSimulated->waitForIdle();
        return true;
    }
    return eventually([&] {
        AParcel* reply = nullptr;
        int32_t pending = -1;
        if (callWith(mObject, xproc::kPending, {}, &reply) == STATUS_OK)
            AParcel_readInt32(reply, &pending);
        AParcel_delete(reply);
        return pending == 0;
    });
}

pid_t spawnPeer(std::vector<std::string> args) {
    args.insert(args.begin(), XPROC_PEER_PATH);
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    if (posix_spawn(&pid, XPROC_PEER_PATH, nullptr, nullptr, argv.data(), environ) != 0)
        return -1;
    return pid;
}

int waitPeer(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid)
        return -2;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

binder_status_t callWith(const ndk::SpAIBinder& binder, transaction_code_t code,
                         const std::vector<int32_t>& args, AParcel** reply, binder_flags_t flags,
                         AIBinder* first) {
    AParcel* in = nullptr;
    binder_status_t status = AIBinder_prepareTransaction(binder.get(), &in);
    if (status == STATUS_OK && first != nullptr)
        status = AParcel_writeStrongBinder(in, first);
    for (int32_t arg : args) {
        if (status == STATUS_OK)
            status = AParcel_writeInt32(in, arg);
    }
    if (status != STATUS_OK) {
        AParcel_delete(in);
        return status;
    }
    AParcel* out = nullptr;
    status = AIBinder_transact(binder.get(), code, &in, &out, flags);
    if (reply != nullptr)
        *reply = out;
    else
        AParcel_delete(out);
    return status;
}

PeerRecord recordOf(const ndk::SpAIBinder& peerObject) {
    PeerRecord record;
    record.inside = -1;
    AParcel* reply = nullptr;
    int32_t count = 0;
    int32_t overlapped = 0;
    if (callWith(peerObject, xproc::kRecorded, {}, &reply) == STATUS_OK &&
        AParcel_readInt32(reply, &count) == STATUS_OK &&
        AParcel_readInt32(reply, &record.inside) == STATUS_OK &&
        AParcel_readInt32(reply, &overlapped) == STATUS_OK) {
        record.overlapped = overlapped != 0;
        record.values.resize(static_cast<size_t>(count));
        record.callers.resize(static_cast<size_t>(count));
        for (size_t i = 0; i < record.values.size(); ++i) {
            AParcel_readInt32(reply, &record.values[i]);
            AParcel_readInt32(reply, &record.callers[i]);
        }
    }
    AParcel_delete(reply);
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
    AParcel* reply = nullptr;
    ndk::SpAIBinder object;
    if (callWith(other->object(), xproc::kNewObject, {}, &reply) == STATUS_OK)
        AParcel_readStrongBinder(reply, object.getR());
    AParcel_delete(reply);
    if (object.get() != nullptr)
        AIBinder_associateClass(object.get(), testobject::objectClass());
    return object;
}

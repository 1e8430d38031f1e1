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
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>

extern char** environ;

namespace testobject {

const AIBinder_Class* objectClass() {
    static const AIBinder_Class* clazz = AIBinder_Class_define(
            "plim.test.IObject",
            [](void* args) -> void* {
                return new Handler(std::move(*static_cast<Handler*>(args)));
            },
            [](void* userData) { delete static_cast<Handler*>(userData); },
            [](AIBinder* binder, transaction_code_t code, const AParcel* in, AParcel* out) {
                return (*static_cast<Handler*>(AIBinder_getUserData(binder)))(code, in, out);
            });
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
    if (received.get() != nullptr && !AIBinder_associateClass(received.get(), objectClass()))
        return nullptr;
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

}  // namespace testobject

namespace xproc {

namespace {

// One gate for the whole executable (a test has one other process at a time), and one mutex for
// the gate and the records.
std::mutex gMutex;
std::condition_variable gGateChanged;
bool gGateClosed = false;

struct State {
    int32_t count = 0;
    int32_t inside = 0;
};

binder_status_t record(State& state) {
    // A simulated process being killed waits for its handlers: they leave when it dies.
    ABinderHost_Process* self = ABinderHost_Process_getCurrent();
    std::unique_lock<std::mutex> lock(gMutex);
    ++state.inside;
    while (gGateClosed && ABinderHost_Process_isAlive(self))
        gGateChanged.wait_for(lock, std::chrono::milliseconds(5));
    --state.inside;
    ++state.count;
    return STATUS_OK;
}

binder_status_t callBack(const AParcel* in, AParcel* out) {
    ndk::SpAIBinder target;
    int32_t value = 0, answer = 0;
    if (AParcel_readStrongBinder(in, target.getR()) != STATUS_OK ||
        AParcel_readInt32(in, &value) != STATUS_OK || target.get() == nullptr ||
        !AIBinder_associateClass(target.get(), testobject::objectClass()))
        return STATUS_BAD_VALUE;
    ndk::ScopedAParcel reply;
    binder_status_t status = callWith(target, FIRST_CALL_TRANSACTION, {value}, &reply);
    if (status == STATUS_OK)
        status = AParcel_readInt32(reply.get(), &answer);
    return status == STATUS_OK ? AParcel_writeInt32(out, answer) : status;
}

binder_status_t handle(State& state, transaction_code_t code, const AParcel* in, AParcel* out) {
    int32_t size = 0;
    switch (code) {
        case kCallBack:
            return callBack(in, out);
        case kRecord:
            return record(state);
        case kRecorded: {
            std::lock_guard<std::mutex> lock(gMutex);
            AParcel_writeInt32(out, state.count);
            return AParcel_writeInt32(out, state.inside);
        }
        case kCloseGate:
        case kOpenGate: {
            std::lock_guard<std::mutex> lock(gMutex);
            gGateClosed = code == kCloseGate;
            gGateChanged.notify_all();
            return STATUS_OK;
        }
        case kNewObject:
            return AParcel_writeStrongBinder(out, newPeerObject().get());
        case kPending:
            return AParcel_writeInt32(out, static_cast<int32_t>(ABinderHost_Process_getPendingWork(
                                                   ABinderHost_Process_getCurrent())) -
                                                   1);
        case kSizedReply:
            if (AParcel_readInt32(in, &size) != STATUS_OK || size < 4)
                return STATUS_BAD_VALUE;
            return ndk::AParcel_writeVector(out,
                                            std::vector<uint8_t>(static_cast<size_t>(size - 4)));
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

}  // namespace

ndk::SpAIBinder newPeerObject() {
    auto state = std::make_shared<State>();
    return testobject::create([state](transaction_code_t code, const AParcel* in, AParcel* out) {
        return handle(*state, code, in, out);
    });
}

}  // namespace xproc

namespace {

// Static storage without a destructor: the exit handler that removes it runs after the static
// strings are gone.
char gSocketDir[] = "/tmp/plim-xproc-XXXXXX";

const char* socketDirectory() {
    static const char* directory = [] {
        const char* made = mkdtemp(gSocketDir);
        if (made != nullptr) {
            std::atexit([] {
                std::error_code ignored;
                std::filesystem::remove_all(gSocketDir, ignored);
            });
        }
        return made;
    }();
    return directory;
}

}  // namespace

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

PeerRecord recordOf(const ndk::SpAIBinder& peerObject) {
    PeerRecord record;
    ndk::ScopedAParcel reply;
    if (callWith(peerObject, xproc::kRecorded, {}, &reply) != STATUS_OK ||
        AParcel_readInt32(reply.get(), &record.count) != STATUS_OK ||
        AParcel_readInt32(reply.get(), &record.inside) != STATUS_OK)
        record.inside = -1;
    return record;
}

void TwoProcessTest::startOther(TransportKind kind) {
    static int started = 0;  // a name of its own for each other process of this one
    otherName = "plim.test.other/" + std::to_string(getpid()) + "-" + std::to_string(started++);
    if (kind == TransportKind::kSocket) {
        ASSERT_NE(nullptr, socketDirectory()) << "no temporary directory";
        setenv("PLIM_BINDER_SOCKET_DIR", socketDirectory(), 1);
        char* argv[] = {const_cast<char*>(XPROC_PEER_PATH), otherName.data(), nullptr};
        ASSERT_EQ(0, posix_spawn(&otherPid, XPROC_PEER_PATH, nullptr, nullptr, argv, environ))
                << "cannot start the peer process";
    } else {
        unsetenv("PLIM_BINDER_SOCKET_DIR");
        simulated = std::make_unique<ndk::host::ScopedProcess>("other");
        simulated->startThreadPool(3);
        ASSERT_EQ(EX_NONE, simulated->run([&] {
            return AServiceManager_addService(xproc::newPeerObject().get(), otherName.c_str());
        })) << "the other process could not register its object";
    }
    // Callbacks from the other process run on this process's pool.
    ABinderProcess_setThreadPoolMaxThreadCount(2);
    ABinderProcess_startThreadPool();
    eventually([&] {
        peer.set(AServiceManager_checkService(otherName.c_str()));
        return peer.get() != nullptr;
    });
    ASSERT_TRUE(peer.get() != nullptr &&
                AIBinder_associateClass(peer.get(), testobject::objectClass()))
            << "the other process never served its object";
}

bool TwoProcessTest::killOther() {
    if (simulated != nullptr)
        return simulated->kill();
    if (otherPid <= 0)
        return false;
    kill(otherPid, SIGKILL);
    waitpid(otherPid, nullptr, 0);
    otherPid = -1;  // never to name a reused pid
    return true;
}

void TwoProcessTest::TearDown() {
    if (peer.get() != nullptr && callWith(peer, xproc::kOpenGate, {}) == STATUS_OK) {
        EXPECT_TRUE(eventually([&] {
            ndk::ScopedAParcel reply;
            int32_t pending = -1;
            return callWith(peer, xproc::kPending, {}, &reply) == STATUS_OK &&
                   AParcel_readInt32(reply.get(), &pending) == STATUS_OK && pending == 0;
        })) << "the other process still has work queued";
    }
    ABinderHost_waitForIdle();
    EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
            << "this process still has work queued";
}

ndk::SpAIBinder TwoProcessTest::newPeerObject() {
    ndk::ScopedAParcel reply;
    ndk::SpAIBinder object;
    if (callWith(peer, xproc::kNewObject, {}, &reply) == STATUS_OK)
        AParcel_readStrongBinder(reply.get(), object.getR());
    if (object.get() != nullptr)
        AIBinder_associateClass(object.get(), testobject::objectClass());
    return object;
}

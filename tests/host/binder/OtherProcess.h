/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The process a test talks binder with, over either transport: a simulated process of the test
// executable (InProcess) or a real process running XprocPeer (Socket), each serving a peer
// object, so that one test body drives either. The test itself runs in the default process;
// CTest runs every case in a process of its own, so a case picks its transport in SetUp.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// Polls predicate until it holds; false if it did not within limit, so that a lost wake-up
// fails the test instead of hanging it.
template <typename Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

namespace testobject {

using Handler = std::function<binder_status_t(transaction_code_t, const AParcel*, AParcel*)>;

const AIBinder_Class* objectClass();
// A new local test object, owned by the calling thread's process, running handler.
ndk::SpAIBinder create(Handler handler);
// binder as seen from process: registered by the calling thread's process, looked up from process.
ndk::SpAIBinder sendTo(ABinderHost_Process* process, const ndk::SpAIBinder& binder);

// A call with the given int32 arguments (after first, if any); *reply (if any) gets the reply.
binder_status_t callWith(const ndk::SpAIBinder& binder, transaction_code_t code,
                         const std::vector<int32_t>& args, ndk::ScopedAParcel* reply = nullptr,
                         binder_flags_t flags = 0, AIBinder* first = nullptr);

}  // namespace testobject

using testobject::callWith;

// The peer object's transaction codes.
namespace xproc {

// binder b, int32 v: the server calls FIRST_CALL_TRANSACTION(v) on b -> int32 its answer; fails
// as that call did.
constexpr transaction_code_t kCallBack = FIRST_CALL_TRANSACTION;
// Waits while the gate is closed, then counts the call in this object's record.
constexpr transaction_code_t kRecord = FIRST_CALL_TRANSACTION + 1;
// -> int32 kRecord calls that ran, int32 kRecord calls inside now.
constexpr transaction_code_t kRecorded = FIRST_CALL_TRANSACTION + 2;
// Closes / opens the gate of the server's process.
constexpr transaction_code_t kCloseGate = FIRST_CALL_TRANSACTION + 3;
constexpr transaction_code_t kOpenGate = FIRST_CALL_TRANSACTION + 4;
// -> binder: a new peer object with a record of its own.
constexpr transaction_code_t kNewObject = FIRST_CALL_TRANSACTION + 5;
// -> int32 work pending in the server's process, not counting this call.
constexpr transaction_code_t kPending = FIRST_CALL_TRANSACTION + 6;
// int32 n (a multiple of 4, at least 4) -> a reply of exactly n bytes: a byte[] filling it.
constexpr transaction_code_t kSizedReply = FIRST_CALL_TRANSACTION + 7;

// A new peer object owned by the calling thread's process.
ndk::SpAIBinder newPeerObject();

}  // namespace xproc

enum class TransportKind { kInProcess, kSocket };

inline std::string transportName(TransportKind kind) {
    return kind == TransportKind::kInProcess ? "InProcess" : "Socket";
}
inline auto bothTransports() {
    return ::testing::Values(TransportKind::kInProcess, TransportKind::kSocket);
}
inline std::string transportRowName(const ::testing::TestParamInfo<TransportKind>& info) {
    return transportName(info.param);
}

// What a peer object's kRecord calls left behind; inside is -1 if it could not be read.
struct PeerRecord {
    int32_t count = 0;   // calls that ran
    int32_t inside = 0;  // calls in the handler now, at the gate or past it
};
PeerRecord recordOf(const ndk::SpAIBinder& peerObject);

// A kRecord call to a peer object whose request is exactly dataSize bytes (a multiple of 4).
binder_status_t recordBytes(const ndk::SpAIBinder& peerObject, size_t dataSize,
                            binder_flags_t flags);

// Base of the fixtures with another process: makes this process use the transport with a pool of
// its own, starts the other, serving its peer object, and ends by opening its gate and asserting
// that neither process has work left.
class TwoProcessTest : public ::testing::Test {
  protected:
    ~TwoProcessTest() override { killOther(); }
    void startOther(TransportKind kind);
    void TearDown() override;

    // Kills the other process as SIGKILL would; false if it was dead already.
    bool killOther();
    // Another peer object of the other process, with a record of its own.
    ndk::SpAIBinder newPeerObject();

    std::string otherName;  // its peer object's name with the service manager
    std::unique_ptr<ndk::host::ScopedProcess> simulated;  // the other process, if InProcess
    pid_t otherPid = -1;                                  // the other process, if Socket
    ndk::SpAIBinder peer;  // this process's proxy for the other's peer object
};

// The fixture of the suites that run every case on both transports (rows InProcess, Socket).
class TransportTest : public TwoProcessTest, public ::testing::WithParamInterface<TransportKind> {
  protected:
    void SetUp() override { startOther(GetParam()); }
};

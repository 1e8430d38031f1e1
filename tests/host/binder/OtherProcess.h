/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The process a test talks binder with, over either transport: a simulated process of the test
// executable (InProcess) or a real process started from XprocPeer (Socket), each serving a peer
// object (PeerObject.h). The test itself runs in the default process. CTest runs every case in
// a process of its own, so a case picks its transport in SetUp, before its first binder call.
//
// Threads: the test's thread.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

enum class TransportKind { kInProcess, kSocket };

// Named rows: InProcess, Socket.
inline auto bothTransports() {
    return ::testing::Values(TransportKind::kInProcess, TransportKind::kSocket);
}
std::string transportName(TransportKind kind);
inline std::string transportRowName(const ::testing::TestParamInfo<TransportKind>& info) {
    return transportName(info.param);
}

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

class OtherProcess {
  public:
    static constexpr uint32_t kPoolStartedByTest = UINT32_MAX;

    // Makes this test process use the transport, and starts its own binder thread pool (callbacks
    // from the other process run there) unless maxThreads is kPoolStartedByTest. Before the
    // process's first binder call.
    static void selectTransport(TransportKind kind, uint32_t maxThreads = 2);
    // The socket directory of this process ("" if none could be made).
    static const std::string& socketDirectory();

    // Starts the other process; object() is valid once it returns.
    explicit OtherProcess(TransportKind kind);
    ~OtherProcess();  // kills it if still alive
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // This process's proxy for the other's peer object, null if it never came up.
    const ndk::SpAIBinder& object() const { return mObject; }
    // The name its peer object is registered under (with the service manager of its transport).
    const std::string& name() const { return mName; }
    // What AIBinder_getCallingPid reports for its calls.
    pid_t pid() const { return mPid; }
    // Kills it as SIGKILL would; false if it was dead already.
    bool kill();
    // Waits until the other process has no transactions queued or running; false on timeout.
    bool waitForIdle();

  private:
    const std::string mName;
    std::unique_ptr<ndk::host::ScopedProcess> mSimulated;
    pid_t mPid = -1;
    ndk::SpAIBinder mObject;
};

// What a peer object's kRecord calls left behind.
struct PeerRecord {
    int32_t inside = 0;  // calls in the handler now, at the gate or past it
    bool overlapped = false;
    std::vector<int32_t> values;
    std::vector<int32_t> callers;  // calling pids
};
// The record of a peer object; inside is -1 if it could not be read.
PeerRecord recordOf(const ndk::SpAIBinder& peerObject);

// Base of the fixtures that run against both transports: starts the other process, and ends by
// opening its gate and asserting that neither process has work left.
class TwoProcessTest : public ::testing::Test {
  protected:
    void startOther(TransportKind kind, uint32_t ownMaxThreads = 2);
    void TearDown() override;

    // Another peer object of the other process, with a record of its own.
    ndk::SpAIBinder newPeerObject();

    std::unique_ptr<OtherProcess> other;
};

// A real process running XprocPeer with args, in this process's socket directory; -1 on failure.
pid_t spawnPeer(std::vector<std::string> args);
// Exit status of a spawned peer that ends by itself, -1 if it was killed.
int waitPeer(pid_t pid);

// A two-way or oneway call with the given int32 arguments; *reply (if any) gets the reply.
binder_status_t callWith(const ndk::SpAIBinder& binder, transaction_code_t code,
                         const std::vector<int32_t>& args, AParcel** reply = nullptr,
                         binder_flags_t flags = 0, AIBinder* first = nullptr);

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The process a test talks binder with, over either transport: a simulated process of the test
// executable (InProcess) or a real process started from XprocPeer (Socket), each serving a peer
// object (TestObject.h). The test itself runs in the default process. CTest runs every case in
// a process of its own, so a case picks its transport in SetUp, before its first binder call.
//
// Threads: the test's thread.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "TestObject.h"
#include "Waiting.h"

enum class TransportKind { kInProcess, kSocket };

// Named rows: InProcess, Socket.
inline auto bothTransports() {
    return ::testing::Values(TransportKind::kInProcess, TransportKind::kSocket);
}
std::string transportName(TransportKind kind);
inline void PrintTo(TransportKind kind, std::ostream* os) {
    *os << transportName(kind);
}
inline std::string transportRowName(const ::testing::TestParamInfo<TransportKind>& info) {
    return transportName(info.param);
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
    // Its transactions queued or running, not counting the one asking; -1 if it did not answer.
    int32_t pendingWork() const;
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

// The fixture of the suites that run every case on both transports (rows InProcess, Socket).
class TransportTest : public TwoProcessTest, public ::testing::WithParamInterface<TransportKind> {
  protected:
    void SetUp() override { startOther(GetParam()); }
};

// The fixture of table-driven suites whose every row runs on both transports.
template <typename Row>
class TransportRowTest : public TwoProcessTest,
                         public ::testing::WithParamInterface<std::tuple<TransportKind, Row>> {
  protected:
    void SetUp() override { startOther(std::get<0>(this->GetParam())); }
    const Row& row() const { return std::get<1>(this->GetParam()); }
};

// Names a row of bothTransports() x rows that have a name: InProcessName, SocketName.
template <typename Row>
std::string transportAndRowName(
        const ::testing::TestParamInfo<std::tuple<TransportKind, Row>>& info) {
    return transportName(std::get<0>(info.param)) + std::get<1>(info.param).name;
}

using testobject::callWith;

// A kRecord call to a peer object whose request is exactly dataSize bytes (a multiple of 4).
binder_status_t recordBytes(const ndk::SpAIBinder& peerObject, size_t dataSize,
                            binder_flags_t flags);

// What a kCallBack relayed: the first failing status of its calls (or of the kCallBack itself),
// and the answer of the last two-way one.
struct Relayed {
    binder_status_t status = STATUS_UNKNOWN_ERROR;
    int32_t answer = 0;
};
// Has the peer object make count calls FIRST_CALL_TRANSACTION(value) to target, from threads
// threads of its process.
Relayed callBackThrough(const ndk::SpAIBinder& peerObject, AIBinder* target, int32_t value,
                        binder_flags_t flags = 0, int32_t count = 1, int32_t threads = 1);

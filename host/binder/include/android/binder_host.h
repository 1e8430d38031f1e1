/*
 * Copyright (C) 2026 The plim-modem developers
 */

// HOST ONLY, NOT PART OF THE NDK: simulated processes for the host build of the binder NDK.
//
// A device runs a service and its clients in separate processes; the host runs them in one
// executable, each in a simulated process. What makes them separate is the same as on a device:
//
//  - Every thread runs in one process at a time. A thread starts in the default process, which
//    is where the daemon runs (its ABinderProcess_* and AServiceManager_addService calls act on
//    it). ABinderHost_Process_enter (or ndk::host::ProcessContext) moves a thread to another
//    process. Threads started with std::thread start in the default process, whoever starts them.
//  - A local binder belongs to the process its thread was in when the binder was created; for a
//    BnXxx that is the first asBinder() call (usually when it is first written to a parcel).
//  - A binder that reaches another process, in a parcel or from the service manager, arrives
//    there as a proxy (AIBinder_isRemote true). Calls through the proxy are written to a parcel,
//    copied, and read on one of the owning process's binder threads, never on the caller's
//    thread; oneway calls return at once and run one at a time per object, in order.
//    So code in one process reaches an object of another only through parcels.
//  - Each process has its own binder thread pool (ABinderProcess_startThreadPool called while
//    in the process, or ScopedProcess::startThreadPool). A process without threads queues its
//    incoming transactions and death notifications until it has one.
//  - Killing a process is what its exit is on a device: its objects die, calls to them fail with
//    STATUS_DEAD_OBJECT, its services leave the service manager, and every death recipient
//    linked to its objects fires once, asynchronously, on a binder thread of the process that
//    linked it.
//
// Where the host differs from a device:
//  - A two-way call into a process whose thread is itself waiting in a call to the caller runs on
//    that process's pool, not on the waiting thread (a device reuses it): such a process needs a
//    started pool.
//  - The transaction buffer limits each two-way transaction (1 MiB - 8 KiB), not the sum of
//    those in flight. Oneway transactions are limited as on a device: those queued for one
//    simulated process share half that, so a process that stops reading makes further oneway
//    calls to it fail with STATUS_FAILED_TRANSACTION until it reads again (between real
//    processes, each sender has such a share at its receiver).
//  - Proxies held by a killed process keep their objects alive until they are dropped.
//
// Typical test, with the daemon in the default process:
//
//     ABinderProcess_setThreadPoolMaxThreadCount(1);
//     ABinderProcess_startThreadPool();
//     ... daemon registers its service with AServiceManager_addService ...
//     ndk::host::ScopedProcess client("client");
//     client.startThreadPool(1);
//     client.run([&] {
//         auto modem = IModem::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name)));
//         callback = ndk::SharedRefBase::make<TestResponse>();
//         modem->setCallback(callback, nullptr);  // daemon receives a proxy for callback
//     });
//     ... responses arrive on the client's binder thread ...
//     ABinderHost_waitForIdle();
//     client.kill();  // daemon's death recipient for the callback fires
//
// Real processes: a process whose environment has PLIM_BINDER_SOCKET_DIR (a directory, made if
// missing, mode 0700) when it first calls the service manager talks binder with the other
// processes using the same directory, over Unix-domain sockets: its default process registers
// and finds services there, and proxies reach objects of the other processes. Optionally
// PLIM_BINDER_SOCKET_GID (a numeric group id) also lets that group's processes connect.
// Simulated processes keep using the in-process service manager. What is carried and what not
// yet is described in src/SocketTransport.h.
//
// Threads: every function may be called from any thread, except where noted.

#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <android/binder_status.h>

#ifdef __cplusplus
#include <utility>
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct ABinderHost_Process;
typedef struct ABinderHost_Process ABinderHost_Process;

// The process threads start in. Never dies; not owned by the caller.
ABinderHost_Process* ABinderHost_Process_getDefault(void);
// The calling thread's process.
ABinderHost_Process* ABinderHost_Process_getCurrent(void);

// A new live process named name, with no binder threads. The caller owns it and must delete it.
__attribute__((warn_unused_result)) ABinderHost_Process* ABinderHost_Process_new(const char* name);
// Kills the process if it is alive, then releases the caller's handle. No thread may still be
// in the process. Must not be called on the default process.
void ABinderHost_Process_delete(ABinderHost_Process* process);

// Moves the calling thread into process (null: the default process) and returns the process it
// was in. The process must outlive the thread's stay.
ABinderHost_Process* ABinderHost_Process_enter(ABinderHost_Process* process);

// Makes the process die, as if it had exited. Returns false for the default process (which
// cannot die) or a process that is already dead. When it returns:
//  - no code runs on the process's binder threads any more (the call waits for running
//    transactions to return, so it must not be called from one of them) and its threads in
//    ABinderProcess_joinThreadPool have been told to return;
//  - two-way calls into it that had not been answered have failed with STATUS_DEAD_OBJECT, its
//    queued oneway calls are dropped, and later calls to its objects fail the same way;
//  - its services are gone from the service manager;
//  - death notifications for its objects are queued to the processes that linked them.
// Calls made by a dead process fail with STATUS_DEAD_OBJECT.
bool ABinderHost_Process_kill(ABinderHost_Process* process);
bool ABinderHost_Process_isAlive(const ABinderHost_Process* process);

// What AIBinder_getCallingPid reports in other processes for calls from this one.
pid_t ABinderHost_Process_getPid(const ABinderHost_Process* process);
const char* ABinderHost_Process_getName(const ABinderHost_Process* process);
// Binder threads the pool has started so far (not counting joined threads).
uint32_t ABinderHost_Process_getBinderThreadCount(const ABinderHost_Process* process);

// Incoming transactions and death notifications of the process that are queued or running.
size_t ABinderHost_Process_getPendingWork(const ABinderHost_Process* process);
// Waits until the process has no pending work. Not from one of its binder threads.
void ABinderHost_Process_waitForIdle(const ABinderHost_Process* process);
// Waits until no process has pending work, including work that pending work queues on the way
// (a oneway call made by a handler, a death notification, ...). Not from a binder thread.
void ABinderHost_waitForIdle(void);

// Whether the calling thread is a binder thread (pool or joined) of its process.
bool ABinderHost_isBinderThread(void);

// Test hooks for failures a device can produce. Each holds for every simulated process at once
// (not per process) until cleared; a test that sets one clears it before it ends.
//
// While refused, ABinderProcess_setThreadPoolMaxThreadCount returns false and leaves the maximum
// as it was (shrinking a started pool still aborts first).
void ABinderHost_setThreadPoolMaxThreadCountRefused(bool refused);
// While exception is not EX_NONE, AServiceManager_addService registers nothing and returns it:
// EX_ILLEGAL_ARGUMENT as for a service missing from the device's VINTF manifest, EX_SECURITY as
// for a policy denial. This includes the calls that test helpers make to carry binders between
// processes. EX_NONE clears it.
void ABinderHost_setAddServiceFailure(binder_exception_t exception);

#ifdef __cplusplus
}  // extern "C"

namespace ndk {
namespace host {

// Runs the calling thread in a process for the scope's lifetime.
class ProcessContext {
  public:
    explicit ProcessContext(ABinderHost_Process* process)
        : mPrevious(ABinderHost_Process_enter(process)) {}
    ~ProcessContext() { ABinderHost_Process_enter(mPrevious); }
    ProcessContext(const ProcessContext&) = delete;
    ProcessContext& operator=(const ProcessContext&) = delete;

  private:
    ABinderHost_Process* mPrevious;
};

// Owns a simulated process; destroying it kills the process.
class ScopedProcess {
  public:
    explicit ScopedProcess(const char* name) : mProcess(ABinderHost_Process_new(name)) {}
    ~ScopedProcess() { ABinderHost_Process_delete(mProcess); }
    ScopedProcess(const ScopedProcess&) = delete;
    ScopedProcess& operator=(const ScopedProcess&) = delete;

    ABinderHost_Process* get() const { return mProcess; }

    // Runs fn on the calling thread inside the process and returns its result.
    template <typename Fn>
    auto run(Fn&& fn) -> decltype(fn()) {
        ProcessContext context(mProcess);
        return std::forward<Fn>(fn)();
    }

    // Starts the process's binder thread pool: one thread now, up to maxLazyThreads more lazily.
    void startThreadPool(uint32_t maxLazyThreads);

    bool kill() { return ABinderHost_Process_kill(mProcess); }
    bool isAlive() const { return ABinderHost_Process_isAlive(mProcess); }
    pid_t pid() const { return ABinderHost_Process_getPid(mProcess); }
    size_t pendingWork() const { return ABinderHost_Process_getPendingWork(mProcess); }
    void waitForIdle() const { ABinderHost_Process_waitForIdle(mProcess); }

  private:
    ABinderHost_Process* mProcess;
};

}  // namespace host
}  // namespace ndk

#include <android/binder_process.h>

inline void ndk::host::ScopedProcess::startThreadPool(uint32_t maxLazyThreads) {
    ProcessContext context(mProcess);
    ABinderProcess_setThreadPoolMaxThreadCount(maxLazyThreads);
    ABinderProcess_startThreadPool();
}

#endif  // __cplusplus

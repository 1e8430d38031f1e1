/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What the binder knows about the calling thread: the simulated process it runs in, whether it
// is one of that process's binder threads, and the callers of the transactions it is handling.
//
// Threads: each thread has its own; only that thread touches it.

#pragma once

#include <sys/types.h>

#include <memory>
#include <vector>

namespace hostbinder {

class Process;

class ThreadContext {
  public:
    struct Caller {
        pid_t pid;
        uid_t uid;
    };

    static ThreadContext& current();

    // The process the thread runs in: the one entered last, else the default process.
    Process& process() const;
    std::shared_ptr<Process> processRef() const;
    // Returns the process the thread was in before (null for the default process).
    Process* enter(Process* process);

    // Set while the thread serves a process's binder thread pool.
    bool isBinderThread() const { return mServing != nullptr && mServing == &process(); }
    bool isBinderThreadOf(const Process& process) const { return mServing == &process; }
    void setServing(Process* process) { mServing = process; }

    // Incoming transactions the thread is running, innermost last.
    void pushCaller(Caller caller) { mCallers.push_back(caller); }
    void popCaller() { mCallers.pop_back(); }
    const Caller* caller() const { return mCallers.empty() ? nullptr : &mCallers.back(); }

  private:
    Process* mProcess = nullptr;
    Process* mServing = nullptr;
    std::vector<Caller> mCallers;
};

// Marks the calling thread as handling a transaction for the scope's lifetime.
class IncomingCallScope {
  public:
    explicit IncomingCallScope(ThreadContext::Caller caller) {
        ThreadContext::current().pushCaller(caller);
    }
    ~IncomingCallScope() { ThreadContext::current().popCaller(); }
    IncomingCallScope(const IncomingCallScope&) = delete;
    IncomingCallScope& operator=(const IncomingCallScope&) = delete;
};

}  // namespace hostbinder

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The host-only ABinderHost_* functions (android/binder_host.h). An ABinderHost_Process is a
// hostbinder::Process.

#include <android/binder_host.h>

#include <cstdio>
#include <cstdlib>

#include "InProcessTransport.h"
#include "InjectedFailures.h"
#include "Process.h"
#include "ProcessRegistry.h"
#include "ThreadContext.h"
#include "WorkTracker.h"

using hostbinder::Process;
using hostbinder::ProcessRegistry;
using hostbinder::ThreadContext;
using hostbinder::WorkTracker;

namespace {

Process* toProcess(ABinderHost_Process* process) {
    return reinterpret_cast<Process*>(process);
}

const Process* toProcess(const ABinderHost_Process* process) {
    return reinterpret_cast<const Process*>(process);
}

ABinderHost_Process* toHandle(Process* process) {
    return reinterpret_cast<ABinderHost_Process*>(process);
}

void requireNotBinderThread(const char* function) {
    if (ThreadContext::current().isBinderThread()) {
        std::fprintf(stderr, "binder: %s would wait for itself on a binder thread\n", function);
        std::abort();
    }
}

}  // namespace

ABinderHost_Process* ABinderHost_Process_getDefault() {
    return toHandle(&ProcessRegistry::instance().defaultProcess());
}

ABinderHost_Process* ABinderHost_Process_getCurrent() {
    return toHandle(&ThreadContext::current().process());
}

ABinderHost_Process* ABinderHost_Process_new(const char* name) {
    return toHandle(ProcessRegistry::instance().create(name != nullptr ? name : "process"));
}

void ABinderHost_Process_delete(ABinderHost_Process* process) {
    if (process == nullptr)
        return;
    Process* p = toProcess(process);
    if (p == &ProcessRegistry::instance().defaultProcess()) {
        std::fprintf(stderr, "binder: the default process cannot be deleted\n");
        std::abort();
    }
    hostbinder::InProcessTransport::instance().killProcess(*p);
    if (!ProcessRegistry::instance().release(p)) {
        std::fprintf(stderr, "binder: ABinderHost_Process_delete of a process it did not make\n");
        std::abort();
    }
}

ABinderHost_Process* ABinderHost_Process_enter(ABinderHost_Process* process) {
    Process* previous = ThreadContext::current().enter(toProcess(process));
    return previous != nullptr ? toHandle(previous) : ABinderHost_Process_getDefault();
}

bool ABinderHost_Process_kill(ABinderHost_Process* process) {
    Process* p = toProcess(process);
    if (p == nullptr || p == &ProcessRegistry::instance().defaultProcess())
        return false;
    return hostbinder::InProcessTransport::instance().killProcess(*p);
}

bool ABinderHost_Process_isAlive(const ABinderHost_Process* process) {
    return toProcess(process)->isAlive();
}

pid_t ABinderHost_Process_getPid(const ABinderHost_Process* process) {
    return toProcess(process)->pid();
}

const char* ABinderHost_Process_getName(const ABinderHost_Process* process) {
    return toProcess(process)->name().c_str();
}

uint32_t ABinderHost_Process_getBinderThreadCount(const ABinderHost_Process* process) {
    return toProcess(process)->binderThreadCount();
}

size_t ABinderHost_Process_getPendingWork(const ABinderHost_Process* process) {
    return WorkTracker::instance().pending(*toProcess(process));
}

void ABinderHost_Process_waitForIdle(const ABinderHost_Process* process) {
    requireNotBinderThread(__func__);
    WorkTracker::instance().waitForIdle(*toProcess(process));
}

void ABinderHost_waitForIdle() {
    requireNotBinderThread(__func__);
    WorkTracker::instance().waitForIdle();
}

bool ABinderHost_isBinderThread() {
    return ThreadContext::current().isBinderThread();
}

void ABinderHost_setThreadPoolMaxThreadCountRefused(bool refused) {
    hostbinder::injected::threadPoolMaxRefused.store(refused);
}

void ABinderHost_setAddServiceFailure(binder_exception_t exception) {
    hostbinder::injected::addServiceFailure.store(exception);
}

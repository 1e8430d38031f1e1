/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ThreadContext.h"

#include "Process.h"
#include "ProcessRegistry.h"

namespace hostbinder {

ThreadContext& ThreadContext::current() {
    thread_local ThreadContext context;
    return context;
}

Process& ThreadContext::process() const {
    return mProcess != nullptr ? *mProcess : ProcessRegistry::instance().defaultProcess();
}

std::shared_ptr<Process> ThreadContext::processRef() const {
    return process().shared_from_this();
}

Process* ThreadContext::enter(Process* process) {
    Process* previous = mProcess;
    mProcess = process;
    return previous;
}

}  // namespace hostbinder

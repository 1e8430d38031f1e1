/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "PendingWork.h"

#include "WorkTracker.h"

namespace hostbinder {

PendingWork::PendingWork(std::shared_ptr<Process> process) : mProcess(std::move(process)) {
    WorkTracker::instance().add(*mProcess);
}

PendingWork::~PendingWork() {
    WorkTracker::instance().remove(*mProcess);
}

}  // namespace hostbinder

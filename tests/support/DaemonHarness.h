/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>

#include "LoopThread.h"

namespace com::vyr::plim::test {

/**
 * One daemon instance inside the test process, set up as on a device: its main thread (a
 * LoopThread) makes the components through the component factory, so the clients attach to its
 * looper, the modem library is the simulator and the service is registered in the default
 * simulated binder process with the production pool setting; then it loops. Binder clients are
 * TestClients in processes of their own.
 *
 * The simulator's connect delay is 0, so waitForIdle() after construction finds every available
 * service connected.
 */
class DaemonHarness {
  public:
    explicit DaemonHarness(int instanceId);
    ~DaemonHarness();
    DaemonHarness(const DaemonHarness&) = delete;
    DaemonHarness& operator=(const DaemonHarness&) = delete;

    /** What ComponentFactory::make returned. */
    int makeResult() const { return makeResult_; }

    /**
     * Waits until nothing is queued or running anywhere the daemon's work travels: the modem
     * library's threads, the main looper and every binder process.
     */
    void waitForIdle();

    LoopThread& mainThread() { return main_; }

  private:
    LoopThread main_;
    int makeResult_ = -1;
};

}  // namespace com::vyr::plim::test

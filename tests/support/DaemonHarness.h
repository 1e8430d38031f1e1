/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <chrono>

#include "ComponentFactory.h"
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
    explicit DaemonHarness(int instanceId) {
        modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
        makeResult_ =
                main_.call([&] { return modem::ComponentFactory::getInstance().make(instanceId); });
        waitForIdle();
    }

    ~DaemonHarness() {
        waitForIdle();
        main_.stop();
    }

    /** What ComponentFactory::make returned. */
    int makeResult() const { return makeResult_; }

    /**
     * Waits until nothing is queued or running anywhere the daemon's work travels: the modem
     * library's threads, the main looper and every binder process. Work hops between the three
     * (a request queues a message, its handler calls the library, the response is a binder
     * call, an event binds a subscription...): a few rounds let every chain of this daemon settle.
     */
    void waitForIdle() {
        for (int round = 0; round < 3; ++round) {
            ABinderHost_waitForIdle();
            main_.call([] {});
            EXPECT_TRUE(modemsim::Control::waitForIdle()) << "the modem library never went idle";
        }
    }

    LoopThread& mainThread() { return main_; }

  private:
    LoopThread main_;
    int makeResult_ = -1;
};

}  // namespace com::vyr::plim::test

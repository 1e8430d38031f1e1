/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DaemonHarness.h"

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include <future>

#include "ComponentFactory.h"

namespace com::vyr::plim::test {

DaemonHarness::DaemonHarness(int instanceId) {
    modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
    std::promise<int> made;
    main_.post([&] { made.set_value(modem::ComponentFactory::getInstance().make(instanceId)); });
    makeResult_ = made.get_future().get();
    waitForIdle();
}

DaemonHarness::~DaemonHarness() {
    waitForIdle();
    main_.stop();
}

void DaemonHarness::waitForIdle() {
    // Work hops between the three (a request queues a message, its handler calls the library,
    // the response is a binder call, an event binds a subscription...): a few rounds let every
    // chain of this daemon settle.
    for (int round = 0; round < 3; ++round) {
        ABinderHost_waitForIdle();
        drainMainLooper();
        EXPECT_TRUE(modemsim::Control::waitForIdle()) << "the modem library never went idle";
    }
}

void DaemonHarness::drainMainLooper() {
    std::promise<void> drained;
    if (main_.post([&] { drained.set_value(); }) == 0) {
        drained.get_future().wait();
    }
}

}  // namespace com::vyr::plim::test

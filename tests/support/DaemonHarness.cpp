/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DaemonHarness.h"

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>

#include "ComponentFactory.h"

namespace com::vyr::plim::test {

DaemonHarness::DaemonHarness(int instanceId) {
    modemsim::Control::setConnectDelay(std::chrono::milliseconds(0));
    makeResult_ =
            main_.call([&] { return modem::ComponentFactory::getInstance().make(instanceId); });
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
        main_.call([] {});
        EXPECT_TRUE(modemsim::Control::waitForIdle()) << "the modem library never went idle";
    }
}

}  // namespace com::vyr::plim::test

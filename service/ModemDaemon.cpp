/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemDaemon.h"

#include <memory>
#include <string>

#include <plim/Log.h>
#include <plim/Looper.h>

#include "ComponentFactory.h"
#include "MainThreadStack.h"
#include "ModemOptions.h"
#include "PdcQmiClient.h"
#include "ThreadName.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-main";
constexpr int EXIT_STATUS = 1;
}  // namespace

int runModemDaemon(int argc, char** argv) {
    int err = ModemOptions::parse(argc, argv);
    if (err != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to parse modem options, err = %d", err);
        return EXIT_STATUS;
    }
    const std::optional<int>& instanceId = ModemOptions::instanceId();
    if (!instanceId.has_value()) {
        Log::printAndroidLog(Log::ERROR, TAG, "NO valid instance id for plim-modem");
        return EXIT_STATUS;
    }
    Log::setPrefix("[" + std::to_string(*instanceId) + "] ");
    Log::printAndroidLog(Log::INFO, TAG, "plim-modem main entry");

    // The handlers run on this thread; loading an MBN file keeps a large buffer on its stack.
    err = ensureMainThreadStack(PdcQmiClient::HANDLER_STACK_NEED);
    if (err != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to make room on the main thread's stack");
        return EXIT_STATUS;
    }

    // Before the components: each client is a Handler and attaches to this thread's looper.
    err = Looper::prepareThreadLocalLooper();
    if (err != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to prepare looper for main thread, err = %d",
                             err);
        return EXIT_STATUS;
    }
    err = ComponentFactory::getInstance().make(*instanceId);
    if (err != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to make plim-modem components, err = %d",
                             err);
        return EXIT_STATUS;
    }

    if (setThreadName("modem-main") != 0) {
        Log::printAndroidLog(Log::WARN, TAG, "failed to set name for main thread");
    }
    Log::printAndroidLog(Log::INFO, TAG, "plim-modem ready to loop");

    std::shared_ptr<Looper> looper = Looper::getThreadLocalLooper();
    err = looper->loop();
    looper.reset();
    Log::printAndroidLog(Log::ERROR, TAG, "plim-modem main thread looper exit, err = %d", err);
    return EXIT_STATUS;
}

}  // namespace com::vyr::plim::modem

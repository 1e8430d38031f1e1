/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The answer to one asynchronous request, made by the modem and on its way to the daemon's
// callback, with the tamper a test planned for it, if any.
//
// Threads: delivered on a reply thread, with no library lock held.

#pragma once

#include <optional>

#include <modem_api.h>
#include <modem_sim/ModemSimControl.h>

namespace modemsim {

struct AsyncReply {
    modem_api_async_response record{};
    void* userData = nullptr;
    modem_api_async_cb callback = nullptr;
    std::optional<ReplyTamper> tamper;

    /** Calls the callback once with the record, or with what the tamper makes of it. */
    void deliver() const;
};

}  // namespace modemsim

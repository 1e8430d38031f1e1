/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>

#include <plim/Message.h>

#include "QmiClient.h"

namespace com::vyr::plim::modem {

/**
 * What travels through an asynchronous modem call as its user data: the request message (and so
 * its parameter and serial) and the client that sent it, both kept alive until the reply.
 *
 * Made with `new` by the handler that starts the call; freed by that handler when the library
 * refuses the call, else by the client's callback once it has answered.
 */
struct ModemAsyncCbData {
    std::shared_ptr<Message> msg;
    std::shared_ptr<QmiClient> client;
};

}  // namespace com::vyr::plim::modem

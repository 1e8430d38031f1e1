/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>
#include <string>

#include <plim/Handler.h>
#include <plim/Message.h>

namespace com::vyr::plim::modem {

/**
 * Forces the modem's antenna switch diversity through the library's diagnostic interface. Not a
 * QMI client: no connection to set up or track, so its requests reach the library whatever the
 * state of the QMI services.
 *
 * Threads: forceAsdiv() on binder threads; handle() on the main looper thread.
 */
class DiagClient : public Handler {
  public:
    inline static const std::string RTTI_TYPE{"DiagClient"};

    enum MessageId : int {
        FORCE_ASDIV = 1,
    };

    DiagClient();
    ~DiagClient() override;

    int handle(std::shared_ptr<Message> msg) override;

    /** Answered by respondForceAsdiv. OK, or an error the caller answers itself. */
    int forceAsdiv(int serial, int mode);

  private:
    int handleForceAsdivMessage(const std::shared_ptr<Message>& msg);
};

}  // namespace com::vyr::plim::modem

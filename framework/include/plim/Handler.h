/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>
#include <string>

#include <plim/RttiContext.h>

namespace com::vyr::plim {

class Looper;
class Message;

/**
 * Receives messages on the thread of the looper it is attached to: the looper of the thread that
 * constructed it. Always owned by std::shared_ptr (messages hold their target alive until
 * handled).
 *
 * Threads: handle() runs only on the looper's thread, one message at a time; a handler attached
 * to a thread without a looper cannot receive messages (Message::dispatch refuses them).
 */
class Handler : public RttiContext, public std::enable_shared_from_this<Handler> {
  public:
    inline static const std::string RTTI_TYPE{"Handler"};

    Handler();
    ~Handler() override;

    /** Handles one message on the looper's thread. The looper ignores the result (an Errno). */
    virtual int handle(std::shared_ptr<Message> msg) = 0;

    /** The looper this handler is attached to; empty if its thread had none. */
    const std::shared_ptr<Looper>& getLooper() const { return looper_; }

  private:
    const std::shared_ptr<Looper> looper_;
};

}  // namespace com::vyr::plim

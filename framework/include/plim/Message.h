/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <atomic>
#include <memory>

namespace com::vyr::plim {

class Handler;
class Looper;
class Param;

/**
 * One unit of work for a Handler: an id private to that handler, an optional parameter and an
 * opaque extra object. The message holds all three, and its target, alive until it has been
 * handled and dropped.
 *
 * Threads: obtain() and dispatch() from any thread; the getters from any thread (the fields never
 * change after obtain()).
 */
class Message final : public std::enable_shared_from_this<Message> {
  public:
    /** Builds a message; returns empty only if it cannot be allocated. */
    static std::shared_ptr<Message> obtain(int id, std::shared_ptr<Handler> target,
                                           std::shared_ptr<Param> param,
                                           std::shared_ptr<void> extra);

    /**
     * Queues the message on its target's looper and returns without waiting for it to be
     * handled. Returns OK; INVALID_ARGUMENT without a target; INVALID_STATE when the target has
     * no looper, the looper has quit, or the message is already queued and not yet handled.
     */
    int dispatch();

    int getId() const { return id_; }
    std::shared_ptr<Param> getParam() const { return param_; }
    const std::shared_ptr<Handler>& getTarget() const { return target_; }
    const std::shared_ptr<void>& getExtra() const { return extra_; }

  private:
    friend class Looper;
    struct PrivateKey {};

  public:
    /** Use obtain(); public only for std::make_shared. */
    Message(PrivateKey, int id, std::shared_ptr<Handler> target, std::shared_ptr<Param> param,
            std::shared_ptr<void> extra);

  private:
    const int id_;
    const std::shared_ptr<Handler> target_;
    const std::shared_ptr<Param> param_;
    const std::shared_ptr<void> extra_;

    // Set from dispatch until the loop takes the message off its queue; refuses double queueing.
    std::atomic<bool> queued_{false};
    // The next message in the target looper's queue; touched only by that looper.
    std::shared_ptr<Message> next_;
};

}  // namespace com::vyr::plim

/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <plim/Message.h>

#include <utility>

#include <plim/Errno.h>
#include <plim/Handler.h>
#include <plim/Log.h>
#include <plim/Looper.h>
#include <plim/Param.h>

namespace com::vyr::plim {

namespace {
constexpr const char* TAG = "plim-framework";
}

Message::Message(PrivateKey, int id, std::shared_ptr<Handler> target, std::shared_ptr<Param> param,
                 std::shared_ptr<void> extra)
    : id_(id), target_(std::move(target)), param_(std::move(param)), extra_(std::move(extra)) {}

std::shared_ptr<Message> Message::obtain(int id, std::shared_ptr<Handler> target,
                                         std::shared_ptr<Param> param,
                                         std::shared_ptr<void> extra) {
    // One allocation for the message and its control block. Without exceptions a failed
    // allocation ends the process inside operator new, as everywhere else in the daemon.
    return std::make_shared<Message>(PrivateKey{}, id, std::move(target), std::move(param),
                                     std::move(extra));
}

int Message::dispatch() {
    if (!target_) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: msg id = %d has no target handler", "dispatch",
                             id_);
        return INVALID_ARGUMENT;
    }
    const std::shared_ptr<Looper>& looper = target_->getLooper();
    if (!looper) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: target of msg id = %d has no looper", "dispatch",
                             id_);
        return INVALID_STATE;
    }
    if (queued_.exchange(true, std::memory_order_acq_rel)) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: msg id = %d is already queued", "dispatch", id_);
        return INVALID_STATE;
    }
    int result = looper->post(shared_from_this());
    if (result != OK) {
        queued_.store(false, std::memory_order_release);
        Log::printAndroidLog(Log::ERROR, TAG, "%s: looper has quit, msg id = %d refused",
                             "dispatch", id_);
    }
    return result;
}

}  // namespace com::vyr::plim

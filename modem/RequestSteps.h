/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <plim/Errno.h>
#include <plim/Handler.h>
#include <plim/Log.h>
#include <plim/Message.h>
#include <plim/SerialParam.h>

namespace com::vyr::plim::modem {

// The steps that every modem client's requests go through, shared so that each client's own
// files show only what is its own. Each logs under the calling client's tag, with the calling
// function's name first.

/**
 * The binder-thread half of a request: wraps `param` in a message with `msgId` for `target` and
 * queues it on the target's looper. Returns OK, NO_MEMORY when no message could be made, or the
 * dispatch error; on a non-zero result the caller answers the request itself. Any thread.
 */
int postRequest(const char* tag, const char* func, const std::shared_ptr<Handler>& target,
                int msgId, std::shared_ptr<SerialParam> param);

/**
 * handle()'s frame, on the looper thread: refuses a null message (INVALID_ARGUMENT), logs the
 * id, and passes the message to `route`, which returns its handler's result, or nullopt for an
 * id it does not know (then UNSUPPORTED, logged, nothing answered).
 */
template <typename Route>
int routeMessage(const char* tag, const std::shared_ptr<Message>& msg, Route route) {
    static constexpr const char* FUNC = "handle";
    if (!msg) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: null msg input", FUNC);
        return INVALID_ARGUMENT;
    }
    Log::printAndroidLog(Log::INFO, tag, "%s: msg id = %d", FUNC, msg->getId());
    std::optional<int> result = route(msg);
    if (!result.has_value()) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: unsupported msg id = %d", FUNC, msg->getId());
        return UNSUPPORTED;
    }
    return *result;
}

/**
 * The message's parameter as a P, when it carries the tag `type` (P's own by default); else
 * empty, logged as a null parameter: the request has no serial to answer, so nothing is sent.
 */
template <typename P>
std::shared_ptr<P> requestParam(const char* tag, const char* func,
                                const std::shared_ptr<Message>& msg,
                                const std::string& type = P::RTTI_TYPE) {
    std::shared_ptr<Param> param = msg->getParam();
    if (!param || !param->isType(type)) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: null param from input msg", func);
        return nullptr;
    }
    return std::static_pointer_cast<P>(std::move(param));
}

/**
 * `bytes` in a zeroed buffer of N for the library, which takes texts zero-terminated in
 * fixed-size buffers: at most N - 1 bytes are copied, so the last is always a zero. Callers
 * refuse longer texts before they get here.
 */
template <size_t N>
std::array<char, N> zeroTerminated(const std::vector<uint8_t>& bytes) {
    std::array<char, N> buf{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), N - 1), buf.begin());
    return buf;
}

/**
 * The outcome of a synchronous modem call, logged: OK, or FAILED for any non-zero result. The
 * library's own code is not passed on for synchronous calls.
 */
Errno syncCallOutcome(const char* tag, const char* func, modem_api_result_type result);

}  // namespace com::vyr::plim::modem

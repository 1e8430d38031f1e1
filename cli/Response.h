/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The client's side of the asynchronous protocol: the response object the daemon calls, and the
// wait for the one response that answers our request.

#pragma once

#include <aidl/vendor/vyr/plim/modem/IModemIndication.h>
#include <aidl/vendor/vyr/plim/modem/IModemResponse.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Values.h"

namespace com::vyr::plim::cli {

/** One IModemResponse call: the method it came on, its outcome and its result, if any. */
struct Reply {
    enum class Type { None, Text, Bytes, Texts, Int, Bool };

    std::string method;  // e.g. "respondReadNv"
    int32_t serial = 0;
    int32_t error = 0;
    Type type = Type::None;
    std::string text;
    Bytes bytes;
    std::vector<std::string> texts;
    int32_t number = 0;
    bool flag = false;
};

/**
 * Keeps the first response that carries our serial on the expected method. Others are left
 * alone: the daemon sends every client's responses to the one callback it holds.
 */
class ResponseWaiter {
  public:
    enum class Outcome { Answered, TimedOut, Died };

    ResponseWaiter(int32_t serial, std::string method);

    void offer(Reply reply);
    void daemonDied();
    /** Waits for the answer or the daemon's death, at most `timeout`. */
    Outcome wait(std::chrono::milliseconds timeout, Reply* reply);
    /** From now on waits for the answer to `serial` instead, forgetting an earlier answer: a
     *  client that keeps its callbacks registered across requests. */
    void expect(int32_t serial);

  private:
    int32_t serial_;
    const std::string method_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool answered_ = false;
    bool died_ = false;
    Reply reply_;
};

/** A response object that offers every call it receives to `waiter`. */
std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> makeResponseReceiver(
        std::shared_ptr<ResponseWaiter> waiter);

/**
 * A response object that calls `receive` with every call it receives, on the binder thread that
 * took it: for a client with many requests in flight, which no single waiter can follow.
 */
std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemResponse> makeResponseReceiver(
        std::function<void(Reply)> receive);

/** An indication object; the interface has no methods yet. */
std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemIndication> makeIndicationReceiver();

}  // namespace com::vyr::plim::cli

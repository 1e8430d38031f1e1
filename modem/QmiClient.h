/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <modem_api.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <plim/Errno.h>
#include <plim/Handler.h>
#include <plim/Message.h>

#include "RequestSteps.h"

namespace com::vyr::plim::modem {

/** What identifies a client's modem service: its QMI id, short name and the client's log tag. */
struct QmiService {
    int32_t id;
    const char* name;  // "DMS", "NAS", ...: in the client's log lines
    const char* tag;   // the client's log tag
};

/**
 * Base of the clients of the modem's QMI services (VS, DMS, NAS, PDC, SAR, WDS): a Handler on the
 * main looper that knows whether its service is connected.
 *
 * Threads:
 *  - setup() and release(): the main thread, during start-up (the modem manager).
 *  - updateConnectionStatus() and onConnected(): the modem library's event thread.
 *  - isConnected(): any thread; the flag is the only state shared with the handlers.
 *  - handle() and the clients' handlers: the main looper thread only, one message at a time.
 *  - The clients' public request operations: binder threads; they only post messages.
 */
class QmiClient : public Handler {
  public:
    inline static const std::string RTTI_TYPE{"QmiClient"};

    explicit QmiClient(const QmiService& service);
    ~QmiClient() override;

    /** Requests the service's connection from the modem library. OK, or FAILED (logged). */
    virtual int setup() = 0;
    /** Releases the service's connection. OK, or FAILED (logged). */
    virtual int release() = 0;
    /** Runs on the event thread each time the service is reported connected. */
    virtual void onConnected();

    bool isConnected() const { return connected_.load(); }
    /** Records the service's state; on true runs onConnected() on the calling thread, every
     *  time, so that a repeated connected event binds again. */
    void updateConnectionStatus(bool connected);

    /**
     * Checks an asynchronous reply record: INVALID_ARGUMENT when null or not exactly
     * MODEM_API_ASYNC_RESPONSE_SIZE bytes, else its result word converted.
     */
    static int verifyModemApiAsyncResponse(const void* data, size_t len);
    /** A modem library result as an Errno; every unknown code (negative too) is FAILED. */
    static int convertModemApiResult(modem_api_result_type result);

  protected:
    /** The body of every client's setup() and release(). */
    int openConnection();
    int closeConnection();
    /** isConnected(), logging "<func>: <name> qmi service not connected" when not. */
    bool checkConnected(const char* func) const;

    /** onConnected()'s part for clients of one subscription: binds it, logging a failure only
     *  (requests still go out; their outcome is the library's). */
    void bindSubscription(modem_api_result_type (*bind)(int32_t instanceId),
                          int32_t instanceId) const;

    /**
     * A handler's frame: the parameter, a P tagged `type` (else INVALID_ARGUMENT, nothing
     * answered), the connection (else INVALID_STATE), then `work(param)`, which returns the
     * outcome; `respond(param, outcome)` answers and its result is returned.
     */
    template <typename P, typename Work, typename Respond>
    int serveConnected(const char* func, const std::shared_ptr<Message>& msg,
                       const std::string& type, Work work, Respond respond) const {
        std::shared_ptr<P> param = requestParam<P>(service_.tag, func, msg, type);
        if (!param) {
            return INVALID_ARGUMENT;
        }
        const Errno err = checkConnected(func) ? work(*param) : INVALID_STATE;
        return respond(*param, err);
    }

    /** serveConnected() whose work is `call(param)`, one library call: its result becomes OK or
     *  FAILED. */
    template <typename P, typename Call, typename Respond>
    int serveSync(const char* func, const std::shared_ptr<Message>& msg, const std::string& type,
                  Call call, Respond respond) const {
        return serveConnected<P>(
                func, msg, type,
                [&](const P& param) { return syncCallOutcome(service_.tag, func, call(param)); },
                respond);
    }

    using VoidCall = modem_api_result_type (*)();
    using IntRead = modem_api_result_type (*)(int* value);
    using IntReadResponse = int (*)(int serial, Errno err, int32_t value);
    using IntWrite = modem_api_result_type (*)(int value);
    using Response = int (*)(int serial, Errno err);

    /**
     * The handler of a request that reads one int (a SerialVoidParam): when connected, `read`
     * into a local that starts at 0, then `respond` with the outcome and the local, whatever it
     * holds, or `failureValue` instead when one is given and the read did not succeed. Returns
     * the response's result, or INVALID_ARGUMENT without a usable parameter.
     */
    int handleIntRead(const char* func, const std::shared_ptr<Message>& msg, IntRead read,
                      IntReadResponse respond,
                      std::optional<int32_t> failureValue = std::nullopt) const;
    /** The handler of a request without arguments (a SerialVoidParam) that `call` serves. */
    int handleVoidCall(const char* func, const std::shared_ptr<Message>& msg, VoidCall call,
                       Response respond) const;
    /** The handler of a request that writes one int (a SerialIntParam) with `write`. */
    int handleIntWrite(const char* func, const std::shared_ptr<Message>& msg, IntWrite write,
                       Response respond) const;

    const QmiService service_;

  private:
    std::atomic<bool> connected_{false};
};

}  // namespace com::vyr::plim::modem

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Carries transactions from proxies to the objects they stand for, in another process. The
// in-process transport (InProcessTransport) connects simulated processes of one executable; a
// transport between real processes plugs in behind the same interface.

#pragma once

#include <android/binder_ibinder.h>

#include <string>

namespace hostbinder {

class RemoteBinder;
class Transport;

// What a proxy holds of its remote object; each transport defines its own.
class RemoteRef {
  public:
    virtual ~RemoteRef() = default;
    virtual Transport& transport() = 0;
};

class Transport {
  public:
    virtual ~Transport() = default;

    // Sends data to the object; a two-way call blocks until the reply is in reply.
    virtual binder_status_t transact(RemoteBinder& proxy, transaction_code_t code,
                                     const AParcel& data, AParcel* reply, binder_flags_t flags) = 0;
    // Whether the object is still alive, as far as the transport knows.
    virtual bool isAlive(const RemoteBinder& proxy) = 0;
    // The object's interface descriptor; empty if it cannot be known (the object died).
    virtual std::string descriptor(const RemoteBinder& proxy) = 0;
    // The proxy's last strong reference is gone: forget it.
    virtual void onProxyDestroyed(RemoteBinder& proxy) = 0;
};

}  // namespace hostbinder

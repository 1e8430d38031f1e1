/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "LocalBinder.h"

#include "BinderClass.h"
#include "InProcessTransport.h"
#include "Parcel.h"
#include "TransactionCodes.h"

namespace hostbinder {

binder_status_t LocalBinder::transact(transaction_code_t code, AParcel& data, AParcel* reply,
                                      binder_flags_t /*flags*/) {
    data.setDataPosition(0);
    binder_status_t status = dispatch(code, data, reply);
    reply->setDataPosition(0);
    return status;
}

binder_status_t LocalBinder::dispatch(transaction_code_t code, const AParcel& data,
                                      AParcel* reply) {
    const AIBinder_Class* clazz = getClass();
    if (isUserTransaction(code)) {
        if (clazz->writeHeader && !data.enforceInterfaceToken(clazz->descriptor.c_str())) {
            return STATUS_BAD_TYPE;
        }
        return clazz->onTransact(this, code, &data, reply);
    }
    switch (code) {
        case kPingTransaction:
            return STATUS_OK;
        case kInterfaceTransaction:
            return reply->writeString(clazz->descriptor.c_str(),
                                      static_cast<int32_t>(clazz->descriptor.size()));
        default:
            return STATUS_UNKNOWN_TRANSACTION;
    }
}

std::shared_ptr<Node> LocalBinder::exportedNode(
        const std::function<std::shared_ptr<Node>()>& create) {
    MutexLock lock(mNodeLock);
    if (mNode == nullptr)
        mNode = create();
    return mNode;
}

void LocalBinder::onLastStrongRef() {
    std::shared_ptr<Node> node;
    {
        MutexLock lock(mNodeLock);
        node = std::move(mNode);
    }
    // Stop the transport from dispatching to the object before it goes.
    if (node != nullptr)
        InProcessTransport::instance().onLocalBinderDestroyed(*node);
    const AIBinder_Class* clazz = getClass();
    if (clazz->onDestroy != nullptr)
        clazz->onDestroy(mUserData);
}

}  // namespace hostbinder

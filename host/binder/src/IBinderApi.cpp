/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's AIBinder_* functions over LocalBinder, RemoteBinder and their helpers.

#include <android/binder_ibinder.h>

#include <unistd.h>

#include <memory>

#include "BinderClass.h"
#include "DeathRecipient.h"
#include "LocalBinder.h"
#include "Parcel.h"
#include "Process.h"
#include "RemoteBinder.h"
#include "Required.h"
#include "ThreadContext.h"
#include "TransactionCodes.h"
#include "WeakBinder.h"

using hostbinder::required;
using hostbinder::ThreadContext;

namespace {

// Flags a transaction may carry: oneway, clear-buffer and the vendor-private bit.
constexpr binder_flags_t kKnownFlags = FLAG_ONEWAY | 0x20 | 0x10000000;

}  // namespace

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact) {
    if (interfaceDescriptor == nullptr || onCreate == nullptr || onDestroy == nullptr ||
        onTransact == nullptr) {
        return nullptr;
    }
    return new AIBinder_Class(interfaceDescriptor, onCreate, onDestroy, onTransact);
}

void AIBinder_Class_disableInterfaceTokenHeader(AIBinder_Class* clazz) {
    required(clazz, __func__, "class").writeHeader = false;
}

const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz) {
    return required(clazz, __func__, "class").descriptor.c_str();
}

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) {
    required(clazz, __func__, "class");
    void* userData = clazz->onCreate(args);
    return new hostbinder::LocalBinder(clazz, userData, ThreadContext::current().processRef());
}

bool AIBinder_isRemote(const AIBinder* binder) {
    return required(binder, __func__, "binder").isRemote();
}

bool AIBinder_isAlive(const AIBinder* binder) {
    return required(binder, __func__, "binder").isAlive();
}

binder_status_t AIBinder_ping(AIBinder* binder) {
    required(binder, __func__, "binder");
    AParcel data;
    AParcel reply;
    return binder->transact(hostbinder::kPingTransaction, data, &reply, 0);
}

binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie) {
    required(binder, __func__, "binder");
    required(recipient, __func__, "death recipient");
    if (!binder->isRemote()) {
        // A local object cannot die without its process, so nobody would hear of it.
        if (auto onUnlinked = recipient->onUnlinked())
            onUnlinked(cookie);
        return STATUS_INVALID_OPERATION;
    }
    return binder->asRemote().linkToDeath(recipient, cookie);
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    required(binder, __func__, "binder");
    required(recipient, __func__, "death recipient");
    if (!binder->isRemote())
        return STATUS_NAME_NOT_FOUND;
    return binder->asRemote().unlinkToDeath(recipient, cookie);
}

uid_t AIBinder_getCallingUid() {
    const ThreadContext& context = ThreadContext::current();
    if (const ThreadContext::Caller* caller = context.caller())
        return caller->uid;
    return context.process().uid();
}

pid_t AIBinder_getCallingPid() {
    const ThreadContext& context = ThreadContext::current();
    if (const ThreadContext::Caller* caller = context.caller())
        return caller->pid;
    return context.process().pid();
}

bool AIBinder_isHandlingTransaction() {
    return ThreadContext::current().caller() != nullptr;
}

void AIBinder_incStrong(AIBinder* binder) {
    if (binder != nullptr)
        binder->incStrong();
}

void AIBinder_decStrong(AIBinder* binder) {
    if (binder != nullptr)
        binder->decStrong();
}

int32_t AIBinder_debugGetRefCount(AIBinder* binder) {
    return binder != nullptr ? binder->strongCount() : -1;
}

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz) {
    required(clazz, __func__, "class");
    // The generated glue reads a nullable interface argument through here: null is no object.
    return binder != nullptr && binder->associateClass(clazz);
}

const AIBinder_Class* AIBinder_getClass(AIBinder* binder) {
    return required(binder, __func__, "binder").getClass();
}

void* AIBinder_getUserData(AIBinder* binder) {
    if (required(binder, __func__, "binder").isRemote())
        return nullptr;
    return binder->asLocal().userData();
}

binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in) {
    required(binder, __func__, "binder");
    if (in == nullptr)
        return STATUS_UNEXPECTED_NULL;
    const AIBinder_Class* clazz = binder->getClass();
    if (clazz == nullptr)
        return STATUS_INVALID_OPERATION;
    binder->incStrong();
    auto parcel = std::make_unique<AParcel>(ndk::SpAIBinder(binder));
    if (clazz->writeHeader) {
        binder_status_t status = parcel->writeInterfaceToken(clazz->descriptor.c_str());
        if (status != STATUS_OK)
            return status;
    }
    *in = parcel.release();
    return STATUS_OK;
}

binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags) {
    required(binder, __func__, "binder");
    if (in == nullptr)
        return STATUS_UNEXPECTED_NULL;
    // The in parcel is ours whatever happens next.
    std::unique_ptr<AParcel> data(*in);
    *in = nullptr;
    if (data == nullptr || out == nullptr)
        return STATUS_UNEXPECTED_NULL;
    if (data->target() != binder)
        return STATUS_BAD_VALUE;
    if ((flags & ~kKnownFlags) != 0)
        return STATUS_BAD_VALUE;
    binder->incStrong();
    auto reply = std::make_unique<AParcel>(ndk::SpAIBinder(binder));
    const binder_status_t status = binder->transact(code, *data, reply.get(), flags);
    if (status != STATUS_OK)
        return status;
    if ((flags & FLAG_ONEWAY) != 0)
        reply->reset();
    *out = reply.release();
    return STATUS_OK;
}

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) {
    return new AIBinder_Weak(&required(binder, __func__, "binder"));
}

void AIBinder_Weak_delete(AIBinder_Weak* weakBinder) {
    delete weakBinder;
}

AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) {
    return weakBinder != nullptr ? weakBinder->promote() : nullptr;
}

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied) {
    return onBinderDied != nullptr ? new AIBinder_DeathRecipient(onBinderDied) : nullptr;
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    required(recipient, __func__, "death recipient").setOnUnlinked(onUnlinked);
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    delete recipient;
}

/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: AIBinder, an object that can receive transactions and be sent to
// other processes. Same names, values and semantics as the NDK's header of the same name.
//
// On the host, processes are simulated inside one executable (see android/binder_host.h). A
// binder created with AIBinder_new belongs to the calling thread's process; sent to another
// process it arrives there as a proxy (AIBinder_isRemote true) whose transactions are parcelled,
// copied, and run on the owning process's binder threads.
//
// Threads: every function may be called from any thread.

#pragma once

#include <stdbool.h>
#include <stdint.h>
#include <sys/types.h>

#include <android/binder_parcel.h>
#include <android/binder_status.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t binder_flags_t;
enum {
    // Returns once the transaction is queued; the target's oneway transactions run one at a time
    // in the order they were sent.
    FLAG_ONEWAY = 0x01,
};

typedef uint32_t transaction_code_t;
enum {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};

struct AIBinder_Class;
typedef struct AIBinder_Class AIBinder_Class;

struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;

struct AIBinder_DeathRecipient;
typedef struct AIBinder_DeathRecipient AIBinder_DeathRecipient;

typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
// Runs a transaction on a local object, after its interface token was checked.
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);

// A null class, binder or death recipient where a call below needs one aborts the process with a
// message naming the call. These accept null: AIBinder_incStrong, AIBinder_decStrong,
// AIBinder_debugGetRefCount (-1), AIBinder_associateClass's binder (false), AIBinder_Weak_promote,
// and the weak and recipient deletes.
__attribute__((warn_unused_result)) AIBinder_Class* AIBinder_Class_define(
        const char* interfaceDescriptor, AIBinder_Class_onCreate onCreate,
        AIBinder_Class_onDestroy onDestroy, AIBinder_Class_onTransact onTransact);
// For talking to peers that write no interface token; call before creating any object.
void AIBinder_Class_disableInterfaceTokenHeader(AIBinder_Class* clazz);
const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz);

// A new local object with one strong reference, owned by the calling thread's process.
__attribute__((warn_unused_result)) AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);
bool AIBinder_isRemote(const AIBinder* binder);
bool AIBinder_isAlive(const AIBinder* binder);
binder_status_t AIBinder_ping(AIBinder* binder);

// Death notifications work for proxies only: a local binder gives STATUS_INVALID_OPERATION, a
// proxy whose object is already dead gives STATUS_DEAD_OBJECT. On failure the recipient's
// onUnlinked runs before the call returns.
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
// STATUS_NAME_NOT_FOUND when no such link exists; STATUS_DEAD_OBJECT when the object died
// (its links were already consumed by the death notification).
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

uid_t AIBinder_getCallingUid(void);
// 0 while handling a oneway transaction.
pid_t AIBinder_getCallingPid(void);
bool AIBinder_isHandlingTransaction(void);

void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);
int32_t AIBinder_debugGetRefCount(AIBinder* binder);

bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
const AIBinder_Class* AIBinder_getClass(AIBinder* binder);
void* AIBinder_getUserData(AIBinder* binder);

// A parcel for a transaction on binder, with the interface token of its class written.
binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in);
// Takes ownership of *in (set to null) and, unless the call fails, gives the caller a new reply
// parcel in *out. Two-way calls block until the reply; oneway calls return once queued.
binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags);

__attribute__((warn_unused_result)) AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
__attribute__((warn_unused_result)) AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);

typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);
typedef void (*AIBinder_DeathRecipient_onBinderUnlinked)(void* cookie);

__attribute__((warn_unused_result)) AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied);
// Called exactly once per successful link: after onBinderDied when the object dies, or when the
// link is removed by AIBinder_unlinkToDeath, AIBinder_DeathRecipient_delete or the proxy's
// destruction. Set it before linking: links keep the callback they were made with.
void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked);
// Unlinks every link still made with this recipient.
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

#ifdef __cplusplus
}  // extern "C"
#endif

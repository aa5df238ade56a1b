// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_ibinder.h>: objects of this process, their
// classes, strong and weak references. Left out: what concerns other processes (transactions,
// liveness, death recipients, extensions, the caller's identity), dumps and reference counts.
#pragma once

#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <stdint.h>
#include <sys/cdefs.h>
#include <sys/types.h>

__BEGIN_DECLS

typedef uint32_t transaction_code_t;

struct AIBinder_Class;
typedef struct AIBinder_Class AIBinder_Class;
struct AIBinder;
typedef struct AIBinder AIBinder;
struct AIBinder_Weak;
typedef struct AIBinder_Weak AIBinder_Weak;

typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);

// Each call makes a class of its own, even for a descriptor that exists: classes of local objects
// are compared by address. Never freed. Null for a null argument.
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact)
    __attribute__((warn_unused_result));

// The caller owns the one strong reference of the new object. Null for a null class.
AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args) __attribute__((warn_unused_result));
void AIBinder_incStrong(AIBinder* binder);
// The last reference takes the object's user data with it (onDestroy).
void AIBinder_decStrong(AIBinder* binder);

// Whether the object is of exactly this class; a class of the same descriptor will not do.
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
void* AIBinder_getUserData(AIBinder* binder);

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder) __attribute__((warn_unused_result));
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
// One more strong reference for the caller, or null once the last one is gone.
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder) __attribute__((warn_unused_result));

__END_DECLS

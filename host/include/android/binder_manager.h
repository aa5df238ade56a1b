// SPDX-License-Identifier: Apache-2.0
// Stands in for the platform's <android/binder_manager.h>: a registry of this process. Where the
// environment names a device module (see android_host/host.h), the first call loads it. Left out:
// waiting for a service (a device module registers all of its own before the first look-up
// returns), lazy services, registration flags and notifications, updatable APEX queries.
#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

// Registers under a name of 1 to 127 characters from A-Z a-z 0-9 _ - . / and takes a reference of
// its own; an existing name is replaced. EX_ILLEGAL_ARGUMENT for null or another name.
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance)
    __attribute__((warn_unused_result));

// Never waits. The caller owns a reference to the result; null when there is no such service.
AIBinder* AServiceManager_checkService(const char* instance) __attribute__((warn_unused_result));

// There is no manifest here: what is registered counts as declared, and what a device module named
// (DeclareService in android_host/host.h).
bool AServiceManager_isDeclared(const char* instance) __attribute__((warn_unused_result));

__END_DECLS

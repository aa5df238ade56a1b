// SPDX-License-Identifier: Apache-2.0
// Stands in for the binder NDK's <android/binder_status.h>: status codes, exception codes and the
// status object, complete but for the API level annotations.
#pragma once

#include <assert.h>
#include <errno.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/cdefs.h>

__BEGIN_DECLS

typedef int32_t binder_status_t;
typedef int32_t binder_exception_t;

// One list for the constants here and for their names in descriptions.
#define ANDROID_HOST_BINDER_STATUSES(S)        \
  S(OK, 0)                                     \
  S(UNKNOWN_ERROR, (-2147483647 - 1))          \
  S(NO_MEMORY, -ENOMEM)                        \
  S(INVALID_OPERATION, -ENOSYS)                \
  S(BAD_VALUE, -EINVAL)                        \
  S(BAD_TYPE, (-2147483647 - 1) + 1)           \
  S(NAME_NOT_FOUND, -ENOENT)                   \
  S(PERMISSION_DENIED, -EPERM)                 \
  S(NO_INIT, -ENODEV)                          \
  S(ALREADY_EXISTS, -EEXIST)                   \
  S(DEAD_OBJECT, -EPIPE)                       \
  S(FAILED_TRANSACTION, (-2147483647 - 1) + 2) \
  S(BAD_INDEX, -EOVERFLOW)                     \
  S(NOT_ENOUGH_DATA, -ENODATA)                 \
  S(WOULD_BLOCK, -EWOULDBLOCK)                 \
  S(TIMED_OUT, -ETIMEDOUT)                     \
  S(UNKNOWN_TRANSACTION, -EBADMSG)             \
  S(FDS_NOT_ALLOWED, (-2147483647 - 1) + 7)    \
  S(UNEXPECTED_NULL, (-2147483647 - 1) + 8)

#define ANDROID_HOST_BINDER_EXCEPTIONS(E) \
  E(EX_NONE, 0)                           \
  E(EX_SECURITY, -1)                      \
  E(EX_BAD_PARCELABLE, -2)                \
  E(EX_ILLEGAL_ARGUMENT, -3)              \
  E(EX_NULL_POINTER, -4)                  \
  E(EX_ILLEGAL_STATE, -5)                 \
  E(EX_NETWORK_MAIN_THREAD, -6)           \
  E(EX_UNSUPPORTED_OPERATION, -7)         \
  E(EX_SERVICE_SPECIFIC, -8)              \
  E(EX_PARCELABLE, -9)                    \
  E(EX_TRANSACTION_FAILED, -129)

#define ANDROID_HOST_STATUS_ENUMERATOR(name, value) STATUS_##name = value,
#define ANDROID_HOST_EXCEPTION_ENUMERATOR(name, value) name = value,
enum { ANDROID_HOST_BINDER_STATUSES(ANDROID_HOST_STATUS_ENUMERATOR) };
enum { ANDROID_HOST_BINDER_EXCEPTIONS(ANDROID_HOST_EXCEPTION_ENUMERATOR) };
#undef ANDROID_HOST_STATUS_ENUMERATOR
#undef ANDROID_HOST_EXCEPTION_ENUMERATOR

// AStatus is an exception code with an error code and a message. Objects are heap-allocated and
// owned by the caller (AStatus_delete), except that every OK status without a message is one shared
// object. No function but AStatus_delete takes null.
struct AStatus;
typedef struct AStatus AStatus;

AStatus* AStatus_newOk() __attribute__((warn_unused_result));
// An exception code that does not exist becomes EX_TRANSACTION_FAILED.
AStatus* AStatus_fromExceptionCode(binder_exception_t exception)
    __attribute__((warn_unused_result));
AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message)
    __attribute__((warn_unused_result));
// A code of 0 is a failure like any other.
AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific)
    __attribute__((warn_unused_result));
AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message)
    __attribute__((warn_unused_result));
// A status code that does not exist becomes STATUS_UNKNOWN_ERROR.
AStatus* AStatus_fromStatus(binder_status_t status) __attribute__((warn_unused_result));

bool AStatus_isOk(const AStatus* status);
binder_exception_t AStatus_getExceptionCode(const AStatus* status);
// The code of an EX_SERVICE_SPECIFIC status, 0 for every other.
int32_t AStatus_getServiceSpecificError(const AStatus* status);
// The code of an EX_TRANSACTION_FAILED status, 0 for every other.
binder_status_t AStatus_getStatus(const AStatus* status);
// Never null; valid as long as the status.
const char* AStatus_getMessage(const AStatus* status);
// The caller frees the text with AStatus_deleteDescription.
const char* AStatus_getDescription(const AStatus* status);
void AStatus_deleteDescription(const char* description);
void AStatus_delete(AStatus* status);

__END_DECLS

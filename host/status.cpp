// SPDX-License-Identifier: Apache-2.0
#include <android/binder_status.h>
#include <android/log.h>
#include <string.h>

#include <string>

struct AStatus {
  binder_exception_t exception;
  int32_t code;
  std::string message;
};

namespace {

AStatus ok_status{EX_NONE, 0, ""};

// Null for a code that does not exist.
const char* ExceptionName(binder_exception_t exception) {
  switch (exception) {
#define NAME_CASE(name, value) \
  case name:                   \
    return #name;
    ANDROID_HOST_BINDER_EXCEPTIONS(NAME_CASE)
#undef NAME_CASE
    default:
      return nullptr;
  }
}

// Null for a code that does not exist.
const char* StatusName(binder_status_t status) {
  switch (status) {
#define NAME_CASE(name, value) \
  case STATUS_##name:          \
    return #name;
    ANDROID_HOST_BINDER_STATUSES(NAME_CASE)
#undef NAME_CASE
    default:
      return nullptr;
  }
}

AStatus* NewExceptionStatus(binder_exception_t exception, const char* message) {
  if (ExceptionName(exception) == nullptr) {
    __android_log_print(ANDROID_LOG_WARN, "libbinder_ndk",
                        "exception code %d does not exist, taken as EX_TRANSACTION_FAILED",
                        exception);
    exception = EX_TRANSACTION_FAILED;
  }
  const int32_t code = exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : 0;
  return new AStatus{exception, code, message};
}

std::string Describe(const AStatus& status) {
  if (status.exception == EX_NONE) return "No error";
  std::string text = "Status(" + std::to_string(status.exception) + ", " +
                     ExceptionName(status.exception) + "): '";
  if (status.exception == EX_SERVICE_SPECIFIC) text += std::to_string(status.code) + ": ";
  if (status.exception == EX_TRANSACTION_FAILED)
    text += std::string(StatusName(status.code)) + ": ";
  return text + status.message + "'";
}

}  // namespace

AStatus* AStatus_newOk() {
  return &ok_status;
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
  return NewExceptionStatus(exception, "");
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
  return NewExceptionStatus(exception, message);
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
  return AStatus_fromServiceSpecificErrorWithMessage(serviceSpecific, "");
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
  return new AStatus{EX_SERVICE_SPECIFIC, serviceSpecific, message};
}

AStatus* AStatus_fromStatus(binder_status_t status) {
  if (status == STATUS_OK) return AStatus_newOk();
  const binder_status_t code = StatusName(status) != nullptr ? status : STATUS_UNKNOWN_ERROR;
  return new AStatus{EX_TRANSACTION_FAILED, code, ""};
}

bool AStatus_isOk(const AStatus* status) {
  return status->exception == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
  return status->exception;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
  return status->exception == EX_SERVICE_SPECIFIC ? status->code : 0;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
  return status->exception == EX_TRANSACTION_FAILED ? status->code : STATUS_OK;
}

const char* AStatus_getMessage(const AStatus* status) {
  return status->message.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
  const std::string text = Describe(*status);
  char* const description = new char[text.size() + 1];
  memcpy(description, text.c_str(), text.size() + 1);
  return description;
}

void AStatus_deleteDescription(const char* description) {
  delete[] description;
}

void AStatus_delete(AStatus* status) {
  if (status != &ok_status) delete status;
}

// SPDX-License-Identifier: Apache-2.0
#include "mtk/ORX_DEVICE.h"

#include <cutils/properties.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "orx_log.h"

namespace android::hardware::keymint::ORX {
namespace {

constexpr char kUniqueIdProperty[] = "ro.vendor.boot.uid";
constexpr char kNullUniqueId[] = "0000000000000000";
constexpr size_t kUniqueIdDigits = 16;
constexpr uint32_t kUniqueIdStringLength = 32;
constexpr size_t kRawUniqueIdBytes = 8;
constexpr int32_t kRawUniqueIdBufferBytes = 16;

constexpr char kSecureHardwareProperty[] = "ro.vendor.boot.secure_hardware";
constexpr uint32_t kModeSecure = 1;
constexpr uint32_t kModeNotSecure = 2;

constexpr size_t kImeiDigits = 15;
constexpr size_t kMeidDigits = 14;

char unique_id[PROPERTY_VALUE_MAX];

int GetUniqueId(char** uid, uint32_t* uid_len) {
  if (uid == nullptr || uid_len == nullptr) {
    ORX_LOG("ORX_DEVICE_GetUniqueID: Invalid input buffer\n");
    return 1;
  }
  char* text = static_cast<char*>(malloc(kUniqueIdStringLength + 1));
  if (text == nullptr) {
    ORX_LOG("ORX_DEVICE_GetUniqueID: alloc uid buffer failed\n");
    return 1;
  }
  memset(text, '0', kUniqueIdStringLength);
  memcpy(text, get_sec_uid_prop(), kUniqueIdDigits);
  text[kUniqueIdStringLength] = '\0';
  ORX_LOG("ORX_DEVICE_GetUniqueID: Final uid hex str is: %s\n", text);
  *uid_len = kUniqueIdStringLength;
  *uid = text;
  return 0;
}

int HexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

int GetRawUniqueId(uint8_t* out, int32_t out_size) {
  const char* uid = get_sec_uid_prop();
  // Twice what is written, see the header's WARNING.
  if (out == nullptr || out_size < kRawUniqueIdBufferBytes) {
    ORX_LOG("ORX_ProcessorRawUID: Invalid input buffer.\n");
    return 1;
  }
  memset(out, 0, static_cast<size_t>(out_size));
  for (size_t i = 0; i < kRawUniqueIdBytes; ++i) {
    const int first = HexDigitValue(uid[2 * i]);
    const int second = HexDigitValue(uid[2 * i + 1]);
    ORX_LOG("first char=%d, second char=%d \n", first, second);
    if (first == -1 || second == -1) {
      ORX_LOG(
          "ORX_ProcessorRawUID: convert uid str to raw bin error ro.vendor.boot.uid=%s but caller "
          "size=%d: \n",
          uid, static_cast<int>(kRawUniqueIdBytes));
      return 1;
    }
    out[i] = static_cast<uint8_t>(first * 16 + second);
  }
  return 0;
}

int GetMode(uint32_t* mode) {
  char value[PROPERTY_VALUE_MAX] = {};
  property_get(kSecureHardwareProperty, value, "xxx");
  ORX_LOG("ORX_DEVICE_GetMode: get property_value: %s \n", value);
  *mode = property_get_bool(kSecureHardwareProperty, 1) ? kModeSecure : kModeNotSecure;
  return 0;
}

// ModemAnswer receives an answer aside, so that one longer than the caller's buffer ends there.
// What is not received reads as the caller's buffer was: the answer comes without a terminator, and
// the checks tell a short one by what it did not overwrite.
class ModemAnswer {
 public:
  ModemAnswer(char* buf, uint32_t len)
      : buf_(buf), length_(std::min<size_t>(len, ORX_MODEM_RESPONSE_MAX)) {
    memcpy(text_, buf_, length_);
  }

  bool Receive(const char* command) {
    if (ORX_communicate_with_modem(command, text_) != 0) return false;
    memcpy(buf_, text_, length_);
    return true;
  }

  const char* text() const { return text_; }

 private:
  char* buf_;
  size_t length_;
  char text_[ORX_MODEM_RESPONSE_MAX + 1] = {};
};

// A longer text is cut to the digits of an IMEI; no text in quotes leaves `buf` empty.
void TakeQuoted(const char* answer, char* buf, uint32_t len) {
  char quoted[kImeiDigits + 1] = {};
  sscanf(answer, "%*[^\"]\"%15[^\"]", quoted);
  memset(buf, 0, len);
  memcpy(buf, quoted, kImeiDigits);
}

bool AreDigits(const char* text, size_t length) {
  return std::all_of(text, text + length, [](char c) { return c >= '0' && c <= '9'; });
}

int GetMeid(char* buf, uint32_t len) {
  if (buf == nullptr || len < kMeidDigits + 1) {
    ORX_LOG("Invalid MEID buffer, input length = %d\n", static_cast<int>(len));
    return 1;
  }
  // The byte behind the dashes is left alone: callers hand in zeros.
  memset(buf, '-', kMeidDigits);
  ModemAnswer answer(buf, len);
  if (!answer.Receive("TCATSEND,0,AT^MEID")) {
    ORX_LOG("ORX_DEVICE_GetMeid failed! \n");
    return 1;
  }
  if (strnlen(buf, len) != kMeidDigits) {
    ORX_LOG("ORX_DEVICE_GetMeid: meid is not programmed to NV!\n");
    return 1;
  }
  // Hexadecimal letters too are refused on purpose.
  if (!AreDigits(buf, kMeidDigits)) {
    ORX_LOG("ORX_DEVICE_GetMeid: invalid MEID from NV!\n");
    return 1;
  }
  ORX_LOG("Parse MEID from modem is: %s\n", buf);
  return 0;
}

}  // namespace

const char* get_sec_uid_prop() {
  ORX_LOG("get_sec_uid_prop: Acquire uid str in hex formatter passed from bootloader.\n");
  const int length = property_get(kUniqueIdProperty, unique_id, kNullUniqueId);
  if (length < static_cast<int>(kUniqueIdDigits)) {
    ORX_LOG("get_sec_uid_prop: property_get error with size: %d", length);
    return kNullUniqueId;
  }
  if (strncmp(unique_id, kNullUniqueId, kUniqueIdDigits) == 0) {
    ORX_LOG("get_sec_uid_prop: property_invalid ro.vendor.boot.uid=%s\n", unique_id);
    return kNullUniqueId;
  }
  return unique_id;
}

int get_imei_from_modem(const char* command, char* buf, uint32_t len, int quoted) {
  if (buf == nullptr || len < kImeiDigits + 1) {
    ORX_LOG("Invalid IMEI buffer, input length = %d\n", static_cast<int>(len));
    return 1;
  }
  if (command == nullptr) {
    ORX_LOG("Invalid AT command");
    return 1;
  }
  // The dashes make a short answer show; the byte behind them is left alone: callers hand in zeros.
  memset(buf, '-', kImeiDigits);
  ModemAnswer answer(buf, len);
  if (!answer.Receive(command)) {
    ORX_LOG("ORX_DEVICE_GetImei failed!\n");
    return 1;
  }
  if (quoted != 0) TakeQuoted(answer.text(), buf, len);
  if (strnlen(buf, len) != kImeiDigits) {
    ORX_LOG("get_imei_from_modem: imei is not programmed to NV!\n");
    return 1;
  }
  if (!AreDigits(buf, kImeiDigits)) {
    ORX_LOG("get_imei_from_modem: invalid imei from NV!\n");
    return 1;
  }
  ORX_LOG("Parse IMEI from modem is: %s\n", buf);
  return 0;
}

}  // namespace android::hardware::keymint::ORX

namespace orx = android::hardware::keymint::ORX;

int ORX_DEVICE_GetUniqueID(char** uid, uint32_t* uid_len) {
  return orx::GetUniqueId(uid, uid_len);
}

int ORX_ProcessorRawUID(uint8_t* out, int32_t out_size) {
  return orx::GetRawUniqueId(out, out_size);
}

int ORX_DEVICE_GetMode(uint32_t* mode) {
  return orx::GetMode(mode);
}

int ORX_DEVICE_IsProduction(void) {
  uint32_t mode = 0;
  ORX_DEVICE_GetMode(&mode);
  return mode == orx::kModeSecure ? 0 : 1;
}

int ORX_DEVICE_GetUnlockState(void) {
  return 0;
}

int ORX_DEVICE_Goodix_FPS_Ready(void) {
  return 1;
}

int ORX_DEVICE_GetImei(char* buf, uint32_t len) {
  return orx::get_imei_from_modem("TCATSEND,0,AT+CGSN", buf, len, 0);
}

int ORX_DEVICE_GetImei2(char* buf, uint32_t len) {
  return orx::get_imei_from_modem("TCATSEND,0,AT+EGMR=0,10#+EGMR", buf, len, 1);
}

int ORX_DEVICE_GetMeid(char* buf, uint32_t len) {
  return orx::GetMeid(buf, len);
}

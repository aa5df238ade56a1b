// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/android/hardware/security/keymint/AttestationKey.h>
#include <aidl/android/hardware/security/keymint/BeginResult.h>
#include <aidl/android/hardware/security/keymint/DeviceInfo.h>
#include <aidl/android/hardware/security/keymint/HardwareAuthToken.h>
#include <aidl/android/hardware/security/keymint/KeyCreationResult.h>
#include <aidl/android/hardware/security/keymint/KeyMintHardwareInfo.h>
#include <aidl/android/hardware/security/keymint/MacedPublicKey.h>
#include <aidl/android/hardware/security/keymint/ProtectedData.h>
#include <aidl/android/hardware/security/keymint/RpcHardwareInfo.h>
#include <aidl/android/hardware/security/secureclock/TimeStampToken.h>
#include <aidl/android/hardware/security/sharedsecret/SharedSecretParameters.h>

#include <array>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace orx_sim {

namespace km = ::aidl::android::hardware::security::keymint;
namespace sc = ::aidl::android::hardware::security::secureclock;
namespace ss = ::aidl::android::hardware::security::sharedsecret;

// ParcelSize gives the number of bytes that a value takes in a parcel.
class ParcelSize {
 public:
  template <typename T>
  static size_t Of(const T& value) {
    if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T>) {
      return sizeof(T) > 4 ? 8 : 4;
    } else {
      return Size(value);
    }
  }

 private:
  static constexpr size_t kParcelableHeader = 8;  // whether it is there, and its size
  static constexpr size_t kBinderObject = 28;

  template <typename... T>
  static size_t Fields(const T&... fields) {
    return kParcelableHeader + (Of(fields) + ... + 0);
  }
  static size_t Padded(size_t bytes) { return (bytes + 3) / 4 * 4; }

  static size_t Size(const std::vector<uint8_t>& bytes) { return 4 + Padded(bytes.size()); }
  static size_t Size(const std::string& text) { return 4 + Padded(2 * (text.size() + 1)); }
  template <size_t count>
  static size_t Size(const std::array<uint8_t, count>&) {
    return 4 + Padded(count);
  }
  template <typename T>
  static size_t Size(const std::vector<T>& values) {
    size_t size = 4;
    for (const T& value : values) size += Of(value);
    return size;
  }
  template <typename T>
  static size_t Size(const std::optional<T>& value) {
    return 4 + (value ? Of(*value) : 0);
  }

  static size_t Size(const km::KeyParameterValue& value) {
    using Wide = km::KeyParameterValue;
    return value.getTag() == Wide::Tag::blob ? 8 + Of(value.get<Wide::blob>()) : 16;
  }
  static size_t Size(const km::KeyParameter& p) { return Fields(p.tag, p.value); }
  static size_t Size(const km::KeyCharacteristics& c) {
    return Fields(c.securityLevel, c.authorizations);
  }
  static size_t Size(const km::Certificate& c) { return Fields(c.encodedCertificate); }
  static size_t Size(const km::KeyCreationResult& r) {
    return Fields(r.keyBlob, r.keyCharacteristics, r.certificateChain);
  }
  static size_t Size(const km::AttestationKey& k) {
    return Fields(k.keyBlob, k.attestKeyParams, k.issuerSubjectName);
  }
  static size_t Size(const sc::Timestamp& t) { return Fields(t.milliSeconds); }
  static size_t Size(const sc::TimeStampToken& t) {
    return Fields(t.challenge, t.timestamp, t.mac);
  }
  static size_t Size(const km::HardwareAuthToken& t) {
    return Fields(t.challenge, t.userId, t.authenticatorId, t.authenticatorType, t.timestamp,
                  t.mac);
  }
  static size_t Size(const km::BeginResult& r) {
    return Fields(r.challenge, r.params) + kBinderObject;
  }
  static size_t Size(const km::KeyMintHardwareInfo& i) {
    return Fields(i.versionNumber, i.securityLevel, i.keyMintName, i.keyMintAuthorName,
                  i.timestampTokenRequired);
  }
  static size_t Size(const km::MacedPublicKey& k) { return Fields(k.macedKey); }
  static size_t Size(const km::DeviceInfo& i) { return Fields(i.deviceInfo); }
  static size_t Size(const km::ProtectedData& d) { return Fields(d.protectedData); }
  static size_t Size(const km::RpcHardwareInfo& i) {
    return Fields(i.versionNumber, i.rpcAuthorName, i.supportedEekCurve, i.uniqueId,
                  i.supportedNumKeysInCsr);
  }
  static size_t Size(const ss::SharedSecretParameters& p) { return Fields(p.seed, p.nonce); }
};

}  // namespace orx_sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/remotely_provisioned.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/evp.h>

#include <algorithm>

#include "sim/keymint/key_generation.h"
#include "sim/negotiation/cbor_writer.h"

namespace orx_sim {
namespace {

using Component = km::IRemotelyProvisionedComponent;

constexpr int32_t kInterfaceVersion = 3;
constexpr size_t kMaxChallengeLength = 64;
constexpr size_t kCoordinateLength = 32;
// Components of older releases authenticated the public keys of their test mode with this key.
constexpr HmacKey kTestMacKey{};

// COSE_Key labels and values (RFC 9053).
constexpr int64_t kKeyType = 1, kEc2 = 2;
constexpr int64_t kAlgorithm = 3, kEs256 = -7;
constexpr int64_t kCurve = -1, kP256 = 1;
constexpr int64_t kX = -2, kY = -3;

ndk::ScopedAStatus Failure(int32_t status, const char* reason) {
  return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(status, reason);
}

// The public key of a PKCS#8 P-256 key as a canonical COSE_Key; empty on failure.
Bytes EncodeCoseKey(const SecretBytes& material) {
  const bssl::UniquePtr<EVP_PKEY> key = ParsePrivateKey(material.data(), material.size());
  const EC_KEY* const ec = key ? EVP_PKEY_get0_EC_KEY(key.get()) : nullptr;
  const bssl::UniquePtr<BIGNUM> x(BN_new()), y(BN_new());
  Bytes x_bytes(kCoordinateLength), y_bytes(kCoordinateLength);
  if (ec == nullptr || !x || !y ||
      !EC_POINT_get_affine_coordinates_GFp(EC_KEY_get0_group(ec), EC_KEY_get0_public_key(ec),
                                           x.get(), y.get(), nullptr) ||
      !BN_bn2bin_padded(x_bytes.data(), x_bytes.size(), x.get()) ||
      !BN_bn2bin_padded(y_bytes.data(), y_bytes.size(), y.get())) {
    return {};
  }
  CborWriter writer;
  writer.Map(5);
  writer.Integer(kKeyType).Integer(kEc2);
  writer.Integer(kAlgorithm).Integer(kEs256);
  writer.Integer(kCurve).Integer(kP256);
  writer.Integer(kX).Bytes(x_bytes);
  writer.Integer(kY).Bytes(y_bytes);
  return writer.Take();
}

KeyParams AttestKeyParams() {
  return {{Tag::PURPOSE, km::KeyPurpose::ATTEST_KEY},
          {Tag::ALGORITHM, km::Algorithm::EC},
          {Tag::DIGEST, km::Digest::SHA_2_256},
          {Tag::EC_CURVE, km::EcCurve::P_256},
          {Tag::NO_AUTH_REQUIRED, true},
          {Tag::ORIGIN, km::KeyOrigin::GENERATED}};
}

}  // namespace

RemotelyProvisionedComponent::RemotelyProvisionedComponent(std::shared_ptr<DeviceFolder> folder,
                                                           const Instance& instance)
    : folder_(std::move(folder)), instance_(instance), vault_(folder_, instance_.name) {
  const SecretBytes key =
      folder_->DeriveKey(std::string("public key MAC ") + instance_.name, mac_key_.size());
  std::copy(key.begin(), key.end(), mac_key_.begin());
}

ndk::ScopedAStatus RemotelyProvisionedComponent::getHardwareInfo(km::RpcHardwareInfo* info) {
  info->versionNumber = kInterfaceVersion;
  info->rpcAuthorName = "orx-sim";
  info->supportedEekCurve = km::RpcHardwareInfo::CURVE_NONE;
  info->uniqueId = std::string("simulated device ") + instance_.name;
  info->supportedNumKeysInCsr = km::RpcHardwareInfo::MIN_SUPPORTED_NUM_KEYS_IN_CSR;
  return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus RemotelyProvisionedComponent::generateEcdsaP256KeyPair(
    bool test_mode, km::MacedPublicKey* public_key, Bytes* key_handle) {
  if (test_mode) return Failure(Component::STATUS_REMOVED, "there is no test mode any more");
  KeyParams params = AttestKeyParams();
  Key key = vault_.NewKey(params);
  if (GenerateMaterial(instance_.IsStrongBox(), &params, &key.material) != ErrorCode::OK) {
    return Failure(Component::STATUS_FAILED, "no key pair could be made");
  }
  key.authorizations = params;
  const Bytes cose_key = EncodeCoseKey(key.material);
  if (cose_key.empty()) return Failure(Component::STATUS_FAILED, "no COSE_Key could be made");
  public_key->macedKey = EncodeMac0(CborWriter(), cose_key, {}, mac_key_);
  *key_handle = vault_.Seal(key);
  return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus RemotelyProvisionedComponent::generateCertificateRequest(
    bool, const std::vector<km::MacedPublicKey>&, const Bytes&, const Bytes&, km::DeviceInfo*,
    km::ProtectedData*, Bytes*) {
  return Failure(Component::STATUS_REMOVED, "generateCertificateRequestV2 took its place");
}

ndk::ScopedAStatus RemotelyProvisionedComponent::generateCertificateRequestV2(
    const std::vector<km::MacedPublicKey>& keys, const Bytes& challenge, Bytes*) {
  if (challenge.size() > kMaxChallengeLength) {
    return Failure(Component::STATUS_FAILED, "the challenge has more than 64 bytes");
  }
  for (const km::MacedPublicKey& key : keys) {
    if (OpenMac0(CborWriter(), key.macedKey, {}, mac_key_)) continue;
    if (OpenMac0(CborWriter(), key.macedKey, {}, kTestMacKey)) {
      return Failure(Component::STATUS_TEST_KEY_IN_PRODUCTION_REQUEST, "a test key");
    }
    return Failure(Component::STATUS_INVALID_MAC, "not a public key of this component");
  }
  return Failure(Component::STATUS_FAILED, "a simulated device is known to no provisioning server");
}

}  // namespace orx_sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/attestation/remotely_provisioned.h"

#include <keymaster/cppcose/cppcose.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/nid.h>

#include <algorithm>

#include "sim/keys/private_key.h"

namespace orx_sim {
namespace {

using Component = km::IRemotelyProvisionedComponent;

constexpr int32_t kInterfaceVersion = 3;
constexpr size_t kCoordinateLength = 32;

ndk::ScopedAStatus Failure(int32_t status, const char* reason) {
  return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(status, reason);
}

// The public key of a P-256 pair as a canonical COSE_Key (RFC 9053); empty on failure.
Bytes EncodeCoseKey(const EVP_PKEY* pair) {
  const EC_KEY* const ec = EVP_PKEY_get0_EC_KEY(pair);
  const bssl::UniquePtr<BIGNUM> x(BN_new()), y(BN_new());
  Bytes x_bytes(kCoordinateLength), y_bytes(kCoordinateLength);
  if (!x || !y ||
      !EC_POINT_get_affine_coordinates_GFp(EC_KEY_get0_group(ec), EC_KEY_get0_public_key(ec),
                                           x.get(), y.get(), nullptr) ||
      !BN_bn2bin_padded(x_bytes.data(), x_bytes.size(), x.get()) ||
      !BN_bn2bin_padded(y_bytes.data(), y_bytes.size(), y.get())) {
    return {};
  }
  return cppbor::Map(cppcose::CoseKey::KEY_TYPE, cppcose::EC2,     //
                     cppcose::CoseKey::ALGORITHM, cppcose::ES256,  //
                     cppcose::CoseKey::CURVE, cppcose::P256,       //
                     cppcose::CoseKey::PUBKEY_X, x_bytes,          //
                     cppcose::CoseKey::PUBKEY_Y, y_bytes)
      .encode();
}

KeyParams AttestKeyParams() {
  return {{Tag::PURPOSE, km::KeyPurpose::ATTEST_KEY},
          {Tag::ALGORITHM, km::Algorithm::EC},
          {Tag::DIGEST, km::Digest::SHA_2_256},
          {Tag::EC_CURVE, km::EcCurve::P_256},
          UintParam(Tag::KEY_SIZE, 256),
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
  Key key = vault_.NewKey({});
  key.authorizations = AttestKeyParams();
  key.pair = NewEcPair(NID_X9_62_prime256v1);
  const Bytes cose_key = key.pair ? EncodeCoseKey(key.pair.get()) : Bytes();
  if (cose_key.empty()) return Failure(Component::STATUS_FAILED, "no key pair could be made");
  public_key->macedKey = NewMac0(cose_key, {}, mac_key_).encode();
  *key_handle = vault_.Seal(key);
  return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus RemotelyProvisionedComponent::generateCertificateRequest(
    bool, const std::vector<km::MacedPublicKey>&, const Bytes&, const Bytes&, km::DeviceInfo*,
    km::ProtectedData*, Bytes*) {
  return Failure(Component::STATUS_REMOVED, "generateCertificateRequestV2 took its place");
}

ndk::ScopedAStatus RemotelyProvisionedComponent::generateCertificateRequestV2(
    const std::vector<km::MacedPublicKey>&, const Bytes&, Bytes*) {
  return Failure(Component::STATUS_FAILED, "a simulated device is known to no provisioning server");
}

}  // namespace orx_sim

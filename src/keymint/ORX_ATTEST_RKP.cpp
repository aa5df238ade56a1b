// SPDX-License-Identifier: Apache-2.0
#include "keymint/ORX_ATTEST_RKP.h"

#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>
#include <android/binder_manager.h>
#include <cppbor.h>
#include <cppbor_parse.h>
#include <keymaster/cppcose/cppcose.h>
#include <keymint/ORX_KEYMINT.h>
#include <openssl/ec.h>
#include <openssl/ec_key.h>
#include <openssl/nid.h>
#include <openssl/x509.h>
#include <orx/device.h>

#include <optional>
#include <string>

#include "boringssl.h"
#include "orx_log.h"

namespace android::hardware::keymint::ORX::RKP {
namespace {

// The structures are checked by their printed form: byte strings in full, no map keys hidden.
constexpr size_t kMaxPrintedBytes = 32;
constexpr char kHmacSha256Params[] = "{\n  1 : 5,\n}";
constexpr char kP256SigningKeyParams[] = "  1 : 2,\n  3 : -7,\n  -1 : 1,\n";

constexpr size_t kMacSize = 32;

bool CheckProtectedParams(const cppbor::Array& mac0) {
  const cppbor::Bstr* params = mac0[cppcose::kCoseMac0ProtectedParams]->asBstr();
  if (params == nullptr) {
    ORX_LOG("Extract macedPubKey Protected Params failed");
    return false;
  }
  if (cppbor::prettyPrint(params->value(), kMaxPrintedBytes) != kHmacSha256Params) {
    ORX_LOG("Unexpected macedPubKey Protected Params value: %s",
            cppbor::prettyPrint(params->value(), kMaxPrintedBytes).c_str());
    return false;
  }
  return true;
}

bool CheckUnprotectedParams(const cppbor::Array& mac0) {
  const cppbor::Map* params = mac0[cppcose::kCoseMac0UnprotectedParams]->asMap();
  if (params == nullptr) {
    ORX_LOG("Extract macedPubKey Unprotected Params failed");
    return false;
  }
  if (params->size() != 0) {
    ORX_LOG("Unexpected macedPubKey Unprotected Params size: %d", static_cast<int>(params->size()));
    return false;
  }
  return true;
}

// Returns the payload, null if it is no COSE_Key of the expected type.
const cppbor::Bstr* CheckPayload(const cppbor::Array& mac0) {
  const cppbor::Bstr* payload = mac0[cppcose::kCoseMac0Payload]->asBstr();
  if (payload == nullptr) {
    ORX_LOG("Extract macedPubKey Payload failed");
    return nullptr;
  }
  const auto [key, position, message] = cppbor::parse(payload);
  if (key == nullptr) {
    ORX_LOG("Public Key parse failed: %s", message.c_str());
    return nullptr;
  }
  const std::string text = cppbor::prettyPrint(key.get(), kMaxPrintedBytes);
  if (text.find(kP256SigningKeyParams) == std::string::npos) {
    ORX_LOG("Unexpected Public Key type");
    return nullptr;
  }
  return payload;
}

bool CheckTag(const cppbor::Array& mac0) {
  const cppbor::Bstr* tag = mac0[cppcose::kCoseMac0Tag]->asBstr();
  if (tag == nullptr) {
    ORX_LOG("Extract macedPubKey Tag failed");
    return false;
  }
  if (tag->value().size() != kMacSize) {
    ORX_LOG("Unexpected macedPubKey Tag size: %d", static_cast<int>(tag->value().size()));
    return false;
  }
  return true;
}

// Returns the byte string at `label`, null if the item is no map or has none there.
const cppbor::Bstr* Coordinate(const cppbor::Item& cose_key, cppcose::CoseKey::Label label) {
  const cppbor::Map* map = cose_key.asMap();
  if (map == nullptr) return nullptr;
  const std::unique_ptr<cppbor::Item>& value = map->get(label);
  return value == nullptr ? nullptr : value->asBstr();
}

// Reads the coordinates of a COSE_Key as an uncompressed point (SEC 1, 2.3.3). Their lengths are
// left to the conversion of the point.
bool ReadPoint(const std::vector<uint8_t>& cose_key, std::vector<uint8_t>* point) {
  const auto [item, position, message] = cppbor::parse(cose_key);
  if (item == nullptr) {
    ORX_LOG("coseKeyData parse failed: %s", message.c_str());
    return false;
  }
  const cppbor::Bstr* x = Coordinate(*item, cppcose::CoseKey::PUBKEY_X);
  if (x == nullptr) {
    ORX_LOG("Extract X coordinate failed");
    return false;
  }
  const cppbor::Bstr* y = Coordinate(*item, cppcose::CoseKey::PUBKEY_Y);
  if (y == nullptr) {
    ORX_LOG("Extract Y coordinate failed");
    return false;
  }
  *point = {POINT_CONVERSION_UNCOMPRESSED};
  point->insert(point->end(), x->value().begin(), x->value().end());
  point->insert(point->end(), y->value().begin(), y->value().end());
  return true;
}

// Returns the EC key with the point as its public key, empty with the reason logged on failure.
bssl::UniquePtr<EC_KEY> MakeP256Key(const std::vector<uint8_t>& point_bytes) {
  bssl::UniquePtr<EC_KEY> key(EC_KEY_new());
  if (key == nullptr) {
    ORX_LOG("Init EC KEY failed");
    return nullptr;
  }
  const bssl::UniquePtr<EC_GROUP> group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
  if (group == nullptr) {
    ORX_LOG("Init EC GROUP failed");
    return nullptr;
  }
  if (EC_KEY_set_group(key.get(), group.get()) != 1) {
    ORX_LOG("Set KEY GROUP failed");
    return nullptr;
  }
  const bssl::UniquePtr<EC_POINT> point(EC_POINT_new(group.get()));
  if (point == nullptr) {
    ORX_LOG("Init EC POINT failed");
    return nullptr;
  }
  if (EC_POINT_oct2point(group.get(), point.get(), point_bytes.data(), point_bytes.size(),
                         nullptr) != 1) {
    ORX_LOG("Set EC POINT failed");
    return nullptr;
  }
  if (EC_KEY_set_public_key(key.get(), point.get()) != 1) {
    ORX_LOG("Set EC KEY failed");
    return nullptr;
  }
  return key;
}

}  // namespace

bool check_maced_pubkey(const km::MacedPublicKey& macedPubKey,
                        std::vector<uint8_t>* payload_value) {
  const auto [item, position, message] = cppbor::parse(macedPubKey.macedKey);
  if (item == nullptr) {
    ORX_LOG("macedPubKey parse failed: %s", message.c_str());
    return false;
  }
  const cppbor::Array* mac0 = item->asArray();
  if (mac0 == nullptr) {
    ORX_LOG("Convert macedPubKey to Array failed");
    return false;
  }
  if (mac0->size() != cppcose::kCoseMac0EntryCount) {
    ORX_LOG("Unexpected macedPubKey Entry Count: %d", static_cast<int>(mac0->size()));
    return false;
  }
  if (!CheckProtectedParams(*mac0) || !CheckUnprotectedParams(*mac0)) return false;
  const cppbor::Bstr* payload = CheckPayload(*mac0);
  if (payload == nullptr || !CheckTag(*mac0)) return false;
  if (payload_value == nullptr) {
    ORX_LOG("payload_value is nullptr");
    return false;
  }
  *payload_value = payload->value();
  return true;
}

bool p256_pub_key(const std::vector<uint8_t>& coseKeyData, PublicKeyPtr* pubkey) {
  std::vector<uint8_t> point;
  if (!ReadPoint(coseKeyData, &point)) return false;
  bssl::UniquePtr<EC_KEY> ec_key = MakeP256Key(point);
  if (ec_key == nullptr) return false;
  PublicKeyPtr key(EVP_PKEY_new());
  if (key == nullptr) {
    ORX_LOG("Init EVP PKEY failed");
    return false;
  }
  // The result tells only who owns the EC key from here on.
  if (EVP_PKEY_assign_EC_KEY(key.get(), ec_key.get()) == 1) static_cast<void>(ec_key.release());
  *pubkey = std::move(key);
  return true;
}

namespace {

std::shared_ptr<km::IRemotelyProvisionedComponent> LookUpComponent(bool strongbox) {
  const ::ndk::SpAIBinder binder(AServiceManager_checkService(
      strongbox ? "android.hardware.security.keymint.IRemotelyProvisionedComponent/strongbox"
                : "android.hardware.security.keymint.IRemotelyProvisionedComponent/default"));
  std::shared_ptr<km::IRemotelyProvisionedComponent> component =
      km::IRemotelyProvisionedComponent::fromBinder(binder);
  if (component == nullptr) {
    strongbox ? ORX_LOG("Could not obtain the Strongbox rkp service")
              : ORX_LOG("Could not obtain the TEE rkp service");
  }
  return component;
}

// LocalAttestKey is a key pair of the remotely provisioned component that attests other keys.
struct LocalAttestKey {
  km::AttestationKey key;
  PublicKeyPtr public_key;
};

// Has the component make a key pair, and hands out its public key.
bool GenerateKeyPair(km::IRemotelyProvisionedComponent& component, LocalAttestKey* attest_key) {
  km::MacedPublicKey maced_public_key;
  if (!component
           .generateEcdsaP256KeyPair(/*in_testMode=*/false, &maced_public_key,
                                     &attest_key->key.keyBlob)
           .isOk()) {
    ORX_LOG("Could not generate a P-256 keypair as an local attest key");
    return false;
  }
  std::vector<uint8_t> cose_key;
  if (!check_maced_pubkey(maced_public_key, &cose_key)) {
    ORX_LOG("Could not extract coseKeyData from macedPubKey");
    return false;
  }
  if (!p256_pub_key(cose_key, &attest_key->public_key)) {
    ORX_LOG("Could not extract signing public key from coseKeyData");
    return false;
  }
  if (attest_key->public_key == nullptr) {
    ORX_LOG("Invalid signing public key");
    return false;
  }
  return true;
}

bool MakeAttestKey(km::IRemotelyProvisionedComponent& component, LocalAttestKey* attest_key) {
  if (!GenerateKeyPair(component, attest_key)) return false;
  attest_key->key.issuerSubjectName = make_name_from_str(legacy::kKeyCommonName);
  if (attest_key->key.issuerSubjectName.empty()) {
    ORX_LOG("Could not make a subject name for the attest key");
    return false;
  }
  return true;
}

bool CheckAttestedChain(const std::vector<km::Certificate>& chain, EVP_PKEY* signer) {
  if (chain.size() != 1) {
    ORX_LOG("Unexpected attested cert chain size: %d", static_cast<int>(chain.size()));
    return false;
  }
  const bssl::UniquePtr<X509> cert = parse_cert_blob(chain[0].encodedCertificate);
  if (cert == nullptr) {
    ORX_LOG("Invalid attested key cert");
    return false;
  }
  // Only 0 is a bad signature, see the header's WARNING.
  if (X509_verify(cert.get(), signer) == 0) {
    ORX_LOG("Verification of attested key cert failed");
    return false;
  }
  return true;
}

bool Attest(KeyMintService& service, const LocalAttestKey& attest_key,
            const km::KeyParameter& identifier) {
  ORX_LOG("Validate key with auth tag-%s", identifier.toString().c_str());
  AuthorizationSet params = legacy::SigningKeyParams();
  params.push_back(identifier);

  std::vector<uint8_t> key_blob;
  std::vector<km::KeyCharacteristics> characteristics;
  std::vector<km::Certificate> chain;
  if (service.GenerateKey(params, attest_key.key, &key_blob, &characteristics, &chain) != 0) {
    ORX_LOG("Attestation fails with device ID");
    return false;
  }
  return CheckAttestedChain(chain, attest_key.public_key.get());
}

AuthorizationSet SelectIds(uint32_t id_mask, const DeviceIdRecords& records) {
  const bool dual_sim = ORX_device_supports_dual_sim() == 0;
  AuthorizationSetBuilder identifiers;
  legacy::AddIdTags(id_mask, records, &identifiers);
  // The records end before these values, so that neither adds a tag, see the WARNING of the mask.
  if (dual_sim && (id_mask & ORX_ATTEST_ID_SECOND_IMEI) != 0) {
    add_tag_from_prop(&identifiers, TAG_ATTESTATION_ID_SECOND_IMEI,
                      DeviceIdValue(records, kMeidRecord));
  }
  if ((id_mask & ORX_ATTEST_ID_MEID) != 0) {
    add_tag_from_prop(&identifiers, TAG_ATTESTATION_ID_MEID,
                      DeviceIdValue(records, dual_sim ? kMeidRecord + 1 : kMeidRecord));
  }
  return identifiers;
}

bool AttestIds(KeyMintService& service, const LocalAttestKey& attest_key, uint32_t id_mask) {
  DeviceIdRecords records;
  if (!legacy::ReadDeviceIds(&records)) {
    ORX_LOG("Fail to retrieve device ID values");
    return false;
  }
  for (const km::KeyParameter& identifier : SelectIds(id_mask, records)) {
    if (!Attest(service, attest_key, identifier)) return false;
  }
  return true;
}

// A device whose attestation keys are provisioned remotely must not attest without being given one.
bool CheckNoFactoryKeys(KeyMintService& service) {
  std::vector<uint8_t> key_blob;
  std::vector<km::KeyCharacteristics> characteristics;
  std::vector<km::Certificate> chain;
  const int error = service.GenerateKey(legacy::SigningKeyParams(), std::nullopt, &key_blob,
                                        &characteristics, &chain);
  ORX_LOG("Negative Test: return error = %d", error);
  if (error != 0) return true;
  ORX_LOG("Need to clear factory attestation keys before shipping");
  return false;
}

int ValidateAttestationIds(bool attest_ids, uint32_t id_mask, bool strongbox) {
  KeyMintService service(strongbox);
  const std::shared_ptr<km::IRemotelyProvisionedComponent> component = LookUpComponent(strongbox);
  if (component == nullptr) return 1;
  LocalAttestKey attest_key;
  if (!MakeAttestKey(*component, &attest_key)) return 1;
  if (attest_ids && !AttestIds(service, attest_key, id_mask)) return 1;
  return CheckNoFactoryKeys(service) ? 0 : 1;
}

}  // namespace
}  // namespace android::hardware::keymint::ORX::RKP

int ORX_validate_attestation_ids(bool attest_ids, uint32_t id_mask, bool /*relaxed*/,
                                 bool strongbox) {
  const ErrorQueueGuard guard;
  return android::hardware::keymint::ORX::RKP::ValidateAttestationIds(attest_ids, id_mask,
                                                                      strongbox);
}

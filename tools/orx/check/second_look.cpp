// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/second_look.h"

#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>
#include <android/binder_manager.h>
#include <keymint/ORX_KEYMINT.h>

#include <array>
#include <memory>

#include "tools/orx/chain/attest_key.h"
#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/check/keymint_exercise.h"
#include "tools/orx/check/library_call.h"
#include "tools/orx/cli/json_lines.h"

namespace orx_tool {
namespace {

namespace km = ::aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;
namespace ss = ::aidl::android::hardware::security::sharedsecret;

template <typename Interface>
std::string ServiceName(bool strongbox) {
  return std::string(Interface::descriptor) + (strongbox ? "/strongbox" : "/default");
}

template <typename Interface>
bool IsDeclared(bool strongbox) {
  return AServiceManager_isDeclared(ServiceName<Interface>(strongbox).c_str());
}

template <typename Interface>
std::shared_ptr<Interface> Find(bool strongbox) {
  return Interface::fromBinder(
      ::ndk::SpAIBinder(AServiceManager_checkService(ServiceName<Interface>(strongbox).c_str())));
}

// Calls makes calls one after the other until one fails.
class Calls {
 public:
  // Make notes how the call `make` ended, unless one failed before.
  template <typename Call>
  void Make(bool strongbox, const char* method, const Call& make) {
    if (last_.failed()) return;
    last_.name = std::string(strongbox ? "strongbox " : "default ") + method;
    const ::ndk::ScopedAStatus status = make();
    last_.answered = status.isOk() ||
                     (status.get() != nullptr && status.getExceptionCode() == EX_SERVICE_SPECIFIC);
    last_.error = last_.answered ? orx::KeyMintService::GetReturnErrorCode(status) : 0;
  }
  const RepeatedCall& last() const { return last_; }

 private:
  RepeatedCall last_;
};

// MakeAttestKey also has KeyMint show whether it has attestation keys of its own.
void MakeAttestKey(const Check& check, Calls* calls, SecondLook* look) {
  const auto device = Find<km::IKeyMintDevice>(check.on_strongbox());
  if (device == nullptr) return;
  const bool with_challenge = check.kind == Check::Kind::kRkpIds || !look->remote_strongbox;
  const orx::AuthorizationSet parameters = AttestKeyParameters(with_challenge);
  km::KeyCreationResult created;
  calls->Make(check.on_strongbox(), "generateKey", [&] {
    return device->generateKey({parameters.begin(), parameters.end()}, std::nullopt, &created);
  });
  look->factory_keys = with_challenge && !created.certificateChain.empty();
  // The key was made to be looked at only.
  if (!created.keyBlob.empty()) device->deleteKey(created.keyBlob);
  CertificateChain chain;
  for (const km::Certificate& one : created.certificateChain) {
    chain.push_back(one.encodedCertificate);
  }
  // A chain of one has no root to tell anything about.
  if (check.looks_at_chain && with_challenge) look->chain_advice = ChainAdvice(chain);
}

// MakeRemoteKey returns the key's handle.
std::vector<uint8_t> MakeRemoteKey(const Check& check, Calls* calls) {
  std::vector<uint8_t> handle;
  const auto component = Find<km::IRemotelyProvisionedComponent>(check.on_strongbox());
  if (component == nullptr) return handle;
  calls->Make(check.on_strongbox(), "generateEcdsaP256KeyPair", [&] {
    km::MacedPublicKey key;
    return component->generateEcdsaP256KeyPair(/*in_testMode=*/false, &key, &handle);
  });
  return handle;
}

// AttestWithRemoteKey has KeyMint attest a key with one of the component, and no identifier.
void AttestWithRemoteKey(const Check& check, Calls* calls) {
  const std::vector<uint8_t> handle = MakeRemoteKey(check, calls);
  const auto device = Find<km::IKeyMintDevice>(check.on_strongbox());
  if (device == nullptr || handle.empty()) return;
  const orx::AuthorizationSet parameters = AttestKeyParameters(/*with_challenge=*/true);
  const km::AttestationKey attestation_key{handle, {}, GeneratedKeyName()};
  km::KeyCreationResult created;
  calls->Make(check.on_strongbox(), "generateKey with a given attestation key", [&] {
    return device->generateKey({parameters.begin(), parameters.end()}, attestation_key, &created);
  });
  if (!created.keyBlob.empty()) device->deleteKey(created.keyBlob);
}

// Repeats the exercise to see what of it reaches the service.
class DevicePort : public KeyMintPort {
 public:
  DevicePort(std::shared_ptr<km::IKeyMintDevice> device, bool strongbox, Calls* calls)
      : device_(std::move(device)), strongbox_(strongbox), calls_(*calls) {}

  int Import(const ExerciseKey& key, Blob* blob) override {
    const std::vector<uint8_t> data(key.data.begin(), key.data.end());
    km::KeyCreationResult created;
    const int error = Make("importKey", [&] {
      return device_->importKey(key.import_params.vector_data(), key.format, data, std::nullopt,
                                &created);
    });
    *blob = created.keyBlob;
    return error;
  }
  int Begin(const KeyUse& use, const Blob& blob) override {
    km::BeginResult begun;
    const int error = Make("begin", [&] {
      return device_->begin(use.purpose, blob, use.params.vector_data(), std::nullopt, &begun);
    });
    operation_ = begun.operation;
    return error;
  }
  int Finish(const std::string& input, std::string* /*output*/) override {
    if (operation_ == nullptr) return 1;
    const std::vector<uint8_t> bytes(input.begin(), input.end());
    std::vector<uint8_t> produced;
    return Make("finish", [&] {
      return operation_->finish(bytes, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                                &produced);
    });
  }
  int Delete(Blob* blob) override {
    return Make("deleteKey", [&] { return device_->deleteKey(*blob); });
  }

 private:
  template <typename Call>
  int Make(const char* method, const Call& call) {
    calls_.Make(strongbox_, method, call);
    return calls_.last().failed() ? 1 : 0;
  }

  std::shared_ptr<km::IKeyMintDevice> device_;
  std::shared_ptr<km::IKeyMintOperation> operation_;
  const bool strongbox_;
  Calls& calls_;
};

void RepeatExercise(bool strongbox, Calls* calls) {
  const auto device = Find<km::IKeyMintDevice>(strongbox);
  if (device == nullptr) return;
  DevicePort port(device, strongbox, calls);
  Exercise(port, strongbox);
}

void BindRootOfTrust(Calls* calls) {
  const auto tee = Find<km::IKeyMintDevice>(false);
  const auto strongbox = Find<km::IKeyMintDevice>(true);
  if (tee == nullptr || strongbox == nullptr) return;
  int32_t version = 0;
  std::array<uint8_t, 16> challenge = {};
  std::vector<uint8_t> root;
  calls->Make(false, "getInterfaceVersion", [&] { return tee->getInterfaceVersion(&version); });
  calls->Make(true, "getInterfaceVersion",
              [&] { return strongbox->getInterfaceVersion(&version); });
  calls->Make(true, "getRootOfTrustChallenge",
              [&] { return strongbox->getRootOfTrustChallenge(&challenge); });
  calls->Make(false, "getRootOfTrust", [&] { return tee->getRootOfTrust(challenge, &root); });
  calls->Make(true, "sendRootOfTrust", [&] { return strongbox->sendRootOfTrust(root); });
}

// WrongLength tells of a check value that is no HMAC-SHA-256, or nothing.
std::string WrongLength(const char* instance, const std::vector<uint8_t>& secret) {
  constexpr size_t kHmacBytes = 32;
  if (secret.size() == kHmacBytes) return "";
  return std::string(instance) + " computeSharedSecret answered " + std::to_string(secret.size()) +
         " bytes, not " + std::to_string(kHmacBytes);
}

void NegotiateSecret(Calls* calls, std::string* wrong_length) {
  const auto tee = Find<ss::ISharedSecret>(false);
  const auto strongbox = Find<ss::ISharedSecret>(true);
  if (tee == nullptr || strongbox == nullptr) return;
  std::vector<ss::SharedSecretParameters> list(2);
  std::vector<uint8_t> of_tee;
  std::vector<uint8_t> of_strongbox;
  calls->Make(false, "getSharedSecretParameters",
              [&] { return tee->getSharedSecretParameters(&list[0]); });
  calls->Make(true, "getSharedSecretParameters",
              [&] { return strongbox->getSharedSecretParameters(&list[1]); });
  calls->Make(false, "computeSharedSecret",
              [&] { return tee->computeSharedSecret(list, &of_tee); });
  calls->Make(true, "computeSharedSecret",
              [&] { return strongbox->computeSharedSecret(list, &of_strongbox); });
  if (calls->last().failed()) return;
  *wrong_length = WrongLength("default", of_tee);
  if (wrong_length->empty()) *wrong_length = WrongLength("strongbox", of_strongbox);
}

// RefusedAgain tells whether KeyMint does not attest an identifier when the check is done again.
bool RefusedAgain(const Check& check) {
  ClearLibraryLog();
  CallLibrary(check);
  return Diagnose(LibraryLogLines()).code == "ATTEST-DEVICE-ID";
}

// FindWrongIdentifiers has each identifier attested alone; the library ends at the first.
uint32_t FindWrongIdentifiers(Check check) {
  if (check.kind == Check::Kind::kModel) {
    std::string last;
    return RefusedAgain(check) ? AttestedIdentifiers(LibraryLogLines(), &last) : 0;
  }
  uint32_t wrong = 0;
  for (const Identifier& identifier : IdentifiersIn(check.id_mask)) {
    check.id_mask = identifier.bit;
    if (RefusedAgain(check)) wrong |= identifier.bit;
  }
  return wrong;
}

bool RemoteKeysPass(const Check& check) {
  // The check without identifiers has nothing attested.
  Calls calls;
  AttestWithRemoteKey(check, &calls);
  if (calls.last().failed()) return false;
  Check remote = check;
  remote.kind = Check::Kind::kRkpIds;
  remote.id_mask = 0;
  return CallLibrary(remote).status == 0;
}

}  // namespace

SecondLook LookAgain(const Check& check, const std::string& code) {
  SecondLook look;
  look.strongbox_declared = IsDeclared<km::IKeyMintDevice>(true);
  look.rkp_declared = IsDeclared<km::IRemotelyProvisionedComponent>(check.on_strongbox());
  look.remote_strongbox = check.on_strongbox() && !StrongBoxHasFactoryKeys();
  Calls calls;
  Calls attest_key;  // made even where there is no remote one
  switch (check.kind) {
    case Check::Kind::kAttestation:
    case Check::Kind::kModel:
      MakeAttestKey(check, &calls, &look);
      break;
    case Check::Kind::kRkpIds:
      if (code == "ATTEST-DEVICE-ID") {
        AttestWithRemoteKey(check, &calls);
      } else {
        MakeRemoteKey(check, &calls);
      }
      MakeAttestKey(check, &attest_key, &look);
      break;
    case Check::Kind::kRootOfTrust:
      BindRootOfTrust(&calls);
      break;
    case Check::Kind::kSharedSecret:
      NegotiateSecret(&calls, &look.wrong_length);
      break;
    case Check::Kind::kKeyMint:
      if (code == "UNEXPLAINED") RepeatExercise(check.on_strongbox(), &calls);
      break;
  }
  // Without a given key the check wants this refusal.
  const bool as_wanted = attest_key.last().error == kNotProvisioned;
  const bool failed = attest_key.last().failed() && !as_wanted && !calls.last().failed();
  look.call = failed ? attest_key.last() : calls.last();
  if (code == "KM-KEYS-NOT-PROVISIONED") look.remote_keys = RemoteKeysPass(check);
  if (code == "ATTEST-DEVICE-ID") look.wrong_identifiers = FindWrongIdentifiers(check);
  return look;
}

Json::Value LookToJson(const SecondLook& look) {
  Json::Value json(Json::objectValue);
  json["strongbox_declared"] = look.strongbox_declared;
  json["rkp_declared"] = look.rkp_declared;
  json["remote_strongbox"] = look.remote_strongbox;
  json["factory_keys"] = look.factory_keys;
  json["remote_keys"] = look.remote_keys;
  json["call"] = look.call.name;
  json["answered"] = look.call.answered;
  json["error"] = look.call.error;
  json["wrong_identifiers"] = look.wrong_identifiers;
  json["wrong_length"] = look.wrong_length;
  json["chain_advice"] = Texts(look.chain_advice);
  return json;
}

SecondLook LookFromJson(const Json::Value& json) {
  SecondLook look;
  look.strongbox_declared = json["strongbox_declared"].asBool();
  look.rkp_declared = json["rkp_declared"].asBool();
  look.remote_strongbox = json["remote_strongbox"].asBool();
  look.factory_keys = json["factory_keys"].asBool();
  look.remote_keys = json["remote_keys"].asBool();
  look.call = {json["call"].asString(), json["answered"].asBool(), json["error"].asInt()};
  look.wrong_identifiers = json["wrong_identifiers"].asUInt();
  look.wrong_length = json["wrong_length"].asString();
  look.chain_advice = FromTexts(json["chain_advice"]);
  return look;
}

}  // namespace orx_tool

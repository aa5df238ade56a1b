// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/evidence/capture.h"

#include <keymint/ORX_KEYMINT.h>
#include <openssl/x509.h>
#include <orx/orx.h>

#include <algorithm>
#include <cctype>

#include "tools/orx/chain/attest_key.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/cli/encoding.h"

namespace orx_tool {
namespace {

namespace orx = android::hardware::keymint::ORX;
namespace km = aidl::android::hardware::security::keymint;

constexpr size_t kRecords = 7;
constexpr size_t kShortestIdentifier = 6;

// Values of the identifiers of the check, as the library has them attested.
std::vector<std::pair<Identifier, std::string>> Values(const Check& check) {
  std::vector<std::pair<Identifier, std::string>> values;
  std::vector<Identifier> model;
  ParseIdentifiers("model", &model);
  if (check.kind == Check::Kind::kModel) {
    const char* name = check.model ? check.model->c_str() : ORX_get_model_name();
    if (name != nullptr) values.emplace_back(model[0], name);
    return values;
  }
  DeviceIdRecord records[kRecords + 1] = {};
  uint32_t size = sizeof(records);
  if (ORX_get_attestation_id(reinterpret_cast<uint8_t*>(records), &size) != 0) return values;
  for (const Identifier& identifier : IdentifiersIn(check.id_mask)) {
    for (size_t i = 0; i < kRecords; ++i) {
      const std::string value = records[i].text();
      if (records[i].tag != static_cast<uint32_t>(identifier.tag) || value.empty()) continue;
      values.emplace_back(identifier, value);
    }
  }
  return values;
}

CapturedKey Generate(orx::KeyMintService& service, const orx::AuthorizationSet& params,
                     const std::optional<km::AttestationKey>& attest_key,
                     std::vector<uint8_t>* blob) {
  CapturedKey key;
  std::vector<km::KeyCharacteristics> characteristics;
  std::vector<km::Certificate> chain;
  key.error = service.GenerateKey(params, attest_key, blob, &characteristics, &chain);
  for (km::Certificate& one : chain) key.chain.push_back(std::move(one.encodedCertificate));
  return key;
}

CapturedKey AttestIdentifier(orx::KeyMintService& service, const km::AttestationKey& attest_key,
                             const Identifier& identifier, const std::string& value) {
  orx::AuthorizationSet params = orx::AuthorizationSetBuilder()
                                     .EcdsaSigningKey(km::EcCurve::P_256)
                                     .Authorization(orx::TAG_NO_AUTH_REQUIRED)
                                     .AttestationChallenge("orx")
                                     .AttestationApplicationId("orx")
                                     .SetDefaultValidity();
  km::KeyParameter param;
  param.tag = identifier.tag;
  param.value = km::KeyParameterValue::make<km::KeyParameterValue::blob>(
      std::vector<uint8_t>(value.begin(), value.end()));
  params.push_back(param);
  std::vector<uint8_t> blob;
  CapturedKey key = Generate(service, params, attest_key, &blob);
  if (!blob.empty()) service.DeleteKey(&blob, /*keepBlob=*/false);
  return key;
}

Json::Value KeyToJson(const CapturedKey& key) {
  Json::Value json(Json::objectValue);
  json["error"] = key.error;
  json["chain"] = Json::Value(Json::arrayValue);
  for (const auto& der : key.chain) json["chain"].append(ToHex(der.data(), der.size()));
  return json;
}

CapturedKey KeyFromJson(const Json::Value& json) {
  CapturedKey key;
  key.error = json["error"].asInt();
  for (const Json::Value& hex : json["chain"]) {
    const auto der = ParseHex(hex.asString());
    if (der) key.chain.emplace_back(der->begin(), der->end());
  }
  return key;
}

}  // namespace

Capture CaptureKeys(const Check& check, bool with_identifiers) {
  Capture capture;
  if (!check.needs_factory_keys()) return capture;
  orx::KeyMintService service(check.on_strongbox());
  const bool with_challenge = !check.on_strongbox() || StrongBoxHasFactoryKeys();
  km::AttestationKey attest_key;
  attest_key.issuerSubjectName = GeneratedKeyName();
  capture.attestation_key =
      Generate(service, AttestKeyParameters(with_challenge), std::nullopt, &attest_key.keyBlob);
  if (attest_key.keyBlob.empty()) return capture;
  if (with_identifiers) {
    for (const auto& [identifier, value] : Values(check)) {
      capture.identifiers.push_back(
          {identifier.bit, AttestIdentifier(service, attest_key, identifier, value)});
    }
  }
  service.DeleteKey(&attest_key.keyBlob, /*keepBlob=*/false);
  return capture;
}

Json::Value CaptureToJson(const Capture& capture) {
  Json::Value json(Json::objectValue);
  json["attestation_key"] = KeyToJson(capture.attestation_key);
  json["identifiers"] = Json::Value(Json::arrayValue);
  for (const auto& identifier : capture.identifiers) {
    Json::Value& one = json["identifiers"].append(KeyToJson(identifier.key));
    one["bit"] = identifier.bit;
  }
  return json;
}

Capture CaptureFromJson(const Json::Value& json) {
  Capture capture;
  capture.attestation_key = KeyFromJson(json["attestation_key"]);
  for (const Json::Value& one : json["identifiers"]) {
    capture.identifiers.push_back({one["bit"].asUInt(), KeyFromJson(one)});
  }
  return capture;
}

std::vector<ModemExchange> ModemExchanges(const std::vector<LogLine>& lines) {
  const std::string start = "start AT req command: ";
  const std::string received = "AT data receive is ";
  std::vector<ModemExchange> exchanges;
  std::string command;
  for (const LogLine& line : lines) {
    if (line.message.rfind(start, 0) == 0) command = line.message.substr(start.size());
    command.erase(command.find_last_not_of(' ') + 1);
    const size_t end = line.message.rfind(", data length is ");
    if (line.message.rfind(received, 0) != 0 || end == std::string::npos) continue;
    exchanges.push_back({command, line.message.substr(received.size(), end - received.size())});
  }
  return exchanges;
}

std::string MaskShape(const std::string& answer) {
  std::string masked = answer;
  for (size_t begin = 0; begin < masked.size();) {
    size_t end = begin;
    bool digits = false;
    while (end < masked.size() && isalnum(static_cast<unsigned char>(masked[end])) != 0) {
      digits = digits || isdigit(static_cast<unsigned char>(masked[end])) != 0;
      ++end;
    }
    for (size_t i = begin + 2; digits && end - begin >= kShortestIdentifier && i < end; ++i) {
      masked[i] = isdigit(static_cast<unsigned char>(masked[i])) != 0 ? '0' : 'A';
    }
    begin = end + 1;
  }
  return masked;
}

}  // namespace orx_tool

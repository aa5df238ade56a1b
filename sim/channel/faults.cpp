// SPDX-License-Identifier: Apache-2.0
#include "sim/channel/faults.h"

#include <android-base/parseint.h>
#include <android-base/strings.h>

#include <algorithm>

#include "sim/modem/modem.h"

namespace orx_sim {
namespace {

using android::base::ParseInt;
using android::base::Split;

struct ServiceMethods {
  const char* service;
  const char* methods;
};
constexpr char kMetaMethods[] = "getInterfaceVersion getInterfaceHash";
constexpr ServiceMethods kServices[] = {
    {"keymint",
     "getHardwareInfo addRngEntropy generateKey importKey importWrappedKey upgradeKey deleteKey "
     "deleteAllKeys destroyAttestationIds begin deviceLocked earlyBootEnded "
     "convertStorageKeyToEphemeral getKeyCharacteristics getRootOfTrustChallenge getRootOfTrust "
     "sendRootOfTrust"},
    {"operation", "updateAad update finish abort"},
    {"rkp",
     "getHardwareInfo generateEcdsaP256KeyPair generateCertificateRequest "
     "generateCertificateRequestV2"},
    {"sharedsecret", "getSharedSecretParameters computeSharedSecret"},
};

bool HasWord(const std::string& words, const std::string& word) {
  const std::vector<std::string> all = Split(words, " ");
  return std::find(all.begin(), all.end(), word) != all.end();
}

bool IsService(const std::string& name) {
  return std::any_of(std::begin(kServices), std::end(kServices),
                     [&name](const ServiceMethods& row) { return name == row.service; });
}

bool IsMethod(const std::string& service, const std::string& method) {
  return std::any_of(std::begin(kServices), std::end(kServices), [&](const ServiceMethods& row) {
    return (service.empty() || service == row.service) &&
           (HasWord(row.methods, method) || HasWord(kMetaMethods, method));
  });
}

// Takes "NAME" or "NAME=NUMBER" for the row's effect.
bool FitsRow(const EffectRow& row, const std::string& text, const std::string& method,
             int* argument) {
  if (std::string(row.methods) != "*" && !HasWord(row.methods, method)) return false;
  if (row.argument == nullptr) return text == row.name;
  const std::string prefix = row.name + std::string("=");
  return android::base::StartsWith(text, prefix) && ParseInt(text.substr(prefix.size()), argument);
}

std::shared_ptr<const Effect> ParseEffect(const std::string& text, const std::string& method) {
  int number = 0;
  if (ParseInt(text, &number)) return std::make_shared<Effect>(ServiceError(number));
  for (const EffectRow& row : EffectRows()) {
    if (!FitsRow(row, text, method, &number)) continue;
    Effect effect = row.make(number);
    if (effect.status || effect.alter) return std::make_shared<Effect>(std::move(effect));
  }
  return nullptr;
}

std::string EffectsOf(const std::string& method) {
  std::string names = "a number";
  for (const EffectRow& row : EffectRows()) {
    if (std::string(row.methods) != "*" && !HasWord(row.methods, method)) continue;
    names += std::string(", ") + row.name;
    if (row.argument != nullptr) names += std::string("=") + row.argument;
  }
  return names;
}

}  // namespace

// Takes "[INSTANCE.][SERVICE.][METHOD]"; `method` gets the part that is neither of the others.
bool FaultTable::ParseTarget(const std::string& text, Target* target, std::string* method) {
  std::vector<std::string> parts = Split(text, ".");
  if (parts[0] == "default" || parts[0] == "strongbox") {
    target->instance = parts[0];
    parts.erase(parts.begin());
  }
  if (!parts.empty() && IsService(parts[0])) {
    target->service = parts[0];
    parts.erase(parts.begin());
  }
  if (!parts.empty()) *method = parts[0];
  return parts.size() <= 1;
}

bool FaultTable::AddAbsence(const std::string& where, std::string* error) {
  Target target;
  std::string rest;
  if (!ParseTarget(where, &target, &rest) || !rest.empty() || target.instance.empty()) {
    *error = "\"" + where +
             "\" is no service; there are default and strongbox, and of each "
             ".keymint, .rkp and .sharedsecret";
    return false;
  }
  absent_.push_back(target);
  return true;
}

bool FaultTable::AddModemFault(const std::string& spec, std::string* error) {
  ModemSettings ignored;
  if (!SetModemFault(&ignored, spec, error)) return false;
  modem_.push_back(spec);
  return true;
}

bool FaultTable::AddCallFault(const std::string& where, const std::string& what,
                              std::string* error) {
  Fault fault;
  if (!ParseTarget(where, &fault.target, &fault.method) ||
      !IsMethod(fault.target.service, fault.method)) {
    *error = "\"" + where + "\" is no method of a service of the device";
    return false;
  }
  const size_t at = what.find('@');
  if (at != std::string::npos && !ParseInt(what.substr(at + 1), &fault.due, 1)) {
    *error = "\"" + what.substr(at) + "\" is no count; @1 is the first call";
    return false;
  }
  fault.effect = ParseEffect(what.substr(0, at), fault.method);
  if (fault.effect == nullptr) {
    *error = "\"" + what.substr(0, at) + "\" is no effect on " + fault.method + "; there are " +
             EffectsOf(fault.method);
    return false;
  }
  faults_.push_back(std::move(fault));
  return true;
}

bool FaultTable::Add(const std::string& spec, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::vector<std::string> parts = Split(spec, ":");
  std::string reason =
      "it is not of the form METHOD:EFFECT[@N], service:INSTANCE:absent or "
      "modem:EFFECT";
  bool added = false;
  if (parts.size() == 2 && parts[0] == "modem") {
    added = AddModemFault(spec, &reason);
  } else if (parts.size() == 2) {
    added = AddCallFault(parts[0], parts[1], &reason);
  } else if (parts.size() == 3 && parts[0] == "service" && parts[2] == "absent") {
    added = AddAbsence(parts[1], &reason);
  }
  if (!added) *error = "fault \"" + spec + "\": " + reason;
  return added;
}

std::shared_ptr<const Effect> FaultTable::OnCall(const std::string& instance,
                                                 const std::string& service,
                                                 const std::string& method) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::shared_ptr<const Effect> due;
  for (Fault& fault : faults_) {
    if (fault.method != method || !fault.target.Fits(instance, service)) continue;
    ++fault.calls;
    if (due == nullptr && (fault.due == 0 || fault.due == fault.calls)) due = fault.effect;
  }
  return due;
}

bool FaultTable::IsAbsent(const std::string& instance, const std::string& service) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(absent_.begin(), absent_.end(),
                     [&](const Target& target) { return target.Fits(instance, service); });
}

std::vector<std::string> FaultTable::modem() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return modem_;
}

}  // namespace orx_sim

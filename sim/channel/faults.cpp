// SPDX-License-Identifier: Apache-2.0
#include "sim/channel/faults.h"

#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/IKeyMintOperation.h>
#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "sim/modem/effect_form.h"

namespace orx_sim {
namespace {

using android::base::ParseInt;
using android::base::Split;
using Words = std::vector<std::string>;

#define ORX_SIM_METHOD_NAME(name, parameters, arguments) #name,

bool Has(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool AppliesTo(const EffectRow& row, const std::string& method) {
  return row.methods == std::string("*") || Has(Split(row.methods, " "), method);
}

bool IsService(const std::string& name) {
  const std::vector<ServiceRow>& rows = ServiceRows();
  return std::any_of(rows.begin(), rows.end(),
                     [&name](const ServiceRow& row) { return name == row.name; });
}

bool IsMethod(const std::string& service, const std::string& method) {
  const std::vector<ServiceRow>& rows = ServiceRows();
  return std::any_of(rows.begin(), rows.end(), [&](const ServiceRow& row) {
    return (service.empty() || service == row.name) && Has(row.methods, method);
  });
}

std::shared_ptr<const Effect> ParseEffect(const std::string& text, const std::string& method) {
  int number = 0;
  if (ParseInt(text, &number)) return std::make_shared<Effect>(ServiceError(number));
  for (const EffectRow& row : EffectRows()) {
    if (!AppliesTo(row, method) || !ParseEffectForm(text, row.name, row.argument, &number)) {
      continue;
    }
    Effect effect = row.make(number);
    if (!effect.IsNone()) return std::make_shared<Effect>(std::move(effect));
  }
  return nullptr;
}

std::string EffectsOf(const std::string& method) {
  std::string names = "a number";
  for (const EffectRow& row : EffectRows()) {
    if (AppliesTo(row, method)) names += ", " + EffectForm(row.name, row.argument);
  }
  return names;
}

// The errno of a name, 0 if there is none.
int ErrorNumber(const std::string& name) {
  constexpr int kLast = 133;
  for (int number = 1; number <= kLast; ++number) {
    const char* const known = strerrorname_np(number);
    if (known != nullptr && name == known) return number;
  }
  return 0;
}

bool OnlyOfChanges(int error_number) {
  return error_number == EROFS || error_number == ENOSPC || error_number == EDQUOT;
}

}  // namespace

const std::vector<ServiceRow>& ServiceRows() {
  static const std::vector<ServiceRow>* const rows = [] {
    auto* all = new std::vector<ServiceRow>{
        {"keymint", {ANDROID_HOST_KEYMINT_DEVICE_METHODS(ORX_SIM_METHOD_NAME)}},
        {"operation", {ANDROID_HOST_KEYMINT_OPERATION_METHODS(ORX_SIM_METHOD_NAME)}},
        {"rkp", {ANDROID_HOST_REMOTELY_PROVISIONED_COMPONENT_METHODS(ORX_SIM_METHOD_NAME)}},
        {"sharedsecret", {ANDROID_HOST_SHARED_SECRET_METHODS(ORX_SIM_METHOD_NAME)}}};
    for (ServiceRow& row : *all) {
      row.methods.insert(row.methods.end(), {"getInterfaceVersion", "getInterfaceHash"});
    }
    return all;
  }();
  return *rows;
}

const std::vector<std::string>& FileCalls() {
  static const Words calls = {"open", "read", "write", "fsync", "unlink"};
  return calls;
}

// Takes "[INSTANCE.][SERVICE.][METHOD]"; `method` gets the part that is neither of the others.
bool FaultTable::ParseTarget(const std::string& text, Target* target, std::string* method) {
  Words parts = Split(text, ".");
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

bool FaultTable::ParseAbsence(const std::string& where, Fault* fault, std::string* error) {
  std::string rest;
  if (!ParseTarget(where, &fault->target, &rest) || !rest.empty() ||
      fault->target.instance.empty()) {
    *error = "\"" + where +
             "\" is not a service; there are default and strongbox, and of each "
             ".keymint, .rkp and .sharedsecret";
    return false;
  }
  fault->method = "service";
  return true;
}

bool FaultTable::ParsePersistFault(const std::string& what, Fault* fault, std::string* error) {
  fault->persist = what == "missing"     ? PersistState::kMissing
                   : what == "read-only" ? PersistState::kReadOnly
                                         : PersistState::kUsual;
  if (fault->persist != PersistState::kUsual) return true;
  *error = "the persist folder can be missing or read-only";
  return false;
}

bool FaultTable::ParseFileFault(const std::string& what, Fault* fault, std::string* error) {
  fault->error_number = ErrorNumber(what);
  if (fault->error_number != 0) return true;
  *error = "\"" + what + "\" is not the name of an error, such as EIO, ENOSPC, EROFS or EACCES";
  return false;
}

bool FaultTable::ParseCallFault(const std::string& where, const std::string& what, Fault* fault,
                                std::string* error) {
  if (!ParseTarget(where, &fault->target, &fault->method) ||
      !IsMethod(fault->target.service, fault->method)) {
    *error = "\"" + where + "\" is not a method of a service of the device";
    return false;
  }
  fault->effect = ParseEffect(what, fault->method);
  if (fault->effect != nullptr) return true;
  *error = "\"" + what + "\" is not an effect on " + fault->method + "; there are " +
           EffectsOf(fault->method);
  return false;
}

bool FaultTable::Parse(const std::string& text, Fault* fault, std::string* error) {
  const Words parts = Split(text, ":");
  if (parts.size() == 3 && parts[0] == "service" && parts[2] == "absent") {
    return ParseAbsence(parts[1], fault, error);
  }
  if (parts.size() != 2) {
    *error =
        "it is not of the form WHERE:EFFECT[@N] or service:INSTANCE:absent; "
        "orx-sim faults lists all";
    return false;
  }
  fault->method = parts[0];
  if (parts[0] == "persist") return ParsePersistFault(parts[1], fault, error);
  if (parts[0] == "modem") return ParseModemFault(parts[1], &fault->modem, error);
  if (Has(FileCalls(), parts[0])) return ParseFileFault(parts[1], fault, error);
  return ParseCallFault(parts[0], parts[1], fault, error);
}

bool FaultTable::Add(const std::string& spec, std::string* error) {
  Fault fault;
  fault.spec = spec;
  const size_t at = spec.rfind('@');
  std::string reason;
  if (at != std::string::npos && !ParseInt(spec.substr(at + 1), &fault.due, 1)) {
    reason = "\"" + spec.substr(at) + "\" is not a count; @1 is the first call";
  } else if (Parse(spec.substr(0, at), &fault, &reason) && fault.due != 0 &&
             (fault.method == "service" || fault.method == "persist")) {
    reason = "it is there or not; leave out " + spec.substr(at);
  }
  if (!reason.empty()) {
    *error = "fault \"" + spec + "\": " + reason;
    return false;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.push_back(std::move(fault));
  return true;
}

void FaultTable::RecordShown(const std::string& file) {
  const std::lock_guard<std::mutex> lock(mutex_);
  shown_file_ = file;
}

void FaultTable::Show(Fault* fault) {
  if (!fault->shown && !shown_file_.empty()) {
    const android::base::unique_fd file(
        open(shown_file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
    dprintf(file.get(), "%s\n", fault->spec.c_str());
  }
  fault->shown = true;
}

// Counts a call that the fault fits.
bool FaultTable::IsDue(Fault* fault) {
  ++fault->calls;
  return fault->due == 0 || fault->due == fault->calls;
}

std::shared_ptr<const Effect> FaultTable::OnCall(const std::string& instance,
                                                 const std::string& service,
                                                 const std::string& method) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::shared_ptr<const Effect> due;
  for (Fault& fault : faults_) {
    if (fault.effect == nullptr || fault.ended || !fault.target.Fits(instance, service)) continue;
    const bool ends = fault.shown && fault.effect->until == method;
    fault.ended = ends;
    if (!ends && (fault.method != method || !IsDue(&fault))) continue;
    if (due != nullptr) continue;
    due = ends ? fault.effect->at_end : fault.effect;
    Show(&fault);
  }
  return due;
}

ModemFaults FaultTable::OnModemRequest() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ModemFaults due;
  for (Fault& fault : faults_) {
    if (fault.modem.empty() || !IsDue(&fault)) continue;
    due.insert(fault.modem.begin(), fault.modem.end());
    Show(&fault);
  }
  return due;
}

int FaultTable::OnFileCall(const std::string& call, bool changes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  int due = 0;
  for (Fault& fault : faults_) {
    if (fault.error_number == 0 || fault.method != call) continue;
    if ((OnlyOfChanges(fault.error_number) && !changes) || !IsDue(&fault) || due != 0) continue;
    due = fault.error_number;
    Show(&fault);
  }
  return due;
}

bool FaultTable::HasFileFaults() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(faults_.begin(), faults_.end(),
                     [](const Fault& fault) { return fault.error_number != 0; });
}

bool FaultTable::IsAbsent(const std::string& instance, const std::string& service) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (Fault& fault : faults_) {
    if (fault.method != "service" || !fault.target.Fits(instance, service)) continue;
    Show(&fault);
    return true;
  }
  return false;
}

PersistState FaultTable::persist() {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (Fault& fault : faults_) {
    if (fault.persist == PersistState::kUsual) continue;
    Show(&fault);
    return fault.persist;
  }
  return PersistState::kUsual;
}

}  // namespace orx_sim

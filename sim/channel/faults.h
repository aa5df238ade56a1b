// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>

#include <any>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sim/modem/modem.h"

namespace orx_sim {

// Effect is how a fault of a call shows: a status in the device's place, a change to its answer, or
// a wait.
struct Effect {
  // When set: what the call returns, without reaching the device.
  std::function<ndk::ScopedAStatus()> status = nullptr;
  // When set: gets a pointer to each argument of a call that succeeded, as std::any; that to an
  // input is one to const.
  std::function<void(const std::any& argument)> alter = nullptr;
  // The call waits for this long first.
  std::chrono::milliseconds delay{0};
  // Unless empty: the call that ends the fault, and the effect that this very call has.
  std::string until = {};
  std::shared_ptr<const Effect> at_end = nullptr;

  bool IsNone() const { return !status && !alter && delay.count() == 0; }
};

// Alter makes an Effect of a function that changes a result of one type.
template <typename Result>
Effect Alter(std::function<void(Result*)> change) {
  Effect effect;
  effect.alter = [change](const std::any& any) {
    if (Result* const* result = std::any_cast<Result*>(&any)) change(*result);
  };
  return effect;
}

// EffectRow is one named effect on a call. The rows are in fault_effects.cpp; a new effect is a new
// row. An effect that means something else for another method has a row for each.
struct EffectRow {
  const char* name;
  const char* methods;           // where it applies, separated by blanks; "*" for every method
  const char* argument;          // the number that must follow, as "NAME=NUMBER"; null if none does
  Effect (*make)(int argument);  // gets milliseconds for SECONDS; no effect: it is out of range
  const char* meaning;
};
const std::vector<EffectRow>& EffectRows();

// ServiceError is the effect that is written as a number: that service-specific error code.
Effect ServiceError(int code);

// ServiceRow is a service that calls go to, as faults name it, with its methods.
struct ServiceRow {
  const char* name;
  std::vector<std::string> methods;
};
const std::vector<ServiceRow>& ServiceRows();

// FileCalls returns the calls on the persist folder's files that can fail.
const std::vector<std::string>& FileCalls();

// What the device's persist folder is like.
enum class PersistState { kUsual, kMissing, kReadOnly };

// FaultTable holds named faults and counts calls. A fault is written WHERE:EFFECT[@N]:
//
//   [INSTANCE.][SERVICE.]METHOD:EFFECT   a number (that service-specific error code) or the name of
//                                        a row of EffectRows()
//   service:INSTANCE[.SERVICE]:absent    the service is not there
//   modem:EFFECT                         the name of a row of ModemEffectRows()
//   open:ERROR, read:, write:, ...       a call of FileCalls() fails with an errno ("EIO") on the
//                                        files of the persist folder
//   persist:missing, persist:read-only   the persist folder itself
//
// INSTANCE is default or strongbox, SERVICE is keymint, operation, rkp or sharedsecret; what is not
// named may be any. With @N only the N-th call or request that the fault fits is affected, counted
// from 1, else every one. Calls of services are counted per process, those of modem and files per
// run. All methods may be called from any thread.
class FaultTable {
 public:
  // Add adds a fault. Returns false, with one line in `*error`, if the text is not one.
  bool Add(const std::string& spec, std::string* error);

  // RecordShown adds a line to a file for each fault that shows for the first time: its text.
  void RecordShown(const std::string& file);

  // OnCall counts a call and returns the effect that is due, or null. The first fault that fits and
  // is due wins; all that fit count.
  std::shared_ptr<const Effect> OnCall(const std::string& instance, const std::string& service,
                                       const std::string& method);

  // OnModemRequest counts a request and returns the faults that are due.
  ModemFaults OnModemRequest();

  // OnFileCall counts a call on a file of the persist folder and returns the errno that is due, or
  // 0. `changes` says whether the call is to change something: what can fail only then (EROFS,
  // ENOSPC, EDQUOT) leaves others alone.
  int OnFileCall(const std::string& call, bool changes);
  bool HasFileFaults() const;

  // IsAbsent returns whether a service is to be left out.
  bool IsAbsent(const std::string& instance, const std::string& service);

  PersistState persist();

 private:
  struct Target {
    std::string instance;
    std::string service;
    bool Fits(const std::string& on_instance, const std::string& on_service) const {
      return (instance.empty() || instance == on_instance) &&
             (service.empty() || service == on_service);
    }
  };
  // One of the effects is set, according to what `method` is.
  struct Fault {
    std::string spec;
    Target target;
    std::string method;  // of a service, of files, or "modem", "service", "persist"
    std::shared_ptr<const Effect> effect = nullptr;
    ModemFaults modem = {};
    int error_number = 0;
    PersistState persist = PersistState::kUsual;
    int due = 0;  // 0: always
    int calls = 0;
    bool ended = false;
    bool shown = false;
  };

  static bool ParseTarget(const std::string& text, Target* target, std::string* method);
  static bool ParseAbsence(const std::string& where, Fault* fault, std::string* error);
  static bool ParsePersistFault(const std::string& what, Fault* fault, std::string* error);
  static bool ParseFileFault(const std::string& what, Fault* fault, std::string* error);
  static bool ParseCallFault(const std::string& where, const std::string& what, Fault* fault,
                             std::string* error);
  static bool Parse(const std::string& text, Fault* fault, std::string* error);
  bool IsDue(Fault* fault);
  void Show(Fault* fault);

  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
  std::string shown_file_;
};

}  // namespace orx_sim

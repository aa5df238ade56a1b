// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>

#include <any>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace orx_sim {

// Effect is how a fault shows: either a status in the device's place, or a change to its answer.
struct Effect {
  // When set: what the call returns, without reaching the device.
  std::function<ndk::ScopedAStatus()> status;
  // When set: gets a pointer to each result of a call that succeeded, as std::any.
  std::function<void(const std::any& result)> alter;
};

// Alter makes an Effect of a function that changes a result of one type.
template <typename Result>
Effect Alter(std::function<void(Result*)> change) {
  return {nullptr, [change](const std::any& any) {
            if (Result* const* result = std::any_cast<Result*>(&any)) change(*result);
          }};
}

// EffectRow is one named effect. The rows are in fault_effects.cpp; a new effect is a new row. An
// effect that means something else for another method has a row for each.
struct EffectRow {
  const char* name;
  const char* methods;           // where it applies, separated by blanks; "*" for every method
  const char* argument;          // the number that must follow, as "NAME=NUMBER"; null if none does
  Effect (*make)(int argument);  // neither member set: the number is out of range
  const char* meaning;
};
const std::vector<EffectRow>& EffectRows();

// ServiceError is the effect that is written as a number: that service-specific error code.
Effect ServiceError(int code);

// FaultTable holds named faults and counts calls. A fault is written
//
//   [INSTANCE.][SERVICE.]METHOD:EFFECT[@N]
//   service:INSTANCE[.SERVICE]:absent
//   modem:EFFECT
//
// INSTANCE is default or strongbox, SERVICE is keymint, operation, rkp or sharedsecret; what is not
// named may be any. EFFECT is a number (that service-specific error code) or the name of a row of
// EffectRows(). With @N only the N-th call that the fault fits is affected, counted from 1, else
// every one. Calls are counted per process. All methods may be called from any thread.
class FaultTable {
 public:
  // Add adds a fault. Returns false, with one line in `*error`, if the text is not one.
  bool Add(const std::string& spec, std::string* error);

  // OnCall counts a call and returns the effect that is due, or null. The first fault that fits and
  // is due wins; all that fit count.
  std::shared_ptr<const Effect> OnCall(const std::string& instance, const std::string& service,
                                       const std::string& method);

  // IsAbsent returns whether a service is to be left out.
  bool IsAbsent(const std::string& instance, const std::string& service) const;

  // modem returns the modem's faults as they were written.
  std::vector<std::string> modem() const;

 private:
  struct Target {
    std::string instance;
    std::string service;
    bool Fits(const std::string& on_instance, const std::string& on_service) const {
      return (instance.empty() || instance == on_instance) &&
             (service.empty() || service == on_service);
    }
  };
  struct Fault {
    Target target;
    std::string method;
    std::shared_ptr<const Effect> effect;
    int due = 0;  // 0: always
    int calls = 0;
  };

  static bool ParseTarget(const std::string& text, Target* target, std::string* method);
  bool AddAbsence(const std::string& where, std::string* error);
  bool AddModemFault(const std::string& spec, std::string* error);
  bool AddCallFault(const std::string& where, const std::string& what, std::string* error);

  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
  std::vector<Target> absent_;
  std::vector<std::string> modem_;
};

}  // namespace orx_sim

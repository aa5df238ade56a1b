// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/Algorithm.h>
#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <aidl/android/hardware/security/keymint/IRemotelyProvisionedComponent.h>
#include <aidl/android/hardware/security/keymint/SecurityLevel.h>
#include <aidl/android/hardware/security/sharedsecret/ISharedSecret.h>
#include <android/binder_manager.h>
#include <keymint/ORX_KEYMINT.h>
#include <orx/orx.h>
#include <sys/stat.h>

#include "tools/orx/cli/files.h"
#include "tools/orx/diagnosis/diagnostics.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/diagnosis/slots.h"
#include "tools/orx/doctor/doctor_probes.h"

namespace orx_tool {

namespace km = ::aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;
namespace ss = aidl::android::hardware::security::sharedsecret;

namespace {

::ndk::SpAIBinder Find(const std::string& name) {
  return ::ndk::SpAIBinder(AServiceManager_checkService(name.c_str()));
}

template <typename Interface>
std::string NameOf(const std::string& instance) {
  return std::string(Interface::descriptor) + "/" + instance;
}

// Missing is what a look-up without result means: a device need not have a StrongBox.
Finding Missing(const std::string& area, const std::string& name, const char* code) {
  if (AServiceManager_isDeclared(name.c_str())) {
    return MakeFinding(area, code, name + " is declared but not registered");
  }
  Finding finding;
  if (area == "keymint/default") {
    finding = MakeFinding(area, code, name + " is not registered");
  } else {
    finding.area = area;
    finding.status = Status::kNote;
    finding.text = name + " is neither declared nor registered";
  }
  const bool rule_holds = Find(NameOf<km::IKeyMintDevice>("default")).get() != nullptr;
  finding.remedy = ServiceRemedy(name, rule_holds);
  return finding;
}

// NoAnswer tells a service that answered an error from one that did not answer.
Finding NoAnswer(const std::string& area, const ::ndk::ScopedAStatus& status, const char* method) {
  const bool answered = status.get() != nullptr && status.getExceptionCode() == EX_SERVICE_SPECIFIC;
  if (!answered) {
    return MakeFinding(area, "KM-TRANSPORT",
                       std::string("is registered but does not answer ") + method);
  }
  return MakeFinding(area, "KM-FAILED",
                     std::string("answers ") + method + " with " +
                         KeyMintErrorName(orx::KeyMintService::GetReturnErrorCode(status)));
}

// Versioned is a service that tells its version, or does not.
template <typename Interface>
Finding Versioned(const std::string& area, Interface& service, const std::string& details) {
  int32_t version = 0;
  const auto status = service.getInterfaceVersion(&version);
  if (!status.isOk()) return NoAnswer(area, status, "getInterfaceVersion");
  Finding finding;
  finding.area = area;
  finding.text = "version " + std::to_string(version) + details;
  return finding;
}

Finding ProbeKeyMint(const std::string& instance) {
  const std::string area = "keymint/" + instance;
  const std::string name = NameOf<km::IKeyMintDevice>(instance);
  const auto service = km::IKeyMintDevice::fromBinder(Find(name));
  if (service == nullptr) return Missing(area, name, "KM-SERVICE-MISSING");
  km::KeyMintHardwareInfo info;
  const auto status = service->getHardwareInfo(&info);
  if (!status.isOk()) return NoAnswer(area, status, "getHardwareInfo");
  return Versioned(area, *service,
                   ", " + toString(info.securityLevel) + ", " + info.keyMintName + " by " +
                       info.keyMintAuthorName);
}

Finding ProbeRkp(const std::string& instance) {
  const std::string area = "rkp/" + instance;
  const std::string name = NameOf<km::IRemotelyProvisionedComponent>(instance);
  const auto service = km::IRemotelyProvisionedComponent::fromBinder(Find(name));
  if (service == nullptr) return Missing(area, name, "RKP-SERVICE-MISSING");
  return Versioned(area, *service, "");
}

Finding ProbeSharedSecret(const std::string& instance) {
  const std::string area = "shared-secret/" + instance;
  const std::string name = NameOf<ss::ISharedSecret>(instance);
  const auto service = ss::ISharedSecret::fromBinder(Find(name));
  if (service == nullptr) return Missing(area, name, "SS-SERVICE-MISSING");
  return Versioned(area, *service, "");
}

// KeyText names the key in a blob by what the device says of it.
std::string KeyText(const std::vector<km::KeyCharacteristics>& characteristics) {
  std::string algorithm = "key";
  std::string size;
  for (const auto& level : characteristics) {
    for (const auto& parameter : level.authorizations) {
      using Value = km::KeyParameterValue;
      if (parameter.tag == km::Tag::ALGORITHM) {
        algorithm = toString(parameter.value.get<Value::algorithm>());
      } else if (parameter.tag == km::Tag::KEY_SIZE) {
        size = "-" + std::to_string(parameter.value.get<Value::integer>());
      }
    }
  }
  return algorithm + size;
}

Finding SlotFinding(const Slot& slot, const std::string& text) {
  Finding finding;
  finding.area = "key slot " + std::to_string(slot.key_id);
  finding.text = text;
  return finding;
}

Finding ProbeSlot(const Slot& slot, km::IKeyMintDevice* keymint) {
  struct stat status;
  Finding finding = SlotFinding(slot, "empty");
  if (lstat(slot.path().c_str(), &status) != 0) return finding;
  if (!S_ISREG(status.st_mode)) {
    return MakeFinding(finding.area, "KEY-FILE-UNREADABLE", slot.path() + " is no regular file");
  }
  if (IsEmptyFile(slot.path())) {
    return MakeFinding(finding.area, "KEY-FILE-EMPTY", slot.path() + " is empty");
  }
  std::optional<Problem> problem;
  const auto bytes = ReadWhole(slot.path(), kBlobLimit, &problem);
  if (!bytes) return MakeFinding(finding.area, "KEY-FILE-UNREADABLE", problem->cause);
  const std::string size = std::to_string(bytes->size()) + "-byte blob";
  if (keymint == nullptr) return SlotFinding(slot, size);

  const std::vector<uint8_t> blob(bytes->data(), bytes->data() + bytes->size());
  std::vector<km::KeyCharacteristics> characteristics;
  const auto answer = keymint->getKeyCharacteristics(blob, {}, {}, &characteristics);
  if (answer.isOk()) return SlotFinding(slot, size + ", " + KeyText(characteristics));
  const std::string code = std::to_string(orx::KeyMintService::GetReturnErrorCode(answer));
  const KeyMintError* error = FindKeyMintError(code);
  return MakeFinding(
      finding.area, error != nullptr ? error->reason : "KM-FAILED",
      size + "; the device does not open it: " + (error != nullptr ? error->name : code));
}

}  // namespace

std::vector<Finding> ProbeSymmetricService(bool /*show_ids*/) {
  // A call without a selected key makes the library look its service up and does nothing more.
  const uint8_t iv[16] = {};
  ORX_SYM_EncryptBegin(nullptr, iv, sizeof(iv), 0);
  const Problem problem = Diagnose(LibraryLogLines());
  if (problem.code == "KM-SERVICE-MISSING") {
    return {MakeFinding("symmetric service", problem.code,
                        "the library's first look-up found no KeyMint; a process in this state "
                        "stays without it until it is restarted")};
  }
  Finding finding;
  finding.area = "symmetric service";
  finding.text = "bound at the first look-up of this process";
  return {finding};
}

std::vector<Finding> ProbeServices(bool /*show_ids*/) {
  std::vector<Finding> findings;
  for (const char* instance : {"default", "strongbox"}) {
    findings.push_back(ProbeKeyMint(instance));
    findings.push_back(ProbeRkp(instance));
    findings.push_back(ProbeSharedSecret(instance));
  }
  return findings;
}

std::vector<Finding> ProbeSlots(bool /*show_ids*/) {
  if (CheckPersistFolder()) return {};  // told by the folder's own probe
  const auto keymint = km::IKeyMintDevice::fromBinder(Find(NameOf<km::IKeyMintDevice>("default")));
  std::vector<Finding> findings;
  findings.reserve(kSlots.size());
  for (const Slot& slot : kSlots) findings.push_back(ProbeSlot(slot, keymint.get()));
  return findings;
}

}  // namespace orx_tool

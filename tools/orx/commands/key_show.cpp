// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/IKeyMintDevice.h>
#include <android/binder_manager.h>
#include <errno.h>
#include <keymint/ORX_KEYMINT.h>
#include <string.h>
#include <sys/stat.h>

#include "tools/orx/cli/files.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/slot_argument.h"
#include "tools/orx/diagnosis/slots.h"

namespace orx_tool {

namespace km = aidl::android::hardware::security::keymint;
namespace orx = android::hardware::keymint::ORX;

namespace {

// Shown is a number that KeyMint tells of a key.
struct Shown {
  km::Tag tag;
  const char* name;
};

constexpr Shown kShown[] = {{km::Tag::KEY_SIZE, "key_size"},
                            {km::Tag::OS_VERSION, "os_version"},
                            {km::Tag::OS_PATCHLEVEL, "os_patch_level"},
                            {km::Tag::VENDOR_PATCHLEVEL, "vendor_patch_level"},
                            {km::Tag::BOOT_PATCHLEVEL, "boot_patch_level"}};

void Describe(const km::KeyParameter& parameter, Json::Value* answer) {
  using Value = km::KeyParameterValue;
  if (parameter.tag == km::Tag::ALGORITHM) {
    (*answer)["algorithm"] = toString(parameter.value.get<Value::algorithm>());
  }
  for (const Shown& shown : kShown) {
    if (shown.tag == parameter.tag) (*answer)[shown.name] = parameter.value.get<Value::integer>();
  }
}

std::optional<SecretBytes> ReadBlob(const Slot& slot, std::optional<Problem>* problem) {
  struct stat status;
  if (lstat(slot.path().c_str(), &status) != 0) {
    *problem = CheckPersistFolder().value_or(
        MakeProblem("KEY-SLOT-EMPTY", slot.path() + ": " + strerror(errno)));
  } else if (!S_ISREG(status.st_mode)) {
    *problem = MakeProblem("KEY-FILE-UNREADABLE", slot.path() + " is no regular file");
  } else if (status.st_size == 0) {
    *problem =
        MakeProblem("KEY-FILE-EMPTY", slot.path() + " is empty: storing a key was cut short");
  }
  if (*problem) return std::nullopt;
  return ReadWhole(slot.path(), kBlobLimit, problem);
}

// AskKeyMint fills *answer with what KeyMint tells of the key. It does not use the key.
std::optional<Problem> AskKeyMint(const SecretBytes& bytes, Json::Value* answer) {
  const std::string name = std::string(km::IKeyMintDevice::descriptor) + "/default";
  const auto keymint =
      km::IKeyMintDevice::fromBinder(::ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
  if (keymint == nullptr) return KnownProblem("KM-SERVICE-MISSING");
  const std::vector<uint8_t> blob(bytes.begin(), bytes.end());
  std::vector<km::KeyCharacteristics> levels;
  const auto result = keymint->getKeyCharacteristics(blob, {}, {}, &levels);
  if (!result.isOk()) {
    return DiagnoseKeyMint({}, orx::KeyMintService::GetReturnErrorCode(result));
  }
  for (const km::KeyCharacteristics& level : levels) {
    for (const km::KeyParameter& parameter : level.authorizations) Describe(parameter, answer);
  }
  return std::nullopt;
}

int RunKeyShow(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const Slot* slot = ParseSlot(args.operands()[0], &problem);
  if (slot == nullptr) return output.Fail(*problem);
  const auto blob = ReadBlob(*slot, &problem);
  if (!blob) return output.Fail(*problem);
  Json::Value answer(Json::objectValue);
  problem = AskKeyMint(*blob, &answer);
  if (problem) return output.Fail(*problem);

  output.Text("key " + std::to_string(slot->key_id) + ": opened by KeyMint");
  for (const std::string& name : answer.getMemberNames()) {
    output.Text("  " + name + ": " + answer[name].asString());
  }
  answer["key_id"] = slot->key_id;
  answer["file"] = slot->path();
  answer["size"] = static_cast<Json::UInt64>(blob->size());
  output.answer() = answer;
  return output.Succeed();
}

}  // namespace

std::vector<Command> KeyShowCommands() {
  return {
      {"key show",
       "ID",
       1,
       1,
       "ask KeyMint what the key in a slot is",
       "Shows algorithm, size and the patch levels under which the key was made. A key that "
       "KeyMint\n"
       "does not open gets the reason. The key is not used.\n",
       {},
       RunKeyShow},
  };
}

}  // namespace orx_tool

// SPDX-License-Identifier: Apache-2.0
#include <errno.h>
#include <orx/orx.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/file_text.h"
#include "tools/orx/cli/files.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/commands/rsa_key.h"
#include "tools/orx/commands/slot_argument.h"
#include "tools/orx/diagnosis/library_log.h"

namespace orx_tool {
namespace {

constexpr int kKeyTypeAes128 = 0;
constexpr size_t kAesKeyBytes = 16;
// Enough to say how long a wrong file is, within reason.
constexpr size_t kAesKeyFileLimit = 4096;

std::optional<SecretBytes> ReadAesKey(const Args& args, std::optional<Problem>* problem) {
  if (args.Has("random")) {
    SecretBytes random(kAesKeyBytes);
    if (ORX_RNG_GetBytes(random.data(), random.size()) == 0) return random;
    *problem = MakeProblem("CRYPTO-LIBRARY", "no random bytes for the key");
    return std::nullopt;
  }
  if (!args.Has("hex")) return ReadWhole(args.Get("aes"), kAesKeyFileLimit, problem);
  auto key = ParseHex(args.Get("hex"));
  if (!key) *problem = MakeProblem("USAGE", "the value of --hex is not hexadecimal");
  return key;
}

int Imported(const Slot& slot, const std::string& algorithm, Output& output) {
  output.answer()["key_id"] = slot.key_id;
  output.answer()["algorithm"] = algorithm;
  output.answer()["file"] = slot.path();
  output.Text("key " + std::to_string(slot.key_id) + ": " + algorithm + " key imported, blob in " +
              slot.path());
  return output.Succeed();
}

int ImportAes(const Slot& slot, const Args& args, Output& output) {
  std::optional<Problem> problem;
  auto key = ReadAesKey(args, &problem);
  if (problem) return output.Fail(*problem);
  if (key->size() != kAesKeyBytes) {
    return output.Fail(MakeProblem("KEY-LENGTH", "the key has " + std::to_string(key->size()) +
                                                     " bytes; an AES-128 key has 16"));
  }
  ORX_SYM_CONTEXT* context = nullptr;
  ClearLibraryLog();
  if (ORX_SYM_ImportProtectedKey(kKeyTypeAes128, slot.key_id, key->data(),
                                 static_cast<int>(key->size()), &context) != 0) {
    return output.Fail(DiagnoseStorage(LibraryLogLines(), slot.path()));
  }
  return Imported(slot, "AES-128", output);
}

int ImportPkcs8(const Slot& slot, const Args& args, Output& output) {
  std::optional<Problem> problem;
  auto key = ReadRsaPrivateKey(args.Get("pkcs8"), &problem);
  if (!key) return output.Fail(*problem);
  const std::string algorithm = "RSA-" + std::to_string(key->bits);
  if (key->bits != 2048 && key->bits != 4096) {
    output.Note("note: the library declares keys as 2048 or 4096 bits; this one has " +
                std::to_string(key->bits));
  }
  constexpr int kPlain = 1;
  ClearLibraryLog();
  if (ORX_RSA_ImportKey(key->der.data(), static_cast<uint32_t>(key->der.size()), kPlain,
                        slot.key_id) != 0) {
    return output.Fail(DiagnoseStorage(LibraryLogLines(), slot.path()));
  }
  return Imported(slot, algorithm, output);
}

int ImportComponents(const Slot& slot, const Args& args, Output& output) {
  std::optional<Problem> problem;
  const auto components = ReadRsaComponents(args.Get("rsa-components"), &problem);
  if (!components) return output.Fail(*problem);
  const auto bytes = [&](size_t i) { return (*components)[i]->data(); };
  const auto size = [&](size_t i) { return static_cast<uint32_t>((*components)[i]->size()); };
  ClearLibraryLog();
  if (ORX_RSA_ImportProtectedKey(nullptr, size(0), bytes(0), size(1), bytes(1), size(2), bytes(2),
                                 size(3), bytes(3), size(4), bytes(4), size(5), bytes(5), size(6),
                                 bytes(6), size(7), bytes(7), slot.key_id) != 0) {
    return output.Fail(DiagnoseStorage(LibraryLogLines(), slot.path()));
  }
  return Imported(slot, "RSA", output);
}

// DescribeSlot gives the row of the table and the JSON object of one slot.
std::vector<std::string> DescribeSlot(const Slot& slot, Json::Value* json) {
  (*json)["key_id"] = slot.key_id;
  (*json)["file"] = slot.path();
  struct stat status;
  const bool used = lstat(slot.path().c_str(), &status) == 0;
  (*json)["used"] = used;
  if (!used) return {std::to_string(slot.key_id), slot.file, "-", "-", "-", "empty"};
  (*json)["size"] = static_cast<Json::UInt64>(status.st_size);
  (*json)["owner"] = OwnerText(status);
  (*json)["mode"] = ModeText(status);
  const std::string type =
      IsEmptyFile(slot.path()) ? "empty file, no key [KEY-FILE-EMPTY]" : TypeText(status);
  (*json)["type"] = type;
  return {std::to_string(slot.key_id), slot.file,        std::to_string(status.st_size),
          OwnerText(status),           ModeText(status), type};
}

// DeleteAesKey selects the key first: the library deletes only the selected one.
bool DeleteAesKey(int key_id) {
  ORX_SYM_CONTEXT* context = nullptr;
  return ORX_SYM_GetContextForID(&context, key_id) == 0 && ORX_SYM_DeleteKeyID(key_id) == 0;
}

// IsDamage says whether a refusal means that the file holds no key of this device.
bool IsDamage(const Problem& refusal) {
  const std::set<std::string> codes = {"KM-BLOB-REFUSED", "KEY-FILE-EMPTY", "KEY-FILE-CHANGED",
                                       "KEY-FILE-UNREADABLE"};
  return codes.count(refusal.code) != 0;
}

int RunKeyImport(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const Slot* slot = ParseSlot(args.operands()[0], &problem);
  if (slot == nullptr) return output.Fail(*problem);
  const int sources = args.Has("aes") + args.Has("hex") + args.Has("random") + args.Has("pkcs8") +
                      args.Has("rsa-components");
  if (sources != 1) {
    return output.Fail(
        MakeProblem("USAGE", "give one of --aes, --hex, --random, --pkcs8 and --rsa-components"));
  }
  if (!args.Has("force") && access(slot->path().c_str(), F_OK) == 0 && !IsEmptyFile(slot->path())) {
    return output.Fail(MakeProblem("KEY-SLOT-USED", slot->path() + " holds a key blob"));
  }
  if (args.Has("pkcs8")) return ImportPkcs8(*slot, args, output);
  if (args.Has("rsa-components")) return ImportComponents(*slot, args, output);
  return ImportAes(*slot, args, output);
}

int RunKeyDelete(const Args& args, Output& output) {
  std::optional<Problem> problem;
  const Slot* slot = ParseSlot(args.operands()[0], &problem);
  if (slot == nullptr) return output.Fail(*problem);
  ClearLibraryLog();
  const bool deleted =
      args.Has("rsa") ? ORX_RSA_DeleteKeyID(slot->key_id) == 0 : DeleteAesKey(slot->key_id);
  const bool remove = args.Has("file");
  if (!deleted) {
    const Problem refusal = DiagnoseStorage(LibraryLogLines(), slot->path());
    if (!remove || !IsDamage(refusal)) return output.Fail(refusal);
    output.Note("note: KeyMint has no key for this file: " + refusal.cause);
  }
  const std::string name = "key " + std::to_string(slot->key_id);
  if (remove && unlink(slot->path().c_str()) != 0) {
    return output.Fail(MakeProblem("OUTPUT-FAILED",
                                   name + (deleted ? " is deleted, but its file " : ": the file ") +
                                       slot->path() + " could not be removed: " + strerror(errno)));
  }
  output.answer()["key_id"] = slot->key_id;
  output.answer()["deleted"] = deleted;
  output.answer()["file_removed"] = remove;
  const std::string file =
      remove ? "file removed" : "its file stays (--file removes it): " + slot->path();
  output.Text(name + ": " +
              (deleted ? "deleted in KeyMint" + std::string(remove ? ", " : "; ") : "") + file);
  return output.Succeed();
}

int RunKeyList(const Args& /*args*/, Output& output) {
  if (const auto problem = CheckPersistFolder()) return output.Fail(*problem);
  std::vector<std::vector<std::string>> rows = {{"ID", "FILE", "SIZE", "OWNER", "MODE", "TYPE"}};
  Json::Value slots(Json::arrayValue);
  for (const Slot& slot : kSlots) {
    Json::Value json(Json::objectValue);
    rows.push_back(DescribeSlot(slot, &json));
    slots.append(json);
  }
  PrintTable(output, rows);
  output.answer()["folder"] = kPersistFolder;
  output.answer()["slots"] = slots;
  return output.Succeed();
}

}  // namespace

std::vector<Command> KeyCommands() {
  return {
      {"key import",
       "ID",
       1,
       1,
       "import a key into the secure hardware",
       "The ids are 14, 17, 50, 51 and 52. With --random nobody ever sees the key. Keys on the "
       "command "
       "line\n"
       "are seen by other users of the machine; files are not.\n",
       {{"aes", 0, "FILE", "AES-128 key: a file of 16 raw bytes"},
        {"hex", 0, "HEX", "AES-128 key: 32 hex digits"},
        {"random", 0, nullptr, "AES-128 key: made here from random bytes"},
        {"force", 0, nullptr,
         "replace the key blob in the slot; what was encrypted under it is lost"},
        {"pkcs8", 0, "FILE", "RSA private key: PKCS#8 or PKCS#1, DER or PEM"},
        {"rsa-components", 0, "FILE", "RSA private key: its eight numbers as text"}},
       RunKeyImport},
      {"key delete",
       "ID",
       1,
       1,
       "delete a key in the secure hardware",
       "The key blob file stays in its slot but is of no more use; --file removes it too.\n",
       {{"rsa", 0, nullptr, "the slot holds an RSA key (default: an AES key)"},
        {"file", 0, nullptr, "remove the key blob file as well"}},
       RunKeyDelete},
      {"key list", "", 0, 0, "show which slots hold a key blob", "", {}, RunKeyList},
  };
}

}  // namespace orx_tool

// SPDX-License-Identifier: Apache-2.0
#include <aidl/android/hardware/security/keymint/Tag.h>
#include <orx/orx.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <memory>

#include "tools/orx/check/identifiers.h"
#include "tools/orx/cli/device.h"
#include "tools/orx/cli/encoding.h"
#include "tools/orx/cli/modem_progress.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/diagnosis/library_log.h"
#include "tools/orx/diagnosis/modem_answer.h"

namespace orx_tool {

namespace km = aidl::android::hardware::security::keymint;

namespace {

// The library receives up to that many bytes into the caller's buffer, whatever its size, and
// terminates nothing.
constexpr size_t kAnswerBytes = ORX_MODEM_RESPONSE_MAX + 1;
constexpr uint32_t kSecureMode = 1;
constexpr const char kAtPrefix[] = "TCATSEND,0,";

// MissingProperties lists the properties that the last calls found missing.
std::vector<std::string> MissingProperties() {
  const std::string begin = "Failed to get prop:";
  std::vector<std::string> names;
  for (const LogLine& line : LibraryLogLines()) {
    if (line.message.rfind(begin, 0) != 0) continue;
    const std::string name = line.message.substr(begin.size());
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  return names;
}

Problem IdsProblem() {
  Problem problem = Diagnose(LibraryLogLines());
  const std::vector<std::string> missing = MissingProperties();
  if (problem.code != "PROPERTY-MISSING" || missing.empty()) return problem;
  problem.cause = "missing or empty properties:";
  for (const std::string& name : missing) problem.cause += " " + name;
  return problem;
}

struct ModemIdentifier {
  const char* name;
  size_t digits;
  int (*get)(char* buffer, uint32_t length);
};

int RunModemIdentifier(const ModemIdentifier& identifier, Output& output) {
  if (!IsModemAwaited()) return output.Fail(KnownProblem("MODEM-UNREACHABLE"));
  std::vector<char> buffer(kAnswerBytes, 0);
  ClearLibraryLog();
  int result = 0;
  {
    const ModemProgress progress(output);
    result = identifier.get(buffer.data(), static_cast<uint32_t>(buffer.size()));
  }
  if (result == 0) {
    output.answer()[identifier.name] = buffer.data();
    output.Text(buffer.data());
    return output.Succeed();
  }
  Problem problem = Diagnose(LibraryLogLines());
  if (const auto answer = ModemAnswer(LibraryLogLines())) {
    const std::string oddity = ExplainModemAnswer(*answer, identifier.digits);
    if (!oddity.empty()) {
      problem.cause = oddity;
      problem.advice = "The library takes the digits alone; see 'orx modem' for raw answers.";
    }
  }
  return output.Fail(problem);
}

constexpr size_t kRecordCapacity = 8;
constexpr uint32_t kTagNumberMask = 0x0fffffff;  // without the type in the upper bits

struct TagName {
  const char* name;
  km::Tag tag;
  bool identifies;  // this very device, not its model
};

constexpr TagName kTagNames[] = {{"brand", km::Tag::ATTESTATION_ID_BRAND, false},
                                 {"device", km::Tag::ATTESTATION_ID_DEVICE, false},
                                 {"product", km::Tag::ATTESTATION_ID_PRODUCT, false},
                                 {"serial", km::Tag::ATTESTATION_ID_SERIAL, true},
                                 {"manufacturer", km::Tag::ATTESTATION_ID_MANUFACTURER, false},
                                 {"model", km::Tag::ATTESTATION_ID_MODEL, false},
                                 {"imei", km::Tag::ATTESTATION_ID_IMEI, true},
                                 {"meid", km::Tag::ATTESTATION_ID_MEID, true}};

TagName FindTag(uint32_t tag) {
  for (const TagName& known : kTagNames) {
    if (known.tag == static_cast<km::Tag>(tag)) return known;
  }
  return {"unknown", static_cast<km::Tag>(tag), true};
}

struct IdName {
  const char* label;
  const char* member;
  const char* (*get)();
};

constexpr IdName kIdNames[] = {{"Model", "model", ORX_get_model_name},
                               {"Product", "product", ORX_get_product_name},
                               {"Device", "device", ORX_get_device_name},
                               {"Serial", "serial", ORX_get_serial},
                               {"Manufacturer", "manufacturer", ORX_get_manufacturer_name},
                               {"Brand", "brand", ORX_get_brand_name}};

// RunIds prints what ORX_print_device_ids prints, through Output: a property may hold anything.
int RunIds(const Args& /*args*/, Output& output) {
  ClearLibraryLog();
  if (ORX_device_id_attestation_properties_ok() != 0) {
    output.Text("Device ID properties not ok");
    return output.Fail(IdsProblem());
  }
  output.Text("Device IDs for attestation:");
  for (const IdName& id : kIdNames) {
    const char* value = id.get();
    output.Text(std::string(" ") + id.label + ":" + (value != nullptr ? value : ""));
    output.answer()[id.member] = value != nullptr ? Json::Value(value) : Json::Value();
  }
  output.answer()["dual_sim"] = ORX_device_supports_dual_sim() == 0;
  output.answer()["generic_properties"] = ORX_device_requires_generic_ids() == 1;
  return output.Succeed();
}

int RunImei(const Args& /*args*/, Output& output) {
  return RunModemIdentifier({"imei", 15, ORX_DEVICE_GetImei}, output);
}

int RunImei2(const Args& /*args*/, Output& output) {
  return RunModemIdentifier({"imei2", 15, ORX_DEVICE_GetImei2}, output);
}

int RunMeid(const Args& /*args*/, Output& output) {
  return RunModemIdentifier({"meid", 14, ORX_DEVICE_GetMeid}, output);
}

int RunUid(const Args& /*args*/, Output& output) {
  char* text = nullptr;
  uint32_t length = 0;
  ClearLibraryLog();
  if (ORX_DEVICE_GetUniqueID(&text, &length) != 0) return output.Fail(Diagnose(LibraryLogLines()));
  const std::unique_ptr<char, decltype(&free)> owned(text, free);
  const std::string uid(text, length);
  uint8_t raw[16];
  if (ORX_ProcessorRawUID(raw, sizeof(raw)) != 0) return output.Fail(Diagnose(LibraryLogLines()));
  const bool unset = uid.find_first_not_of('0') == std::string::npos;
  if (unset) output.Note("note: ro.vendor.boot.uid is missing or all zeros; this is no unique id");
  output.answer()["uid"] = uid;
  output.answer()["raw"] = ToHex(raw, 8);
  output.answer()["unset"] = unset;
  output.Text(uid);
  return output.Succeed();
}

int RunMode(const Args& /*args*/, Output& output) {
  uint32_t mode = 0;
  ORX_DEVICE_GetMode(&mode);
  const bool production = ORX_DEVICE_IsProduction() == 0;
  output.answer()["mode"] = mode;
  output.answer()["secure_hardware"] = mode == kSecureMode;
  output.answer()["production"] = production;
  output.Text(std::to_string(mode) + " (" +
              (mode == kSecureMode ? "secure hardware" : "not secure") + ", " +
              (production ? "production device" : "no production device") + ")");
  return output.Succeed();
}

int RunRecords(const Args& args, Output& output) {
  DeviceIdRecord records[kRecordCapacity] = {};
  uint32_t size = sizeof(records);
  ClearLibraryLog();
  int result = 0;
  {
    const ModemProgress progress(output);
    result = ORX_get_attestation_id(reinterpret_cast<uint8_t*>(records), &size);
  }
  if (result != 0) return output.Fail(IdsProblem());

  std::vector<std::vector<std::string>> rows = {{"RECORD", "TAG", "NAME", "LENGTH", "VALUE"}};
  Json::Value list(Json::arrayValue);
  for (size_t i = 0; i < size / sizeof(DeviceIdRecord); ++i) {
    const TagName tag = FindTag(records[i].tag);
    const std::string value = records[i].text();
    const std::string shown = tag.identifies && !args.Has("show-ids") ? MaskValue(value) : value;
    const uint32_t number = records[i].tag & kTagNumberMask;
    rows.push_back({std::to_string(i), std::to_string(number), tag.name,
                    std::to_string(records[i].length), shown});
    Json::Value entry(Json::objectValue);
    entry["tag"] = number;
    entry["name"] = tag.name;
    entry["length"] = records[i].length;
    entry["value"] = shown;
    list.append(entry);
  }
  PrintTable(output, rows);
  output.answer()["records"] = list;
  return output.Succeed();
}

int RunModem(const Args& args, Output& output) {
  if (!IsModemAwaited()) return output.Fail(KnownProblem("MODEM-UNREACHABLE"));
  std::string command = args.operands()[0];
  if (!args.Has("raw") && command.rfind("AT", 0) == 0) command.insert(0, kAtPrefix);
  std::vector<char> answer(kAnswerBytes, 0);
  ClearLibraryLog();
  int result = 0;
  {
    const ModemProgress progress(output);
    result = ORX_communicate_with_modem(command.c_str(), answer.data());
  }
  if (result != 0) return output.Fail(Diagnose(LibraryLogLines()));
  output.answer()["command_sent"] = command;
  output.answer()["answer"] = answer.data();
  output.Text(answer.data());
  return output.Succeed();
}

constexpr const char kModemDetails[] =
    "Asks the modem daemon. Without one the library tries 30 times, about half a minute; a daemon\n"
    "that accepts but does not answer is given 120 seconds, or what --timeout says.\n";
constexpr double kModemSeconds = 120;

}  // namespace

std::vector<Command> IdentityCommands() {
  return {
      {"ids", "", 0, 0, "print the identifiers that the device attests", "", {}, RunIds},
      {"imei",
       "",
       0,
       0,
       "print the IMEI",
       kModemDetails,
       {},
       RunImei,
       !kHandlesTimeout,
       kModemSeconds},
      {"imei2",
       "",
       0,
       0,
       "print the second IMEI",
       kModemDetails,
       {},
       RunImei2,
       !kHandlesTimeout,
       kModemSeconds},
      {"meid",
       "",
       0,
       0,
       "print the MEID",
       kModemDetails,
       {},
       RunMeid,
       !kHandlesTimeout,
       kModemSeconds},
      {"uid", "", 0, 0, "print the unique hardware id", "", {}, RunUid},
      {"mode", "", 0, 0, "print the secure-hardware mode", "", {}, RunMode},
      {"records",
       "",
       0,
       0,
       "print the device-ID records that KeyMint is asked to attest",
       kModemDetails,
       {},
       RunRecords,
       !kHandlesTimeout,
       kModemSeconds},
      {"modem",
       "COMMAND",
       1,
       1,
       "send one AT command to the modem and print its answer",
       "A command that begins with AT is sent as TCATSEND,0,AT..., the form that the modem daemon\n"
       "expects; --raw sends it as it is.\n",
       {{"raw", 0, nullptr, "send the command as it is"}},
       RunModem,
       !kHandlesTimeout,
       kModemSeconds},
  };
}

}  // namespace orx_tool

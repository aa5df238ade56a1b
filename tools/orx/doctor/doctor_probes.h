// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/orx/doctor/needs.h"

namespace orx_tool {

enum class Status { kOk, kNote, kProblem };

// StatusName is "ok", "note" or "PROBLEM".
const char* StatusName(Status status);

// Finding is one thing that the doctor saw. Problems and notes carry a reason code with its remedy
// and who owns it.
struct Finding {
  std::string area;
  Status status = Status::kOk;
  std::string text;
  std::string code;
  std::string advice;
  std::string owner;
  Remedy remedy;  // for who builds the product, may be empty
};

// MakeFinding is a problem with the remedy of its reason.
Finding MakeFinding(const std::string& area, const std::string& code, const std::string& text);

// FolderProblem is the reason why nothing can be stored in a folder, or empty.
std::string FolderProblem(uint64_t free_bytes, bool read_only, bool writable);

// Probe looks at one part of the device without changing anything and without waiting.
struct Probe {
  const char* area;
  std::function<std::vector<Finding>(bool show_ids)> run;
};

std::vector<Probe> Probes();

// The probes of doctor_services.cpp.
std::vector<Finding> ProbeSymmetricService(bool show_ids);
std::vector<Finding> ProbeServices(bool show_ids);
std::vector<Finding> ProbeSlots(bool show_ids);

}  // namespace orx_tool

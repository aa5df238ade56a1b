// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_sim {

// Setting is one thing that device.conf can say about the device, beyond its properties.
struct Setting {
  const char* name;
  const char* fallback;
  // What a value may be: "yes|no" and the like lists the words; "1..64" is a range of numbers;
  // YYYYMM, YYYYMMDD and MMmmss are digits; "text" is any text.
  const char* form;
  const char* meaning;
};

// Settings returns the table of all settings.
const std::vector<Setting>& Settings();

// FindSetting returns the row of a setting, or null.
const Setting* FindSetting(const std::string& name);

// CheckSetting returns whether the name is a setting and the value fits it; the reason in `*error`.
bool CheckSetting(const std::string& name, const std::string& value, std::string* error);

// CheckProperty returns whether Android would take this property; the reason in `*error`.
bool CheckProperty(const std::string& name, const std::string& value, std::string* error);

}  // namespace orx_sim

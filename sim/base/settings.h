// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace orx_sim {

// Assignment is one line "name = value" of a profile, a device.conf or a build.prop.
struct Assignment {
  std::string name;
  std::string value;
  int line = 0;
};

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

// Profile is what a new device is made from. A profile file holds settings, then optionally a line
// "[build.prop]" and below it the text of the device's build.prop.
struct Profile {
  std::string name;
  std::string settings;
  std::string build_prop;
};

// ParseSettings and ParseBuildProp read a text line by line; `file` and `first_line` are for the
// error, which names the bad line as FILE:LINE. In settings, "#" begins a comment where a line
// begins; blanks around name and value do not count. A build.prop is read as init reads it.
bool ParseSettings(const std::string& text, const std::string& file, std::vector<Assignment>* out,
                   std::string* error);
bool ParseBuildProp(const std::string& text, const std::string& file, int first_line,
                    std::vector<Assignment>* out, std::string* error);

// LoadProfile reads a profile: a path if the name has a slash in it, otherwise a profile of
// ProfileFolder(). Every line is checked.
bool LoadProfile(const std::string& name, Profile* out, std::string* error);

// ProfileFolder is where the profiles are: the environment variable ORX_SIM_PROFILES, or
// share/orx-sim/profiles beside the library's folder.
std::string ProfileFolder();

// ProfileNames lists the profiles there, sorted.
std::vector<std::string> ProfileNames();

}  // namespace orx_sim

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sim/base/settings.h"

namespace orx_sim {

// Assignment is one line "name = value".
struct Assignment {
  std::string name;
  std::string value;
  int line = 0;  // counted from 1
};

// DeviceConf is the text that describes a device, a profile or its device.conf: settings, then
// optionally a line "[build.prop]" and below it the text of the device's build.prop. In settings,
// "#" begins a comment where a line begins; blanks around name and value do not count. A build.prop
// is read as init reads it. The last of two lines with one name wins.
class DeviceConf {
 public:
  // Parse reads a text. Every line is checked; `*error` names a bad one as FILE:LINE.
  bool Parse(const std::string& text, const std::string& file, std::string* error);

  const std::string& text() const { return text_; }

  // Get returns the value of a setting of settings.h, its default if the text does not set it.
  std::string Get(const std::string& setting) const;
  bool IsYes(const std::string& setting) const { return Get(setting) == "yes"; }
  int64_t GetNumber(const std::string& setting) const;

  // properties returns what build.prop sets, in its order.
  const std::vector<Assignment>& properties() const { return properties_; }

  // Set changes a setting or property in the text, "NAME=VALUE": a name with a dot is a property,
  // any other a setting. False with the reason in `*error` if that is wrong; nothing changed then.
  bool Set(const std::string& assignment, std::string* error);

 private:
  std::string text_;
  std::vector<Assignment> settings_;
  std::vector<Assignment> properties_;
  int heading_ = 0;  // the line "[build.prop]"; 0: there is none
};

// LoadProfile reads the text of a profile: a path if the name has a slash in it, otherwise a
// profile of ProfileFolder(). A line in front says which profile it is.
bool LoadProfile(const std::string& name, DeviceConf* conf, std::string* error);

// ProfileFolder is where the profiles are: the environment variable ORX_SIM_PROFILES, or
// share/orx-sim/profiles of the tree that the simulator is built or installed in.
std::string ProfileFolder();

// ProfileNames lists the profiles there, sorted.
std::vector<std::string> ProfileNames();

}  // namespace orx_sim

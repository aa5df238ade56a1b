// SPDX-License-Identifier: Apache-2.0
// The texts that describe a simulated device: profiles, settings, properties; and modem requests.
#include "sim/base/device_conf.h"
#include "sim/modem/modem.h"
#include "tests/fuzz/fuzz.h"

namespace {

// What is set once is read back, and leaves a text that is taken whole.
void CheckConf(const std::string& text, const std::string& assignment) {
  orx_sim::DeviceConf conf;
  std::string error;
  if (!conf.Parse(text, "a profile", &error)) {
    ORX_FUZZ_CHECK(!error.empty() && error.find('\n') == std::string::npos);
    return;
  }
  for (const orx_sim::Setting& setting : orx_sim::Settings()) {
    ORX_FUZZ_CHECK(orx_sim::CheckSetting(setting.name, conf.Get(setting.name), &error));
  }
  const std::string before = conf.text();
  const bool set = conf.Set(assignment, &error);
  ORX_FUZZ_CHECK(set || conf.text() == before);
  orx_sim::DeviceConf again;
  ORX_FUZZ_CHECK(again.Parse(conf.text(), "itself", &error));
  for (const orx_sim::Setting& setting : orx_sim::Settings()) {
    ORX_FUZZ_CHECK(again.Get(setting.name) == conf.Get(setting.name));
  }
  ORX_FUZZ_CHECK(again.properties().size() == conf.properties().size());
}

void CheckRequest(const std::string& bytes) {
  std::string command;
  std::string error;
  const ssize_t length = orx_sim::ParseModemRequest(bytes, &command, &error);
  ORX_FUZZ_CHECK((length < 0) == !error.empty());
  if (length > 0) ORX_FUZZ_CHECK(command == bytes.substr(8, static_cast<size_t>(length) - 8));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckRequest({data, data + size});
  orx_fuzz::Input in(data, size);
  const std::string assignment = in.Text();
  CheckConf(in.RestText(), assignment);
  return 0;
}

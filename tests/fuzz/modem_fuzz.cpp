// SPDX-License-Identifier: Apache-2.0
// What a modem answers, through a real socket, to the three questions for an identifier.
#include <orx/device.h>
#include <string.h>
#include <sys/socket.h>

#include <mutex>

#include "src/mtk/ORX_DEVICE.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/scripted_modem.h"

namespace {

namespace orx = android::hardware::keymint::ORX;

constexpr struct {
  int (*ask)(char* buf, uint32_t len);
  size_t digits;
} kQuestions[] = {
    {ORX_DEVICE_GetImei, 15},
    {ORX_DEVICE_GetImei2, 15},
    {ORX_DEVICE_GetMeid, 14},
    // Without a command; none that is exported asks so.
    {[](char* buf, uint32_t len) { return orx::get_imei_from_modem(nullptr, buf, len, 0); }, 15}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::mutex mutex;  // the modem may still be sending the last answer
  static std::string answer;
  static orx_test::ScriptedModem modem([](int client) {
    orx_test::ReadModemRequest(client);
    std::unique_lock<std::mutex> lock(mutex);
    const std::string mine = answer;
    lock.unlock();
    send(client, mine.data(), mine.size(), MSG_NOSIGNAL);
  });
  orx_fuzz::Input in(data, size);
  const auto& question = kQuestions[in.Byte() % 4];
  std::vector<char> buffer(in.Byte());
  const std::string text = in.RestText();
  {
    const std::lock_guard<std::mutex> lock(mutex);
    answer = text;
  }
  const bool asked = buffer.size() > question.digits;
  const int result = question.ask(buffer.data(), static_cast<uint32_t>(buffer.size()));
  ORX_FUZZ_CHECK(asked || result == 1);
  const std::string found(buffer.data(), strnlen(buffer.data(), buffer.size()));
  if (result == 0) {
    ORX_FUZZ_CHECK(found.size() == question.digits);
    ORX_FUZZ_CHECK(found.find_first_not_of("0123456789") == std::string::npos);
    ORX_FUZZ_CHECK(text.find(found) != std::string::npos);
  }
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <string>
#include <thread>

namespace orx_test {

// ScriptedModem listens at the library's modem socket, /dev/socket/rild-oem, and plays a script on
// a thread of its own for each client, one after the other; the client is closed when the script
// returns. Tests whose modem only has to answer use Answers() or ByCommand().
class ScriptedModem {
 public:
  using Script = std::function<void(int client)>;

  explicit ScriptedModem(Script script);
  ~ScriptedModem();

  // Answers reads a whole request and sends `text`.
  static Script Answers(std::string text);

  // ByCommand answers each command with its text, and an unknown one by closing the connection.
  static Script ByCommand(std::map<std::string, std::string> answers);

 private:
  int listener_;
  std::thread thread_;
};

// ListenAsModem returns a socket that listens where the library's modem socket is and that nobody
// serves: up to 64 clients connect and wait.
int ListenAsModem();

// ReadModemRequest reads one request and returns its bytes; fewer when the client ends before.
std::string ReadModemRequest(int client);

}  // namespace orx_test

// SPDX-License-Identifier: Apache-2.0
#include "tests/support/scripted_modem.h"

#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

namespace orx_test {
namespace {

std::string ReadBytes(int fd, size_t count) {
  std::string bytes(count, '\0');
  bytes.resize(std::max<ssize_t>(recv(fd, &bytes[0], count, MSG_WAITALL), 0));
  return bytes;
}

}  // namespace

std::string ReadModemRequest(int client) {
  const std::string header = ReadBytes(client, 8);
  uint32_t length = 0;
  if (header.size() == 8) memcpy(&length, &header[4], sizeof(length));
  return header + ReadBytes(client, length);
}

int ListenAsModem() {
  const sockaddr_un address = {AF_UNIX, "/dev/socket/rild-oem"};
  unlink(address.sun_path);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(listen(listener, 64), 0);
  return listener;
}

ScriptedModem::ScriptedModem(Script script)
    : listener_(ListenAsModem()), thread_([this, script] {
        for (int client = 0; (client = accept(listener_, nullptr, nullptr)) >= 0; close(client)) {
          script(client);
        }
      }) {}

ScriptedModem::~ScriptedModem() {
  shutdown(listener_, SHUT_RDWR);  // ends the accept()
  thread_.join();
  close(listener_);
}

ScriptedModem::Script ScriptedModem::Answers(std::string text) {
  return [text](int client) {
    ReadModemRequest(client);
    send(client, text.data(), text.size(), MSG_NOSIGNAL);
  };
}

ScriptedModem::Script ScriptedModem::ByCommand(std::map<std::string, std::string> answers) {
  return [answers](int client) {
    const std::string request = ReadModemRequest(client);
    for (const auto& [command, text] : answers) {
      if (request.substr(8) == command) send(client, text.data(), text.size(), MSG_NOSIGNAL);
    }
  };
}

}  // namespace orx_test

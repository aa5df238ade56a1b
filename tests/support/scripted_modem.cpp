// SPDX-License-Identifier: Apache-2.0
#include "support/scripted_modem.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <utility>

namespace orx_test {
namespace {

constexpr size_t kHeader = 8;

std::string ReadBytes(int fd, size_t count) {
  std::string bytes(count, '\0');
  size_t done = 0;
  while (done < count) {
    const ssize_t received = recv(fd, &bytes[done], count - done, 0);
    if (received <= 0) break;
    done += static_cast<size_t>(received);
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace

std::string ReadModemRequest(int client) {
  std::string bytes = ReadBytes(client, kHeader);
  int32_t length = 0;
  if (bytes.size() == kHeader) memcpy(&length, &bytes[4], sizeof(length));
  return bytes + ReadBytes(client, static_cast<size_t>(length));
}

int ListenAsModem() {
  const sockaddr_un address = {AF_UNIX, "/dev/socket/rild-oem"};
  unlink(address.sun_path);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(listen(listener, 64), 0);
  return listener;
}

void WaitForHangUp(int client) {
  pollfd ready = {client, POLLRDHUP, 0};
  EXPECT_EQ(poll(&ready, 1, -1), 1);
}

ScriptedModem::ScriptedModem(Script script)
    : listener_(ListenAsModem()), thread_([this, script = std::move(script)] {
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
    if (request.size() <= kHeader) return;
    const auto found = answers.find(request.substr(kHeader));
    if (found == answers.end()) return;
    send(client, found->second.data(), found->second.size(), MSG_NOSIGNAL);
  };
}

}  // namespace orx_test

// SPDX-License-Identifier: Apache-2.0
#include "sim/modem/modem.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <utility>

namespace orx_sim {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kRequestTime{2000};
constexpr milliseconds kSegmentPause{100};
constexpr milliseconds kNoLimit{-1};
constexpr int kBacklog = 8;

constexpr std::string_view kSendPrefix = "TCATSEND,0,";
constexpr char kError[] = "ERROR";

constexpr struct {
  const char* name;
  ModemFault fault;
} kFaults[] = {
    {"modem:late", ModemFault::kLate},
    {"modem:silent", ModemFault::kSilent},
    {"modem:close", ModemFault::kClose},
    {"modem:split", ModemFault::kSplit},
    {"modem:echo", ModemFault::kEcho},
    {"modem:trailing-ok", ModemFault::kTrailingOk},
    {"modem:quoted", ModemFault::kQuoted},
    {"modem:unquoted", ModemFault::kUnquoted},
    {"modem:meid-letters", ModemFault::kMeidLetters},
    {"modem:too-long", ModemFault::kTooLong},
};

bool Has(const ModemSettings& settings, ModemFault fault) {
  return settings.faults.count(fault) != 0;
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// Returns the answer of a modem that has the identifier, or an empty string.
std::string IdentifierAnswer(const ModemSettings& settings, const std::string& command) {
  const std::string extra = Has(settings, ModemFault::kTooLong) ? "0" : "";
  const bool quoted = Has(settings, ModemFault::kQuoted);
  if (command == "TCATSEND,0,AT+CGSN" && !settings.imei.empty()) {
    return quoted ? Quoted(settings.imei + extra) : settings.imei + extra;
  }
  if (command == "TCATSEND,0,AT+EGMR=0,10#+EGMR" && !settings.imei2.empty()) {
    const bool unquoted = Has(settings, ModemFault::kUnquoted);
    const std::string imei2 = settings.imei2 + extra;
    return "+EGMR: " + (unquoted ? imei2 : Quoted(imei2));
  }
  if (command == "TCATSEND,0,AT^MEID" && !settings.meid.empty()) {
    std::string meid = settings.meid + extra;
    if (Has(settings, ModemFault::kMeidLetters)) meid[0] = 'A';
    return quoted ? Quoted(meid) : meid;
  }
  return "";
}

// The part of a command that the modem itself sees, which it echoes.
std::string AtCommand(const std::string& command) {
  if (command.compare(0, kSendPrefix.size(), kSendPrefix) != 0) return command;
  const std::string at = command.substr(kSendPrefix.size());
  return at.substr(0, at.find('#'));
}

bool IsPrintable(char c) {
  return c >= ' ' && c <= '~';
}

int32_t WordAt(std::string_view bytes, size_t offset) {
  int32_t word = 0;
  memcpy(&word, bytes.data() + offset, sizeof(word));
  return word;
}

bool Fail(std::string* error, const std::string& what) {
  *error = what + ": " + strerror(errno);
  return false;
}

bool MakeAddress(const std::string& path, sockaddr_un* address, std::string* error) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address->sun_path)) {
    *error = "a socket path has 1 to " + std::to_string(sizeof(address->sun_path) - 1) +
             " bytes: '" + path + "'";
    return false;
  }
  path.copy(address->sun_path, path.size());
  return true;
}

const sockaddr* AsSockaddr(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Removes the socket file of a daemon that is gone. Anything else at the path stays.
bool RemoveStaleSocket(const sockaddr_un& address, std::string* error) {
  const std::string path = address.sun_path;
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT || Fail(error, "cannot look at " + path);
  }
  if (!S_ISSOCK(status.st_mode)) {
    *error = "there is a file that is no socket at " + path;
    return false;
  }
  const unique_fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(probe.get(), AsSockaddr(address), sizeof(address)) == 0) {
    *error = "another daemon listens at " + path;
    return false;
  }
  return unlink(path.c_str()) == 0 || Fail(error, "cannot remove the stale socket " + path);
}

unique_fd Listen(const std::string& path, std::string* error) {
  sockaddr_un address;
  if (!MakeAddress(path, &address, error) || !RemoveStaleSocket(address, error)) return {};
  unique_fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (bind(listener.get(), AsSockaddr(address), sizeof(address)) != 0) {
    Fail(error, "cannot make the socket " + path);
    return {};
  }
  // Nobody can connect before listen(), so the mode is in force from the first client on.
  if (chmod(path.c_str(), 0600) != 0 || listen(listener.get(), kBacklog) != 0) {
    Fail(error, "cannot listen at " + path);
    unlink(path.c_str());
    return {};
  }
  return listener;
}

void PrintComplaint(const std::string& reason) {
  fprintf(stderr, "modem daemon: %s\n", reason.c_str());
}

}  // namespace

std::vector<std::string> ModemFaultNames() {
  std::vector<std::string> names;
  for (const auto& row : kFaults) names.emplace_back(row.name);
  return names;
}

bool SetModemFault(ModemSettings* settings, const std::string& name, std::string* error) {
  for (const auto& row : kFaults) {
    if (name != row.name) continue;
    settings->faults.insert(row.fault);
    return true;
  }
  *error = "no modem fault is called '" + name + "'; there are";
  for (const auto& row : kFaults) *error += std::string(" ") + row.name;
  return false;
}

ssize_t ParseModemRequest(std::string_view bytes, std::string* command, std::string* error) {
  constexpr size_t kHeader = 2 * sizeof(int32_t);
  if (bytes.size() >= sizeof(int32_t) && WordAt(bytes, 0) != 1) {
    *error = "the count word is " + std::to_string(WordAt(bytes, 0)) + ", not 1";
    return -1;
  }
  if (bytes.size() < kHeader) return 0;
  const int32_t length = WordAt(bytes, sizeof(int32_t));
  if (length < 1 || static_cast<size_t>(length) > kMaxModemCommandBytes) {
    *error = "the length word is " + std::to_string(length) + ", not 1 to " +
             std::to_string(kMaxModemCommandBytes);
    return -1;
  }
  const std::string_view text = bytes.substr(kHeader, static_cast<size_t>(length));
  if (!std::all_of(text.begin(), text.end(), IsPrintable)) {
    *error = "the command has bytes that are not printable ASCII";
    return -1;
  }
  if (text.size() < static_cast<size_t>(length)) return 0;
  *command = text;
  return static_cast<ssize_t>(kHeader + text.size());
}

std::string ModemAnswer(const ModemSettings& settings, const std::string& command) {
  std::string answer = IdentifierAnswer(settings, command);
  const bool known = !answer.empty();
  if (!known) answer = kError;
  if (Has(settings, ModemFault::kEcho)) answer = AtCommand(command) + "\r\n" + answer;
  if (known && Has(settings, ModemFault::kTrailingOk)) answer += "\r\nOK\r\n";
  return answer;
}

class ModemDaemon::Server {
 public:
  Server(std::string path, unique_fd listener, unique_fd stop, ModemSettings settings,
         Complain complain)
      : path_(std::move(path)),
        listener_(std::move(listener)),
        stop_(std::move(stop)),
        settings_(std::move(settings)),
        complain_(std::move(complain)) {
    // Signals are for the threads of the program that runs the daemon.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this] { Serve(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  ~Server() {
    eventfd_write(stop_.get(), 1);
    thread_.join();
    unlink(path_.c_str());
  }

 private:
  enum class Wait { kReady, kTimeout, kStopped };

  Wait WaitFor(int fd, short events, milliseconds limit) const {
    pollfd fds[] = {{stop_.get(), POLLIN, 0}, {fd, events, 0}};
    const int ready = poll(fds, 2, static_cast<int>(limit.count()));
    if (ready == 0) return Wait::kTimeout;
    return ready < 0 || fds[0].revents != 0 ? Wait::kStopped : Wait::kReady;
  }

  void Serve() const {
    while (WaitFor(listener_.get(), POLLIN, kNoLimit) == Wait::kReady) {
      const unique_fd client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
      std::string command;
      if (client.ok() && ReceiveRequest(client.get(), &command)) Answer(client.get(), command);
    }
  }

  bool Refuse(const std::string& reason) const {
    complain_("refused a request: " + reason);
    return false;
  }

  bool ReceiveRequest(int client, std::string* command) const {
    const steady_clock::time_point deadline = steady_clock::now() + kRequestTime;
    std::string bytes;
    ssize_t length = 0;
    while (length == 0) {
      if (!ReceiveSome(client, deadline, &bytes)) return false;
      std::string error;
      length = ParseModemRequest(bytes, command, &error);
      if (length < 0) return Refuse(error);
    }
    if (bytes.size() > static_cast<size_t>(length)) return Refuse("bytes follow the command");
    return true;
  }

  bool ReceiveSome(int client, steady_clock::time_point deadline, std::string* bytes) const {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    switch (WaitFor(client, POLLIN, std::max(left, milliseconds{0}))) {
      case Wait::kStopped:
        return false;
      case Wait::kTimeout:
        return Refuse("incomplete after " + std::to_string(bytes->size()) + " bytes");
      case Wait::kReady:
        break;
    }
    char buffer[4096];
    const ssize_t received = recv(client, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (received > 0) {
      bytes->append(buffer, static_cast<size_t>(received));
      return true;
    }
    // One that only looks whether the daemon is there sends nothing at all.
    return bytes->empty() ? false
                          : Refuse("ends after " + std::to_string(bytes->size()) + " bytes");
  }

  void Answer(int client, const std::string& command) const {
    if (Has(settings_, ModemFault::kClose)) return;
    if (Has(settings_, ModemFault::kSilent)) {
      WaitFor(client, POLLRDHUP, kNoLimit);
      return;
    }
    if (Has(settings_, ModemFault::kLate) &&
        WaitFor(client, POLLRDHUP, settings_.late_by) != Wait::kTimeout) {
      return;  // the client gave up, or the daemon has to end
    }
    const std::string answer = ModemAnswer(settings_, command);
    if (!Has(settings_, ModemFault::kSplit)) {
      Send(client, answer);
      return;
    }
    Send(client, answer.substr(0, answer.size() / 2));
    if (WaitFor(client, POLLRDHUP, kSegmentPause) == Wait::kTimeout) {
      Send(client, answer.substr(answer.size() / 2));
    }
  }

  // An answer fits the socket's buffer, so that no client can hold the daemon up.
  void Send(int client, const std::string& text) const {
    const ssize_t sent = send(client, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent == static_cast<ssize_t>(text.size())) return;
    complain_("the client took " + std::to_string(std::max<ssize_t>(sent, 0)) + " of " +
              std::to_string(text.size()) + " bytes of the answer");
  }

  const std::string path_;
  const unique_fd listener_;
  const unique_fd stop_;
  const ModemSettings settings_;
  const Complain complain_;
  std::thread thread_;
};

ModemDaemon::ModemDaemon(Complain complain)
    : complain_(complain ? std::move(complain) : Complain(PrintComplaint)) {}

ModemDaemon::~ModemDaemon() = default;

bool ModemDaemon::Start(const std::string& socket_path, const ModemSettings& settings,
                        std::string* error) {
  if (server_ != nullptr) {
    *error = "the modem daemon runs already";
    return false;
  }
  unique_fd stop(eventfd(0, EFD_CLOEXEC));
  if (!stop.ok()) return Fail(error, "cannot make an event descriptor");
  unique_fd listener = Listen(socket_path, error);
  if (!listener.ok()) return false;
  server_ = std::make_unique<Server>(socket_path, std::move(listener), std::move(stop), settings,
                                     complain_);
  return true;
}

void ModemDaemon::Stop() {
  server_.reset();
}

}  // namespace orx_sim

// SPDX-License-Identifier: Apache-2.0
#include "sim/modem/modem.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
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

#include "sim/modem/effect_form.h"

namespace orx_sim {
namespace {

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kNoLimit{-1};
constexpr int kBacklog = 8;
constexpr size_t kMostDrainedBytes = 1 << 20;

constexpr std::string_view kSendPrefix = "TCATSEND,0,";
constexpr char kError[] = "ERROR";

bool Has(const ModemFaults& faults, ModemFault fault) {
  return faults.count(fault) != 0;
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

// Returns the answer of a modem that has the identifier, or an empty string.
std::string IdentifierAnswer(const ModemSettings& settings, const ModemFaults& faults,
                             const std::string& command) {
  const std::string extra = Has(faults, ModemFault::kTooLong) ? "0" : "";
  const bool quoted = Has(faults, ModemFault::kQuoted);
  if (command == "TCATSEND,0,AT+CGSN" && !settings.imei.empty()) {
    return quoted ? Quoted(settings.imei + extra) : settings.imei + extra;
  }
  if (command == "TCATSEND,0,AT+EGMR=0,10#+EGMR" && !settings.imei2.empty()) {
    const bool unquoted = Has(faults, ModemFault::kUnquoted);
    const std::string imei2 = settings.imei2 + extra;
    return "+EGMR: " + (unquoted ? imei2 : Quoted(imei2));
  }
  if (command == "TCATSEND,0,AT^MEID" && !settings.meid.empty()) {
    std::string meid = settings.meid + extra;
    if (Has(faults, ModemFault::kMeidLetters)) meid[0] = 'A';
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

// SocketPlace is where a socket file is, however long its path: an address holds 107 bytes, so it
// goes through the descriptor of the folder.
struct SocketPlace {
  std::string path;
  unique_fd folder;
  sockaddr_un address = {AF_UNIX, ""};
};

bool FindPlace(const std::string& path, SocketPlace* place, std::string* error) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const std::string name = path.substr(slash + 1);
  place->path = path;
  place->folder.reset(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!place->folder.ok()) return Fail(error, "cannot look at " + folder);
  const std::string way = "/proc/self/fd/" + std::to_string(place->folder.get()) + "/" + name;
  if (name.empty() || way.size() >= sizeof(place->address.sun_path)) {
    *error = "\"" + name + "\" is not a name for a socket, which is short";
    return false;
  }
  way.copy(place->address.sun_path, way.size());
  return true;
}

const sockaddr* AsSockaddr(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Removes the socket file of a daemon that is gone. Anything else at the path stays.
bool RemoveStaleSocket(const SocketPlace& place, std::string* error) {
  const std::string& path = place.path;
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT || Fail(error, "cannot look at " + path);
  }
  if (!S_ISSOCK(status.st_mode)) {
    *error = "a file that is not a socket is at " + path;
    return false;
  }
  const unique_fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (connect(probe.get(), AsSockaddr(place.address), sizeof(place.address)) == 0) {
    *error = "another daemon listens on " + path;
    return false;
  }
  return unlink(path.c_str()) == 0 || Fail(error, "cannot remove the stale socket " + path);
}

unique_fd Listen(const std::string& path, std::string* error) {
  SocketPlace place;
  if (!FindPlace(path, &place, error) || !RemoveStaleSocket(place, error)) return {};
  unique_fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (bind(listener.get(), AsSockaddr(place.address), sizeof(place.address)) != 0) {
    Fail(error, "cannot make the socket " + path);
    return {};
  }
  // Nobody can connect before listen(), so the mode is in force from the first client on.
  if (chmod(path.c_str(), 0600) != 0 || listen(listener.get(), kBacklog) != 0) {
    Fail(error, "cannot listen on " + path);
    unlink(path.c_str());
    return {};
  }
  return listener;
}

void PrintComplaint(const std::string& reason) {
  fprintf(stderr, "modem daemon: %s\n", reason.c_str());
}

}  // namespace

const std::vector<ModemEffectRow>& ModemEffectRows() {
  static const std::vector<ModemEffectRow> rows = {
      {"delay", "SECONDS", ModemFault::kDelay, 0, "answers that much later"},
      {"late", nullptr, ModemFault::kDelay, 5000, "answers 5 seconds later"},
      {"silent", nullptr, ModemFault::kSilent, 0, "never answers, and keeps the connection"},
      {"close", nullptr, ModemFault::kClose, 0, "closes the connection without an answer"},
      {"split", nullptr, ModemFault::kSplit, 0, "sends the answer in two parts"},
      {"echo", nullptr, ModemFault::kEcho, 0,
       "puts the AT command on a line in front of the answer (ITU-T V.250 E1)"},
      {"trailing-ok", nullptr, ModemFault::kTrailingOk, 0,
       "ends the answer with the result line OK (ITU-T V.250)"},
      {"quoted", nullptr, ModemFault::kQuoted, 0, "puts IMEI and MEID in double quotes"},
      {"unquoted", nullptr, ModemFault::kUnquoted, 0,
       "leaves out the quotes around the second IMEI"},
      {"meid-letters", nullptr, ModemFault::kMeidLetters, 0,
       "a MEID that starts with the hexadecimal digit A"},
      {"too-long", nullptr, ModemFault::kTooLong, 0, "identifiers with one digit too many"},
  };
  return rows;
}

bool ParseModemFault(const std::string& text, ModemFaults* faults, std::string* error) {
  for (const ModemEffectRow& row : ModemEffectRows()) {
    int number = row.number;
    if (!ParseEffectForm(text, row.name, row.argument, &number)) continue;
    (*faults)[row.fault] = number;
    return true;
  }
  *error = "\"" + text + "\" is not a fault of the modem; there are";
  const char* separator = " ";
  for (const ModemEffectRow& row : ModemEffectRows()) {
    *error += separator + EffectForm(row.name, row.argument);
    separator = ", ";
  }
  return false;
}

ssize_t ParseModemRequest(std::string_view bytes, std::string* command, std::string* error) {
  constexpr size_t kHeader = 2 * sizeof(int32_t);
  if (bytes.size() < kHeader) return 0;
  const int32_t count = WordAt(bytes, 0);
  const int32_t length = WordAt(bytes, sizeof(count));
  const size_t announced = static_cast<size_t>(std::max(length, 0));
  // A longer one is refused unread, as far as a client's writing cannot be held up by it.
  if (bytes.size() - kHeader < std::min(announced, kMostDrainedBytes)) return 0;
  const std::string_view text = bytes.substr(kHeader, announced);
  if (count != 1) {
    *error = "the count word is " + std::to_string(count) + ", not 1";
  } else if (length < 1 || announced > kMaxModemCommandBytes) {
    *error = "the length word is " + std::to_string(length) + ", not 1 to " +
             std::to_string(kMaxModemCommandBytes);
  } else if (!std::all_of(text.begin(), text.end(), IsPrintable)) {
    *error = "the command has bytes that are not printable ASCII";
  } else if (bytes.size() > kHeader + announced) {
    *error = "bytes follow the command";
  } else {
    *command = text;
    return static_cast<ssize_t>(bytes.size());
  }
  return -1;
}

std::string ModemAnswer(const ModemSettings& settings, const ModemFaults& faults,
                        const std::string& command) {
  const auto replayed = settings.replayed.find(command);
  if (replayed != settings.replayed.end()) return replayed->second;
  std::string answer = IdentifierAnswer(settings, faults, command);
  const bool known = !answer.empty();
  if (!known) answer = kError;
  if (Has(faults, ModemFault::kEcho)) answer = AtCommand(command) + "\r\n" + answer;
  if (known && Has(faults, ModemFault::kTrailingOk)) answer += "\r\nOK\r\n";
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
    const steady_clock::time_point deadline = steady_clock::now() + settings_.request_limit;
    std::string bytes;
    ssize_t length = 0;
    while (length == 0) {
      if (!ReceiveSome(client, deadline, &bytes)) return false;
      std::string error;
      length = ParseModemRequest(bytes, command, &error);
      if (length < 0) return Refuse(error);
    }
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
    const ModemFaults faults = settings_.faults ? settings_.faults() : ModemFaults();
    if (Has(faults, ModemFault::kClose)) return;
    if (Has(faults, ModemFault::kSilent)) {
      WaitFor(client, POLLRDHUP, kNoLimit);
      return;
    }
    const auto delay = faults.find(ModemFault::kDelay);
    if (delay != faults.end() &&
        WaitFor(client, POLLRDHUP, milliseconds(delay->second)) != Wait::kTimeout) {
      return;  // the client gave up, or the daemon has to end
    }
    const std::string answer = ModemAnswer(settings_, faults, command);
    if (!Has(faults, ModemFault::kSplit)) {
      Send(client, answer);
      return;
    }
    Send(client, answer.substr(0, answer.size() / 2));
    if (WaitFor(client, POLLRDHUP, settings_.segment_pause) == Wait::kTimeout) {
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

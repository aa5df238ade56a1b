// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The simulated modem daemon: the part of a radio interface daemon that takes one AT command over a
// local stream socket and sends the modem's answer back.
//
// A request is, in the host's byte order:
//
//   count    4 bytes, signed   1
//   length   4 bytes, signed   number of bytes of the command, 1 to kMaxModemCommandBytes
//   command  length bytes      printable ASCII, no terminator
//
// The answer is the text alone, without a length and without a terminator. One connection carries
// one request.
namespace orx_sim {

// ModemFault is one way in which a modem daemon misbehaves; ModemEffectRows() says how.
enum class ModemFault {
  kDelay,
  kSilent,
  kClose,
  kSplit,
  kEcho,
  kTrailingOk,
  kQuoted,
  kUnquoted,
  kMeidLetters,
  kTooLong,
};

// ModemFaults are the faults of one request, each with its number: milliseconds for kDelay, else 0.
using ModemFaults = std::map<ModemFault, int>;

// ModemEffectRow is one fault as it is written: "NAME", or "NAME=SECONDS" if it has an argument.
struct ModemEffectRow {
  const char* name;
  const char* argument;  // null if none follows
  ModemFault fault;
  int number;  // when none follows
  const char* meaning;
};
const std::vector<ModemEffectRow>& ModemEffectRows();

// ParseModemFault adds the fault that `text` ("echo", "delay=2.5") means to `faults`. Returns false
// and says in `error` which there are when it means none.
bool ParseModemFault(const std::string& text, ModemFaults* faults, std::string* error);

// ModemSettings is what one modem daemon answers. An empty identifier is one that the modem does
// not have: its command is answered with ERROR.
struct ModemSettings {
  std::string imei;   // 15 digits (3GPP TS 23.003)
  std::string imei2;  // 15 digits
  std::string meid;   // 14 digits
  // Unless null: returns the faults of the request that has just come in.
  std::function<ModemFaults()> faults;
  std::chrono::milliseconds request_limit{2000};     // how long a client may take to send a request
  std::chrono::milliseconds segment_pause{100};      // between the two parts of a split answer
  std::map<std::string, std::string> replayed = {};  // by command: answered as it stands
};

// The longest command that a request may carry, in bytes.
inline constexpr size_t kMaxModemCommandBytes = 1024;

// ParseModemRequest checks the bytes that have come in so far. Returns 0 when more of what the
// length word announces is to come, else the length of the request, with the command in `command`,
// or -1 when it is none, with the reason in `error`.
ssize_t ParseModemRequest(std::string_view bytes, std::string* command, std::string* error);

// ModemAnswer returns the answer to `command`, with those faults applied that change its text:
//
//   TCATSEND,0,AT+CGSN              the IMEI alone (3GPP TS 27.007)
//   TCATSEND,0,AT+EGMR=0,10#+EGMR   +EGMR: "second IMEI"
//   TCATSEND,0,AT^MEID              the MEID alone
//   anything else                   ERROR
std::string ModemAnswer(const ModemSettings& settings, const ModemFaults& faults,
                        const std::string& command);

// ModemDaemon serves requests on a Unix stream socket from a thread of its own, one client after
// the other. A request that is malformed, too long or not complete in time is refused: once all
// that it announces was read, the connection is closed without an answer and the reason goes to the
// complaint function.
class ModemDaemon {
 public:
  using Complain = std::function<void(const std::string& reason)>;

  // Complaints are lines on standard error unless `complain` takes them. It is called on the
  // daemon's thread.
  explicit ModemDaemon(Complain complain = nullptr);

  // Stops the daemon.
  ~ModemDaemon();
  ModemDaemon(const ModemDaemon&) = delete;
  ModemDaemon& operator=(const ModemDaemon&) = delete;

  // Start listens at `socket_path`, for this user alone, and returns at once; a client can connect
  // as soon as it does. The path may be longer than a socket's address, its last part may not. A
  // socket file that a dead daemon left behind is replaced. Returns false with the reason in
  // `error` when the path cannot be listened at, another daemon does, or this one runs already.
  bool Start(const std::string& socket_path, const ModemSettings& settings, std::string* error);

  // Stop ends the thread, whatever it waits for, closes the connections and removes the socket
  // file. Does nothing when the daemon does not run.
  void Stop();

 private:
  class Server;

  Complain complain_;
  std::unique_ptr<Server> server_;
};

}  // namespace orx_sim

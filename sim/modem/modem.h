// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <set>
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

// ModemFault is one way in which a modem daemon misbehaves. The names that SetModemFault() takes
// are beside each.
enum class ModemFault {
  kLate,    // "modem:late": answers after ModemSettings::late_by
  kSilent,  // "modem:silent": never answers, and keeps the connection
  kClose,   // "modem:close": closes the connection without an answer
  kSplit,   // "modem:split": sends the answer in two segments, with a pause between them
  kEcho,    // "modem:echo": puts the AT command on a line in front of the answer (ITU-T V.250 E1)
  kTrailingOk,   // "modem:trailing-ok": ends the answer with the result line OK (ITU-T V.250)
  kQuoted,       // "modem:quoted": puts IMEI and MEID in double quotes
  kUnquoted,     // "modem:unquoted": leaves out the quotes around the second IMEI
  kMeidLetters,  // "modem:meid-letters": a MEID that starts with the hexadecimal digit A
  kTooLong,      // "modem:too-long": identifiers with one digit too many
};

// ModemSettings is what one modem daemon answers. An empty identifier is one that the modem does
// not have: its command is answered with ERROR.
struct ModemSettings {
  std::string imei;   // 15 digits (3GPP TS 23.003)
  std::string imei2;  // 15 digits
  std::string meid;   // 14 digits
  std::set<ModemFault> faults;
  std::chrono::milliseconds late_by{5000};
};

// The longest command that a request may carry, in bytes.
inline constexpr size_t kMaxModemCommandBytes = 1024;

// ModemFaultNames returns the names of all faults, in the order of ModemFault.
std::vector<std::string> ModemFaultNames();

// SetModemFault adds the fault that `name` ("modem:late") names to the settings. Returns false and
// says in `error` which names there are when there is no such fault; the settings are unchanged
// then.
bool SetModemFault(ModemSettings* settings, const std::string& name, std::string* error);

// ParseModemRequest checks the bytes that have come in so far. Returns the length of the whole
// request when all of it is there, with the command in `command`; 0 when more is to come; -1 when
// it can never become a request, with the reason in `error`.
ssize_t ParseModemRequest(std::string_view bytes, std::string* command, std::string* error);

// ModemAnswer returns the answer to `command`, with those faults applied that change its text:
//
//   TCATSEND,0,AT+CGSN              the IMEI alone (3GPP TS 27.007)
//   TCATSEND,0,AT+EGMR=0,10#+EGMR   +EGMR: "second IMEI"
//   TCATSEND,0,AT^MEID              the MEID alone
//   anything else                   ERROR
std::string ModemAnswer(const ModemSettings& settings, const std::string& command);

// ModemDaemon serves requests on a Unix stream socket from a thread of its own, one client after
// the other. A request that is malformed, too long or not complete within two seconds is refused:
// the connection is closed without an answer and the reason goes to the complaint function.
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
  // as soon as it does. A socket file that a dead daemon left behind is replaced. Returns false
  // with the reason in `error` when the path cannot be listened at, another daemon does, or this
  // one runs already.
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

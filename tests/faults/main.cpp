// SPDX-License-Identifier: Apache-2.0
// Runs sequences of the library with every call that is made for it failing, one after the other,
// and judges each: the answer of the step in which it happened, what lies in the folder, memory and
// descriptors, and that the whole sequence works afterwards. Runs in the tests' sandbox.
//
// usage: orx_faults [--at-most=N] [--json=FILE] [SEQUENCE...]
#include <android_host/host.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "sim/device.h"
#include "sim/modem/modem.h"
#include "tests/faults/interposer.h"
#include "tests/faults/sequences.h"
#include "tests/support/log_capture.h"

namespace orx_faults {
namespace {

namespace fs = std::filesystem;

constexpr char kDevice[] = "/mnt/device", kKeys[] = "/mnt/vendor/persist/security";
constexpr char kSavedDevice[] = "/mnt/saved-device", kSavedKeys[] = "/mnt/saved-keys";
constexpr char kBlob[] = "/mnt/vendor/persist/security/zol_key_user0";

// What the step answers in which the call failed: 1, 0, either of them, or the process ends.
enum Answer { kRefused, kTolerated, kEither, kAborted };

struct Kind {
  const char* name;
  const char* call;
  int error;
  Answer answer;
};
constexpr Kind kKinds[] = {
    {"open", "open", EACCES, kRefused},
    {"open: EINTR", "open", EINTR, kTolerated},
    {"read", "read", EIO, kRefused},
    {"read: short", "read", kShort, kTolerated},
    {"read: EINTR", "read", EINTR, kTolerated},
    {"write", "write", ENOSPC, kRefused},
    {"write: short", "write", kShort, kTolerated},
    {"write: EINTR", "write", EINTR, kTolerated},
    {"fsync", "fsync", EIO, kRefused},
    {"fsync: EINVAL", "fsync", EINVAL, kTolerated},
    {"fsync: EROFS", "fsync", EROFS, kTolerated},
    {"close", "close", EIO, kTolerated},
    {"fstat", "fstat", EIO, kTolerated},
    {"unlink", "unlink", EACCES, kRefused},
    {"fopen", "fopen", EMFILE, kRefused},
    {"fread", "fread", EIO, kRefused},
    {"fwrite", "fwrite", ENOSPC, kRefused},
    {"fclose", "fclose", EIO, kRefused},
    // Up to the connection the library begins anew.
    {"fcntl", "fcntl", EINVAL, kTolerated},
    {"socket", "socket", EMFILE, kTolerated},
    {"connect", "connect", ECONNREFUSED, kTolerated},
    {"getsockopt", "getsockopt", ENOTCONN, kTolerated},
    {"select", "select", EBADF, kRefused},
    {"sendto", "sendto", EPIPE, kRefused},
    {"sendto: short", "sendto", kShort, kRefused},
    {"recvfrom", "recvfrom", EIO, kTolerated},
    {"recvfrom: EINTR", "recvfrom", EINTR, kRefused},
    {"malloc", "malloc", ENOMEM, kRefused},
    {"crypto allocation", "crypto allocation", ENOMEM, kRefused},
    {"RAND_bytes", "RAND_bytes", EIO, kRefused},
    {"operator new", "operator new", ENOMEM, kAborted},
};

Answer AnswerOf(const Kind& kind, const std::string& step) {
  const std::string call = kind.call;
  if (step == "size" && call == "fstat") return kRefused;
  // A wait for the connection, which a caller's errno causes, is tried again.
  if (step == "imei2" && call == "select") return kEither;
  // The MEID comes last, and what stands in its place is made of the IMEI.
  const bool is_modems =
      call == "select" || call == "sendto" || call == "recvfrom" || call == "malloc";
  if (is_modems && (step == "records" || step == "attest") && kind.answer == kRefused)
    return kEither;
  return kind.answer;
}

// What a process that ran a sequence reports, in memory that it shares with its parent.
struct Report {
  const char* step;  // in which the call failed, or null, and what it answered
  int status;
  bool key_is_lost;
  long live;
  Count counts[kMaxCounts];
  char problem[200];
};
Report* report;

// Keeps the first thing that is wrong.
void Problem(const std::string& text) {
  char(&kept)[sizeof report->problem] = report->problem;
  if (*kept == '\0') snprintf(kept, sizeof kept, "%s", text.c_str());
}

void Copy(const char* from, const char* to) {
  fs::create_directories(to);
  for (const auto& entry : fs::directory_iterator(to)) fs::remove_all(entry);
  fs::copy(from, to, fs::copy_options::recursive);
}

long BlobSize() {
  std::error_code none;
  const auto size = fs::file_size(kBlob, none);
  return none ? -1 : static_cast<long>(size);
}

long Descriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Runs `body` in a process of its own with the device attached, and returns how it ended.
int InProcess(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    // Not shown: identifiers that are printed, and what the C++ library ends a process for.
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    std::string error;
    orx_sim::Device::Open(kDevice, &error)->Attach();
    try {
      body();
    } catch (...) {
      Problem("lets an exception through");
    }
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// Runs the steps, and fails the `at`-th call in them unless that is 0.
void RunSteps(const Sequence& sequence, const Kind& kind = kKinds[0], long at = 0) {
  const char* failed_in = nullptr;
  Arm(kind.call, kind.error, at);
  for (const Step& step : sequence.steps) {
    const int status = step.run();
    if (status == kWrong) Problem(step.name + std::string(" succeeds with a wrong result"));
    if (!HasFailed() && status != 0) Problem(step.name + std::string(" is refused for nothing"));
    if (!HasFailed() || failed_in != nullptr) continue;
    report->step = failed_in = step.name;
    report->status = status;
  }
  Disarm();
}

class Run {
 public:
  // Makes the device and saves it, and sees what the sequence does when nothing fails.
  Run(const Sequence& sequence, long at_most, FILE* json)
      : sequence_(sequence), at_most_(at_most), json_(json) {
    std::string error;
    fs::remove_all(kDevice);
    fs::remove(kBlob);
    const auto device = orx_sim::Device::Create(kDevice, "dual-sim", &error);
    InProcess(sequence_.prepare);
    if (sequence_.setting != nullptr) device->folder().Set({sequence_.setting}, &error);
    sizes_[0] = BlobSize();
    Copy(kDevice, kSavedDevice);
    Copy(kKeys, kSavedKeys);
    *report = {};
    const int status = InProcess([this] {
      RunSteps(sequence_);
      std::copy_n(Counts(), kMaxCounts, report->counts);
      RunSteps(sequence_);
      report->live = Live();
    });
    if (status != 0) Problem("ends the process");
    normal_ = *report;
    sizes_[1] = BlobSize();
  }

  // Returns whether all that failed was answered as it should be.
  bool All() {
    if (*normal_.problem != '\0') printf("%s: %s\n", sequence_.name, normal_.problem);
    bool good = *normal_.problem == '\0';
    for (const Kind& kind : kKinds) {
      for (const Count& count : normal_.counts) {
        if (count.call == nullptr || strcmp(count.call, kind.call) != 0) continue;
        good = AllOf(kind, count.times) && good;
      }
    }
    return good;
  }

 private:
  bool AllOf(const Kind& kind, long calls) {
    const long stride = at_most_ == 0 ? 1 : (calls + at_most_ - 1) / at_most_;
    std::map<std::string, int> outcomes;
    long failed = 0, wrong = 0;
    for (long at = 1; at <= calls; at += stride) {
      if (isatty(STDERR_FILENO))
        fprintf(stderr, "\r%s %s %ld \033[K\r", sequence_.name, kind.name, at);
      const std::string outcome = One(kind, at);
      if (outcome.empty()) break;  // the number of calls varies a little with random signatures
      ++failed;
      ++outcomes[outcome];
      if (*report->problem == '\0') continue;
      ++wrong;
      printf("%s, %s %ld: %s\n", sequence_.name, kind.name, at, report->problem);
    }
    std::string text;
    for (const auto& [outcome, count] : outcomes) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + outcome;
    }
    printf("%-14s %-18s %5ld of %5ld  %s\n", sequence_.name, kind.name, failed, calls,
           text.c_str());
    fflush(stdout);
    if (json_ != nullptr) {
      fprintf(json_,
              "%s{\"sequence\": \"%s\", \"kind\": \"%s\", \"calls\": %ld, \"failed\": %ld, "
              "\"wrong\": %ld, \"outcome\": \"%s\"}\n",
              ftell(json_) > 2 ? "," : "", sequence_.name, kind.name, calls, failed, wrong,
              text.c_str());
    }
    return wrong == 0;
  }

  // Fails one call and returns how it was answered, empty if it never came; what is wrong with that
  // is in the report.
  std::string One(const Kind& kind, long at) {
    Copy(kSavedDevice, kDevice);
    Copy(kSavedKeys, kKeys);
    *report = {};
    const int status = InProcess([&] { RunWithFailure(kind, at); });
    if (WIFEXITED(status)) {
      if (report->step == nullptr) return *report->problem == '\0' ? "" : "wrong";
      if (report->status == 0) return "tolerated";
      return report->key_is_lost ? "refused and the key lost" : "refused";
    }
    if (kind.answer != kAborted || WTERMSIG(status) != SIGABRT) Problem("ends the process");
    CheckBlob();
    if (sizes_[0] >= 0 && BlobSize() < 0) Problem("a key is lost");
    if (InProcess([this] { RunSteps(sequence_); }) != 0) Problem("the next call ends the process");
    return "ended the process";
  }

  void RunWithFailure(const Kind& kind, long at) {
    const orx_test::LogCapture log;
    const long descriptors = Descriptors();
    RunSteps(sequence_, kind, at);
    if (report->step == nullptr) return;
    const Answer answer = AnswerOf(kind, report->step);
    const bool right = answer == kEither || answer == (report->status == 0 ? kTolerated : kRefused);
    if (!right) Problem(report->step + std::string(" answers ") + std::to_string(report->status));
    if (Descriptors() != descriptors) Problem("a descriptor stays open");
    CheckBlob();
    report->key_is_lost = sizes_[0] >= 0 && BlobSize() < 0;
    if (report->key_is_lost) {
      CheckLoss(kind, log.messages());
      InProcess(sequence_.prepare);
    }
    RunSteps(sequence_);
    const long leaked = Live() - normal_.live;
    if (leaked != 0) Problem(std::to_string(leaked) + " allocations stay");
  }

  // No part of a blob may lie there: the whole ones have the sizes of those before and after.
  void CheckBlob() {
    const long size = BlobSize();
    if (size >= 0 && size != sizes_[0] && size != sizes_[1]) Problem("a part of a key is stored");
  }

  // A key may be lost when it cannot be stored, which is then said.
  void CheckLoss(const Kind& kind, const std::vector<std::string>& log) {
    const std::string call = kind.call;
    const bool said = std::any_of(log.begin(), log.end(), [](const std::string& line) {
      return line.rfind("SYM: Fail", 0) == 0 || line.rfind("RSA: write asymmetric key", 0) == 0 ||
             line.rfind("RSA: failed to fsync", 0) == 0;
    });
    if (!said || (call != "open" && call != "write" && call != "fsync")) Problem("a key is lost");
  }

  const Sequence& sequence_;
  const long at_most_;
  FILE* const json_;
  Report normal_;
  long sizes_[2];  // of the key's file before the sequence and after it, -1: not there
};

int Main(int argc, char** argv) {
  long at_most = 0;
  FILE* json = nullptr;
  std::vector<std::string> names;
  for (const std::string& argument : std::vector<std::string>(argv + 1, argv + argc)) {
    if (argument.rfind("--at-most=", 0) == 0) {
      at_most = std::stol(argument.substr(10));
    } else if (argument.rfind("--json=", 0) == 0) {
      json = fopen(argument.c_str() + 7, "w");
      fputs("[\n", json);
    } else {
      names.push_back(argument);
    }
  }
  android_host::DisableDeviceModule();
  report = static_cast<Report*>(
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::string error;
  orx_sim::ModemDaemon modem([](const std::string&) {});
  modem.Start("/dev/socket/rild-oem", {kImei, kImei2, kMeid, {}}, &error);
  bool good = true;
  int num_run = 0;
  for (const Sequence& sequence : Sequences()) {
    const bool is_named = std::find(names.begin(), names.end(), sequence.name) != names.end();
    if (!names.empty() && !is_named) continue;
    ++num_run;
    good = Run(sequence, at_most, json).All() && good;
  }
  if (json != nullptr) {
    fputs("]\n", json);
    fclose(json);
  }
  if (num_run == 0) fputs("faults: there is no such sequence\n", stderr);
  return num_run == 0 ? 2 : good ? 0 : 1;
}

}  // namespace
}  // namespace orx_faults

int main(int argc, char** argv) {
  return orx_faults::Main(argc, argv);
}

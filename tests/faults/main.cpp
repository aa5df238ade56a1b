// SPDX-License-Identifier: Apache-2.0
// Runs sequences of the library with every call that is made for it failing, one after the other,
// and judges each: the answer of the step in which it happened, what lies in the folder, memory and
// descriptors, and that the whole sequence works afterwards. Runs in the tests' sandbox. The rows
// of outcomes.txt are all that may come out: what is printed, without the counts.
//
// usage: orx_faults [--sparse] [--share=I/N] [SEQUENCE...]; sparse leaves out most of more than 50
// calls, a share all but each N-th
#include <android-base/stringprintf.h>
#include <android/log.h>
#include <android_host/host.h>
#include <fcntl.h>
#include <openssl/err.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "sim/device.h"
#include "tests/faults/interposer.h"
#include "tests/faults/sequences.h"

namespace orx_faults {
namespace {

namespace fs = std::filesystem;

constexpr char kDevice[] = "/mnt/device", kKeys[] = "/mnt/vendor/persist/security";
constexpr char kSavedDevice[] = "/mnt/saved-device", kSavedKeys[] = "/mnt/saved-keys";
constexpr char kBlob[] = "/mnt/vendor/persist/security/zol_key_user0";

// Which of a kind's calls are failed.
struct Choice {
  bool is_sparse;
  long share, num_shares;
};

// What a process that ran a sequence reports, in memory that it shares with its parent.
struct Report {
  const char* step;  // in which the call failed, or is about to, and what it answered
  char answer[16];
  char message[400];  // what is logged after it
  long live;
  Call calls[kMaxCalls];
  char problem[200];
};
Report* report;

// Numbers (sizes, descriptors) are left out, but for the negative ones.
std::string WithoutNumbers(const std::string& text) {
  std::string kept;
  bool negative = false;
  for (const char c : text) {
    if (!isdigit(c)) negative = c == '-';
    const bool hidden = isdigit(c) && !negative;
    if (!hidden || kept.empty() || kept.back() != '#') kept += hidden ? '#' : c;
  }
  return kept;
}

// The first lines that the library logs after the failure say what came of it.
void KeepMessage(const __android_logger_data* data, const char* line) {
  std::string kept = report->message;
  if (!HasFailed() || report->answer[0] != '\0' || strcmp(data->tag, "ORX") != 0) return;
  if (std::count(kept.begin(), kept.end(), '|') == 2) return;
  const std::string text = strstr(strchr(line, ':') + 1, ": ") + 2;
  const auto end = std::find_if(text.begin(), text.end(), [](char c) { return c < ' '; });
  kept += (kept.empty() ? "" : " | ") + WithoutNumbers(std::string(text.begin(), end));
  snprintf(report->message, sizeof report->message, "%s", kept.c_str());
}

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
    __android_log_set_minimum_priority(ANDROID_LOG_DEBUG);
    __android_log_set_logger(KeepMessage);
    std::string error;
    orx_sim::Device::Open(kDevice, &error)->Attach();
    try {
      body();
    } catch (...) {
      strcpy(report->answer, "throws");
    }
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

// Runs the steps, and fails the `at`-th call in them; with 0 it only counts them, if at all: to see
// whom a call is for takes longer than the call.
void RunSteps(const Sequence& sequence, bool counts, const char* call = nullptr, int error = 0,
              long at = 0) {
  bool has_failed = false;
  Arm(call, error, at);
  if (!counts) Disarm();
  for (const Step& step : sequence.steps) {
    if (!has_failed && at != 0) report->step = step.name;
    const uint32_t status = step.run();
    if (status == kWrong) Problem(step.name + std::string(" succeeds with a wrong result"));
    if (!HasFailed() && status != 0) Problem(step.name + std::string(" is refused for nothing"));
    if (HasFailed() && !has_failed) strcpy(report->answer, status == 0 ? "succeeds" : "refused");
    has_failed = HasFailed();
  }
  Disarm();
  if (at != 0 && !has_failed) report->step = "";
}

class Run {
 public:
  // Makes the device and saves it, and sees what the sequence does when nothing fails.
  Run(const Sequence& sequence, Choice choice) : sequence_(sequence), choice_(choice) {
    std::ifstream outcomes(ORX_SOURCE_DIR "/tests/faults/outcomes.txt");
    for (std::string row; std::getline(outcomes, row);) {
      if (row.rfind(sequence.name + std::string(" "), 0) == 0) known_.insert(row);
    }
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
      RunSteps(sequence_, true);
      std::copy_n(Calls(), kMaxCalls, report->calls);
      RunSteps(sequence_, false);
      report->live = Live();
    });
    if (status != 0) Problem("ends the process");
    normal_ = *report;
    sizes_[1] = BlobSize();
  }

  // Returns whether all that failed was answered as it should be.
  bool All() {
    bool good = *normal_.problem == '\0';
    if (!good) printf("%s: %s\n", sequence_.name, normal_.problem);
    for (const Call* call = normal_.calls; call->name != nullptr; ++call) {
      for (const int error : call->errors) good = (error == 0 || AllOf(*call, error)) && good;
    }
    for (const std::string& row : known_) {
      if (made_.count(row.substr(0, kHeadLength)) != 0) continue;
      printf("%s\nWRONG: the call is not made any more\n", row.c_str());
      good = false;
    }
    return good;
  }

 private:
  static constexpr size_t kHeadLength = 45;

  bool AllOf(const Call& call, int error) {
    const char* const name = error == kShort ? "half" : strerrorname_np(error);
    const std::string head =
        android::base::StringPrintf("%-13s %-17s %-12s ", sequence_.name, call.name, name);
    made_.insert(head);
    const bool skips = choice_.is_sparse && call.times > 50;
    bool good = true;
    std::map<std::string, long> outcomes;
    for (long at = 1; at <= call.times; at += skips && at > 9 ? at / 2 : 1) {
      if (at % choice_.num_shares != choice_.share) continue;
      if (isatty(STDERR_FILENO)) fprintf(stderr, "%s%ld\033[K\r", head.c_str(), at);
      One(call.name, error, at);
      if (*report->answer == '\0') break;  // random signatures need a few calls more or less
      std::string row = head + android::base::StringPrintf("%-11s %-8s %s", report->step,
                                                           report->answer, report->message);
      row.erase(row.find_last_not_of(' ') + 1);
      if (known_.count(row) == 0) Problem("is not expected");
      ++outcomes[row];
      if (*report->problem == '\0') continue;
      printf("%s\nWRONG, %ld: %s\n", row.c_str(), at, report->problem);
      good = false;
    }
    for (const auto& [row, count] : outcomes) {
      printf("%5ld of %5ld  %s\n", count, call.times, row.c_str());
    }
    fflush(stdout);
    return good;
  }

  // Fails one call, of which everything is in the report then.
  void One(const char* call, int error, long at) {
    Copy(kSavedDevice, kDevice);
    Copy(kSavedKeys, kKeys);
    *report = {};
    report->step = "";
    const int status = InProcess([&] { RunWithFailure(call, error, at); });
    if (WIFEXITED(status)) return;
    snprintf(report->answer, sizeof report->answer, "signal %d", WTERMSIG(status));
    CheckBlob();
    if (sizes_[0] >= 0 && BlobSize() < 0) Problem("a key is lost");
    if (InProcess([this] { RunSteps(sequence_, false); }) != 0)
      Problem("the next call ends the process");
  }

  void RunWithFailure(const char* call, int error, long at) {
    const long descriptors = Descriptors();
    OPENSSL_PUT_ERROR(USER, 1);
    RunSteps(sequence_, true, call, error, at);
    if (*report->step == '\0') return;
    const bool is_lost = sizes_[0] >= 0 && BlobSize() < 0;
    if (is_lost) strcpy(report->answer, "key lost");
    if (Descriptors() != descriptors) Problem("a descriptor stays open");
    CheckBlob();
    // The simulated device, in the same process, may have taken the caller's error away.
    const uint32_t first = ERR_get_error();
    if ((first != 0 && ERR_GET_REASON(first) != 1) || ERR_get_error() != 0) Problem("errors stay");
    if (is_lost) InProcess(sequence_.prepare);
    RunSteps(sequence_, false);
    const long leaked = Live() - normal_.live;
    if (leaked != 0) Problem(std::to_string(leaked) + " allocations stay");
  }

  // No part of a blob may lie there: the whole ones have the sizes of those before and after.
  void CheckBlob() {
    const long size = BlobSize();
    if (size >= 0 && size != sizes_[0] && size != sizes_[1]) Problem("a part of a key is stored");
  }

  const Sequence& sequence_;
  const Choice choice_;
  std::set<std::string> known_, made_;  // outcomes; heads of the rows
  Report normal_;
  long sizes_[2];  // of the key's file before the sequence and after it, -1: not there
};

int Main(std::vector<std::string> names) {
  Choice choice = {false, 0, 1};
  const auto is_option = [&](const std::string& name) {
    choice.is_sparse = choice.is_sparse || name == "--sparse";
    sscanf(name.c_str(), "--share=%ld/%ld", &choice.share, &choice.num_shares);
    return name[0] == '-';
  };
  names.erase(std::remove_if(names.begin(), names.end(), is_option), names.end());
  android_host::DisableDeviceModule();
  report = static_cast<Report*>(
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const auto modem = StartModem();
  bool good = true;
  int num_run = 0;
  for (const Sequence& sequence : Sequences()) {
    const bool is_named = std::find(names.begin(), names.end(), sequence.name) != names.end();
    if (!names.empty() && !is_named) continue;
    ++num_run;
    good = Run(sequence, choice).All() && good;
  }
  if (num_run == 0) fputs("faults: there is no such sequence\n", stderr);
  return num_run == 0 ? 2 : good ? 0 : 1;
}

}  // namespace
}  // namespace orx_faults

int main(int argc, char** argv) {
  return orx_faults::Main({argv + 1, argv + argc});
}

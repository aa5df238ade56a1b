// SPDX-License-Identifier: Apache-2.0
#include "tests/support/run_program.h"

#include <android-base/file.h>
#include <android-base/logging.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <thread>

namespace orx_test {
namespace {

using android::base::unique_fd;

// Each has its reading end first.
struct Pipes {
  unique_fd in[2];
  unique_fd out[2];
  unique_fd err[2];
};

void MakePipes(bool terminal, Pipes* pipes) {
  CHECK(Pipe(&pipes->in[0], &pipes->in[1]) && Pipe(&pipes->out[0], &pipes->out[1]));
  if (!terminal) {
    CHECK(Pipe(&pipes->err[0], &pipes->err[1]));
    return;
  }
  termios raw = {};
  cfmakeraw(&raw);
  int ends[2];
  CHECK_EQ(openpty(&ends[0], &ends[1], nullptr, &raw, nullptr), 0);
  pipes->err[0].reset(ends[0]);
  pipes->err[1].reset(ends[1]);
}

int Exec(const std::vector<std::string>& argv) {
  std::vector<char*> words;
  for (const std::string& word : argv) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execvp(words[0], words.data());
  _exit(127);
}

[[noreturn]] void RunInChild(const std::function<int()>& main, Pipes* pipes) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(pipes->in[0].get(), STDIN_FILENO);
  dup2(pipes->out[1].get(), STDOUT_FILENO);
  dup2(pipes->err[1].get(), STDERR_FILENO);
  *pipes = {};
  exit(main());
}

}  // namespace

ProgramResult RunProgram(const Words& argv, const ProgramOptions& options) {
  return RunProgram([&] { return Exec(argv); }, options);
}

ProgramResult RunProgram(const std::function<int()>& main, const ProgramOptions& options) {
  Pipes pipes;
  MakePipes(options.terminal, &pipes);
  signal(SIGPIPE, SIG_IGN);
  fflush(nullptr);  // or the child says it, too
  const pid_t child = fork();
  if (child == 0) RunInChild(main, &pipes);
  for (unique_fd* end : {&pipes.in[0], &pipes.out[1], &pipes.err[1]}) end->reset();

  ProgramResult result;
  std::thread input([&] {
    android::base::WriteStringToFd(options.input, pipes.in[1]);
    pipes.in[1].reset();
  });
  std::thread output([&] { android::base::ReadFdToString(pipes.out[0], &result.out); });
  bool signalled = options.signal_when_shown.empty();
  char bytes[4096];
  // A terminal whose last writer is gone answers EIO.
  for (ssize_t got; (got = read(pipes.err[0].get(), bytes, sizeof(bytes))) > 0;) {
    result.err.append(bytes, static_cast<size_t>(got));
    if (!signalled && result.err.find(options.signal_when_shown) != std::string::npos) {
      signalled = true;
      kill(-child, SIGINT);
    }
  }
  input.join();
  output.join();
  int status = 0;
  waitpid(child, &status, 0);
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace orx_test

// SPDX-License-Identifier: Apache-2.0
#include "tests/support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>

namespace orx_test {
namespace {

using Clock = std::chrono::steady_clock;

struct Stream {
  int fd;
  std::string* text;
  bool open = true;
};

struct Pipes {
  int in[2];
  int out[2];
  int err[2];
};

Pipes MakePipes(bool terminal) {
  Pipes pipes;
  bool made = pipe2(pipes.in, O_CLOEXEC) == 0 && pipe2(pipes.out, O_CLOEXEC) == 0;
  if (terminal) {
    termios raw = {};
    cfmakeraw(&raw);
    made = made && openpty(&pipes.err[0], &pipes.err[1], nullptr, &raw, nullptr) == 0;
  } else {
    made = made && pipe2(pipes.err, O_CLOEXEC) == 0;
  }
  if (!made) abort();
  return pipes;
}

[[noreturn]] void Exec(const std::vector<std::string>& argv, const Pipes& pipes) {
  setpgid(0, 0);
  dup2(pipes.in[0], STDIN_FILENO);
  dup2(pipes.out[1], STDOUT_FILENO);
  dup2(pipes.err[1], STDERR_FILENO);
  close(pipes.err[0]);
  std::vector<char*> words;
  for (const std::string& word : argv) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execvp(words[0], words.data());
  _exit(127);
}

// Feed writes what the program takes of its input; true while more is to come.
bool Feed(int fd, const std::string& input, size_t* fed) {
  const ssize_t written = write(fd, input.data() + *fed, input.size() - *fed);
  if (written > 0) *fed += static_cast<size_t>(written);
  if (written > 0 && *fed < input.size()) return true;
  close(fd);
  return false;
}

void Drain(Stream* stream) {
  char bytes[65536];
  const ssize_t got = read(stream->fd, bytes, sizeof(bytes));
  stream->open = got > 0;  // a terminal whose last writer is gone answers EIO
  if (got > 0) stream->text->append(bytes, static_cast<size_t>(got));
}

int ExitCode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

ProgramResult RunProgram(const Words& argv, const ProgramOptions& options) {
  ProgramResult result;
  const Pipes pipes = MakePipes(options.terminal);
  signal(SIGPIPE, SIG_IGN);
  const pid_t child = fork();
  if (child == 0) Exec(argv, pipes);
  for (const int fd : {pipes.in[0], pipes.out[1], pipes.err[1]}) close(fd);

  Stream out = {pipes.out[0], &result.out};
  Stream err = {pipes.err[0], &result.err};
  size_t fed = 0;
  bool feeding = true;
  bool signalled = options.signal_when_shown.empty();
  bool late = false;
  const auto deadline = Clock::now() + std::chrono::duration<double>(options.timeout_seconds);
  while (out.open || err.open) {
    pollfd waited[] = {{out.open ? out.fd : -1, POLLIN, 0},
                       {err.open ? err.fd : -1, POLLIN, 0},
                       {feeding ? pipes.in[1] : -1, POLLOUT, 0}};
    poll(waited, 3, 100);
    if (waited[0].revents != 0) Drain(&out);
    if (waited[1].revents != 0) Drain(&err);
    if (waited[2].revents != 0) feeding = Feed(pipes.in[1], options.input, &fed);
    if (!signalled && result.err.find(options.signal_when_shown) != std::string::npos) {
      signalled = true;
      kill(-child, SIGINT);
    }
    if (!late && Clock::now() > deadline) {
      late = true;
      kill(-child, SIGKILL);
    }
  }
  if (feeding) close(pipes.in[1]);
  close(out.fd);
  close(err.fd);
  int status = 0;
  waitpid(child, &status, 0);
  if (!late) result.exit_code = ExitCode(status);
  return result;
}

}  // namespace orx_test

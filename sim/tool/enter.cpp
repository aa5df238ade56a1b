// SPDX-License-Identifier: Apache-2.0
// The program orx-sim-enter, see enter.h.
#include "sim/tool/enter.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include "sim/tool/file_calls.h"

namespace orx_sim {
namespace {

int Number(const char* text) {
  return static_cast<int>(strtol(text, nullptr, 10));
}

// Sends this process's id, and a descriptor unless that is -1.
bool SendIds(int control, int descriptor) {
  const pid_t pid = getpid();
  iovec data = {const_cast<pid_t*>(&pid), sizeof(pid)};
  alignas(cmsghdr) char buffer[CMSG_SPACE(sizeof(descriptor))] = {};
  msghdr message{};
  message.msg_iov = &data;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = buffer;
    message.msg_controllen = sizeof(buffer);
    cmsghdr* const head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof(descriptor));
    memcpy(CMSG_DATA(head), &descriptor, sizeof(descriptor));
  }
  return sendmsg(control, &message, MSG_NOSIGNAL) == sizeof(pid);
}

// Tells orx-sim that the command is reached, and waits for its consent.
bool Report(int control, bool filter) {
  const int calls = filter ? FilterFileCalls() : -1;
  if (filter && calls < 0) {
    fprintf(stderr, "faults of file calls need seccomp_unotify(2): %s\n", strerror(errno));
    return false;
  }
  const bool sent = SendIds(control, calls);
  if (calls >= 0) close(calls);
  char byte;
  ssize_t got = -1;
  while (sent && (got = recv(control, &byte, sizeof(byte), 0)) < 0 && errno == EINTR) {
  }
  close(control);
  return got == 0;
}

void RestoreSignals(unsigned long ignored) {
  for (const int number : kEndingSignals) {
    signal(number, (ignored & (1UL << number)) != 0 ? SIG_IGN : SIG_DFL);
  }
}

// Until here standard error was orx-sim's, for what the sandbox has to say.
void RestoreError(int descriptor) {
  close(STDERR_FILENO);
  if (descriptor < 0) return;
  dup2(descriptor, STDERR_FILENO);
  close(descriptor);
}

// execvp() answers EACCES too when it may not look into a folder of PATH.
int WhyNotExecuted(const char* command, int reason) {
  if (reason != EACCES || strchr(command, '/') != nullptr) return reason;
  const char* path = getenv("PATH");
  while (path != nullptr && *path != '\0') {
    const size_t length = strcspn(path, ":");
    char file[4096];
    snprintf(file, sizeof(file), "%.*s/%s", static_cast<int>(length), path, command);
    if (access(file, F_OK) == 0) return reason;
    path += length + (path[length] == ':' ? 1 : 0);
  }
  return ENOENT;
}

int WaitFor(pid_t command) {
  int status = 0;
  while (waitpid(command, &status, 0) < 0 && errno == EINTR) {
  }
  return ExitCode(status);
}

int Main(int argc, char** argv) {
  if (argc <= kEnterCommand) {
    fputs("orx-sim-enter: orx-sim runs this\n", stderr);
    return kExitRunFailed;
  }
  const char* const flags = argv[kEnterFlags];
  const int control = Number(argv[kEnterControl]);
  const pid_t child = strchr(flags, kEnterWait) != nullptr ? fork() : 0;
  if (child < 0) return kExitRunFailed;
  if (child > 0) {
    close(control);
    return WaitFor(child);
  }
  RestoreSignals(strtoul(argv[kEnterIgnored], nullptr, 10));
  if (!Report(control, strchr(flags, kEnterFilter) != nullptr)) return kExitRunFailed;
  RestoreError(Number(argv[kEnterError]));
  char** const command = argv + kEnterCommand;
  execvp(command[0], command);
  const int reason = WhyNotExecuted(command[0], errno);
  fprintf(stderr, "orx-sim: %s: %s\n", command[0], strerror(reason));
  return reason == ENOENT ? kExitNotFound : kExitNotExecutable;
}

}  // namespace
}  // namespace orx_sim

int main(int argc, char** argv) {
  return orx_sim::Main(argc, argv);
}

// SPDX-License-Identifier: Apache-2.0
// orx-sim: makes simulated devices and runs programs inside them.
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>

#include "sim/base/device_folder.h"
#include "sim/base/settings.h"
#include "sim/tool/fault_list.h"
#include "sim/tool/launch.h"
#include "sim/tool/run.h"

namespace orx_sim {
namespace {

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr char kUsage[] =
    "usage: orx-sim COMMAND ...\n"
    "\n"
    "Makes simulated devices, with a KeyMint in software, and runs programs inside them.\n"
    "\n"
    "  new DIR [--profile NAME]       make a device\n"
    "  run [OPTION]... -- COMMAND...  run a command inside a device\n"
    "  faults                         list the ways in which a device can misbehave\n"
    "  set DIR NAME=VALUE...          change a device\n"
    "  info [DIR]                     show a device; inside a run, the one that runs\n"
    "  profiles                       list the profiles\n"
    "\n"
    "orx-sim COMMAND --help tells more. Exit codes: 0 done, 1 failed, 2 usage; for run see "
    "there.\n"
    "\n"
    "  orx-sim run -- orx doctor      tells whether everything works\n";

constexpr char kNewUsage[] =
    "usage: orx-sim new DIR [--profile NAME]\n"
    "\n"
    "Makes the folder DIR, a device of this profile (default: dual-sim). NAME with a slash in it "
    "is\n"
    "the path of a profile file. On failure no folder is left.\n";

constexpr char kRunUsage[] =
    "usage: orx-sim run [OPTION]... [--] COMMAND [ARGUMENT]...\n"
    "\n"
    "Runs a command inside a device: it sees the device's folders at /mnt/vendor/persist/security\n"
    "and /dev/socket and everything else as it is, and its process has the device's services and\n"
    "properties. Needs no root: bubblewrap places the folders, or proot where user namespaces are\n"
    "not allowed.\n"
    "\n"
    "      --device DIR      a device that orx-sim new made; without it the device is a new one,\n"
    "                        which is thrown away afterwards\n"
    "      --profile NAME    the profile of that new device (default: dual-sim)\n"
    "      --fault FAULT     let the device misbehave; may be repeated; orx-sim faults lists all\n"
    "      --replay DIR      let the device answer what another one did, by the evidence that\n"
    "                        orx check --evidence kept in DIR\n"
    "      --log             show the debug log and each call of the device's services; a command\n"
    "                        with a logger of its own, as orx is, shows the log itself (orx -v)\n"
    "      --log-on-failure  the same, but afterwards and only if the exit code is not 0\n"
    "  -q, --quiet           do not say that the device is simulated\n"
    "\n"
    "The exit code is the command's own, 128 and the number of the signal that ended it, 127 if "
    "it\n"
    "was not found, 126 if it cannot be executed, 125 if orx-sim itself failed or was called\n"
    "wrongly.\n";

constexpr char kFaultsUsage[] =
    "usage: orx-sim faults\n"
    "\n"
    "Lists the faults that orx-sim run --fault takes, each with what it does.\n";

constexpr char kSetUsage[] =
    "usage: orx-sim set DIR NAME=VALUE...\n"
    "\n"
    "Changes a device: all values or, if one is wrong, none. A name with a dot in it is a system\n"
    "property. The device's next start sees the change. Settings:\n";

constexpr char kInfoUsage[] =
    "usage: orx-sim info [DIR]\n"
    "\n"
    "Shows the settings and properties of a device; without DIR those of the device that runs the\n"
    "program.\n";

constexpr char kProfilesUsage[] =
    "usage: orx-sim profiles\n"
    "\n"
    "Lists the profiles, which are files of ORX_SIM_PROFILES if that is set.\n";

void PrintSettings() {
  for (const Setting& setting : Settings()) {
    printf("  %-26s %s: %s\n", setting.name, setting.form, setting.meaning);
  }
}

void PrintNothing() {}

int Fail(const std::string& reason) {
  fprintf(stderr, "orx-sim: %s\n", reason.c_str());
  return kExitFailed;
}

int Misuse(const std::string& reason, int exit_code = kExitUsage) {
  fprintf(stderr, "orx-sim: %s; --help tells more\n", reason.c_str());
  return exit_code;
}

enum Option {
  kHelp = 'h',
  kQuiet = 'q',
  kDevice = 256,
  kProfile,
  kFault,
  kReplay,
  kLog,
  kLogOnFailure
};

const option kNewOptions[] = {
    {"profile", required_argument, nullptr, kProfile}, {"help", no_argument, nullptr, kHelp}, {}};
const option kRunOptions[] = {{"device", required_argument, nullptr, kDevice},
                              {"profile", required_argument, nullptr, kProfile},
                              {"fault", required_argument, nullptr, kFault},
                              {"replay", required_argument, nullptr, kReplay},
                              {"log", no_argument, nullptr, kLog},
                              {"log-on-failure", no_argument, nullptr, kLogOnFailure},
                              {"quiet", no_argument, nullptr, kQuiet},
                              {"help", no_argument, nullptr, kHelp},
                              {}};
const option kPlainOptions[] = {{"help", no_argument, nullptr, kHelp}, {}};

// What a command line said. `profile` is empty if it was not given.
struct CommandLine {
  RunOptions run;
  std::string profile;
  std::vector<std::string> arguments;
};

int New(const CommandLine& line) {
  if (line.arguments.size() != 1) return Misuse("new needs one folder");
  std::string error;
  const std::string profile = line.profile.empty() ? line.run.profile : line.profile;
  if (DeviceFolder::Create(line.arguments[0], profile, &error) == nullptr) return Fail(error);
  return kExitDone;
}

int RunCommand(const CommandLine& line) {
  if (line.arguments.empty()) return Misuse("run needs a command", kExitRunFailed);
  if (!line.run.device.empty() && !line.profile.empty()) {
    return Misuse("--device has its profile already; leave out --profile", kExitRunFailed);
  }
  RunOptions options = line.run;
  if (!line.profile.empty()) options.profile = line.profile;
  options.command = line.arguments;
  return Run(options);
}

int Set(const CommandLine& line) {
  if (line.arguments.size() < 2) return Misuse("set needs a folder and NAME=VALUE");
  std::string error;
  const std::shared_ptr<DeviceFolder> folder = OpenFolder(line.arguments[0], &error);
  if (folder == nullptr) return Fail(error);
  const std::vector<std::string> assignments(line.arguments.begin() + 1, line.arguments.end());
  return folder->Set(assignments, &error) ? kExitDone : Fail(error);
}

int Info(const CommandLine& line) {
  const char* const running = getenv("ORX_SIM_DEVICE");
  std::vector<std::string> folders = line.arguments;
  if (folders.empty() && running != nullptr) folders.emplace_back(running);
  if (folders.size() != 1) return Misuse("info needs one folder");
  const std::string& path = folders[0];
  std::string error;
  const std::shared_ptr<DeviceFolder> folder = OpenFolder(path, &error);
  if (folder == nullptr) return Fail(error);
  printf("simulated device %s\n", folder->path().c_str());
  for (const Setting& setting : Settings()) {
    printf("  %-26s %s\n", setting.name, folder->Get(setting.name).c_str());
  }
  for (const Assignment& property : folder->properties()) {
    printf("  %-26s %s\n", property.name.c_str(), property.value.c_str());
  }
  return kExitDone;
}

int Profiles(const CommandLine& line) {
  if (!line.arguments.empty()) return Misuse("profiles takes no argument");
  const std::vector<std::string> names = ProfileNames();
  if (names.empty()) return Fail(ProfileFolder() + ": there are no profiles");
  for (const std::string& name : names) printf("%s\n", name.c_str());
  return kExitDone;
}

int Faults(const CommandLine& line) {
  if (!line.arguments.empty()) return Misuse("faults takes no argument");
  PrintFaults();
  return kExitDone;
}

struct Command {
  const char* name;
  const option* options;
  const char* usage;
  void (*more_usage)();
  int (*run)(const CommandLine& line);
  int misuse_code = kExitUsage;
};
constexpr Command kCommands[] = {
    {"new", kNewOptions, kNewUsage, PrintNothing, New},
    {"run", kRunOptions, kRunUsage, PrintNothing, RunCommand, kExitRunFailed},
    {"faults", kPlainOptions, kFaultsUsage, PrintNothing, Faults},
    {"set", kPlainOptions, kSetUsage, PrintSettings, Set},
    {"info", kPlainOptions, kInfoUsage, PrintNothing, Info},
    {"profiles", kPlainOptions, kProfilesUsage, PrintNothing, Profiles},
};

// Takes the options of a command apart. Returns an exit code to leave with, or -1.
int Parse(const Command& command, int argc, char** argv, CommandLine* line) {
  // A command's own options are not orx-sim's: those of run end where the command begins.
  const char* const letters = command.run == RunCommand ? "+hq" : "h";
  for (;;) {
    optarg = nullptr;
    int row = 0;
    const int option = getopt_long(argc, argv, letters, command.options, &row);
    const std::string value = optarg != nullptr ? optarg : "";
    if (optarg != nullptr && value.empty()) {
      return Misuse("--" + std::string(command.options[row].name) + " needs a value",
                    command.misuse_code);
    }
    switch (option) {
      case -1:
        line->arguments.assign(argv + optind, argv + argc);
        return -1;
      case kHelp:
        printf("%s", command.usage);
        command.more_usage();
        return kExitDone;
      case kQuiet:
        line->run.quiet = true;
        break;
      case kDevice:
        line->run.device = value;
        break;
      case kProfile:
        line->profile = value;
        break;
      case kFault:
        line->run.faults.push_back(value);
        break;
      case kReplay:
        line->run.replay = value;
        break;
      case kLog:
        line->run.log = ShowLog::kAlways;
        break;
      case kLogOnFailure:
        line->run.log = ShowLog::kOnFailure;
        break;
      default:
        return command.misuse_code;
    }
  }
}

int Main(int argc, char** argv) {
  if (argc < 2) {
    fputs(kUsage, stderr);
    return kExitUsage;
  }
  const std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    fputs(kUsage, stdout);
    return kExitDone;
  }
  for (const Command& command : kCommands) {
    if (name != command.name) continue;
    CommandLine line;
    static char program[] = "orx-sim";
    argv[1] = program;  // getopt_long() puts it before its complaints
    const int exit_code = Parse(command, argc - 1, argv + 1, &line);
    return exit_code >= 0 ? exit_code : command.run(line);
  }
  return Misuse("there is no command \"" + name + "\"");
}

}  // namespace
}  // namespace orx_sim

int main(int argc, char** argv) {
  return orx_sim::Main(argc, argv);
}

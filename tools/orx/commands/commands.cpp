// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/commands/commands.h"

#include "tools/orx/check/check_commands.h"
#include "tools/orx/commands/command_tables.h"
#include "tools/orx/doctor/doctor.h"

namespace orx_tool {
namespace {

std::vector<Command> Joined(std::initializer_list<std::vector<Command>> tables) {
  std::vector<Command> commands;
  for (const auto& table : tables) commands.insert(commands.end(), table.begin(), table.end());
  return commands;
}

std::vector<Command> AllCommands() {
  std::vector<Command> commands;
  for (const CommandGroup& group : CommandGroups()) {
    commands.insert(commands.end(), group.commands.begin(), group.commands.end());
  }
  return commands;
}

}  // namespace

const std::vector<CommandGroup>& CommandGroups() {
  static const auto& groups = *new std::vector<CommandGroup>{
      {"Keys in the secure hardware",
       Joined({KeyCommands(), KeyShowCommands(), CipherCommands(), RsaCommands()})},
      {"Digests, derived keys, random bytes", Joined({HashCommands(), DeriveCommands()})},
      {"Small secrets in files", StoreCommands()},
      {"What this device is", IdentityCommands()},
      {"Self-tests and attestation", Joined({CheckCommands(), ChainCommands()})},
      {"When something fails", Joined({DoctorCommands(), ExplainCommands()})},
  };
  return groups;
}

const std::vector<Command>& Commands() {
  static const auto& commands = *new std::vector<Command>(AllCommands());
  return commands;
}

}  // namespace orx_tool

// SPDX-License-Identifier: Apache-2.0
#include "sim/tool/fault_list.h"

#include <android-base/strings.h>
#include <stdio.h>

#include <string>

#include "sim/channel/faults.h"
#include "sim/modem/effect_form.h"
#include "sim/modem/modem.h"

namespace orx_sim {
namespace {

constexpr char kGrammar[] =
    "A fault is written WHERE:EFFECT[@N]. With @N only the N-th call or request there is "
    "affected,\n"
    "counted from 1, else each. Calls of services are counted in each process, requests to the\n"
    "modem and calls on files in the whole run.\n"
    "\n"
    "Examples: begin:-62@1  strongbox.generateKey:dead-object  modem:delay=2.5  write:ENOSPC@2\n"
    "\n"
    "[INSTANCE.][SERVICE.]METHOD:EFFECT\n"
    "  INSTANCE is default or strongbox, and what is left out may be any. SERVICE and METHOD:\n";

void PrintRow(const std::string& form, const std::string& meaning) {
  printf("  %-18s %s\n", form.c_str(), meaning.c_str());
}

void PrintMethods(const ServiceRow& row) {
  constexpr size_t kWidth = 96;
  std::string line;
  for (const std::string& method : row.methods) {
    if (line.size() + method.size() > kWidth) {
      printf("%s\n", line.c_str());
      line.clear();
    }
    if (line.empty()) line = "                    ";
    line += " " + method;
  }
  printf("%s\n", line.c_str());
}

void PrintCallEffects() {
  for (const ServiceRow& row : ServiceRows()) {
    printf("    %s\n", row.name);
    PrintMethods(row);
  }
  printf("  EFFECT, with the methods that can have it if not all can:\n");
  PrintRow("NUMBER", "this service-specific error code");
  for (const EffectRow& row : EffectRows()) {
    const std::string where =
        row.methods == std::string("*")
            ? ""
            : " (" + android::base::StringReplace(row.methods, " ", ", ", true) + ")";
    PrintRow(EffectForm(row.name, row.argument), row.meaning + where);
  }
}

}  // namespace

void PrintFaults() {
  fputs(kGrammar, stdout);
  PrintCallEffects();
  printf("\nservice:INSTANCE[.SERVICE]:absent\n  the services are not there\n\nmodem:EFFECT\n");
  for (const ModemEffectRow& row : ModemEffectRows()) {
    PrintRow(EffectForm(row.name, row.argument), row.meaning);
  }
  printf("\nCALL:ERROR, on the files of /mnt/vendor/persist/security\n");
  PrintRow("CALL", android::base::Join(FileCalls(), ", "));
  PrintRow("ERROR", "the name of an errno; EROFS, ENOSPC and EDQUOT leave alone what only reads");
  printf("\npersist:EFFECT, on that folder itself\n");
  PrintRow("missing", "it is not there");
  PrintRow("read-only", "nothing in it can be changed");
}

}  // namespace orx_sim

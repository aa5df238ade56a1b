// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/orx/cli/args.h"
#include "tools/orx/cli/output.h"

namespace orx_tool {

// The command table, in the order of the help.
const std::vector<Command>& Commands();

// keys.cpp
int RunKeyImport(const Args& args, Output& output);
int RunKeyDelete(const Args& args, Output& output);
int RunKeyList(const Args& args, Output& output);
// cipher.cpp
int RunEncrypt(const Args& args, Output& output);
int RunDecrypt(const Args& args, Output& output);
// rsa.cpp
int RunSign(const Args& args, Output& output);
int RunVerify(const Args& args, Output& output);
int RunRsaEncrypt(const Args& args, Output& output);
int RunRsaDecrypt(const Args& args, Output& output);
// hash.cpp
int RunHash(const Args& args, Output& output);
// derive.cpp
int RunKdf(const Args& args, Output& output);
int RunRandom(const Args& args, Output& output);
// store.cpp
int RunStorePut(const Args& args, Output& output);
int RunStoreGet(const Args& args, Output& output);
int RunStoreSize(const Args& args, Output& output);
int RunStoreRemove(const Args& args, Output& output);
// ids.cpp
int RunIds(const Args& args, Output& output);
int RunImei(const Args& args, Output& output);
int RunImei2(const Args& args, Output& output);
int RunMeid(const Args& args, Output& output);
int RunUid(const Args& args, Output& output);
int RunMode(const Args& args, Output& output);
int RunRecords(const Args& args, Output& output);
int RunModem(const Args& args, Output& output);
// chain.cpp
int RunChainShow(const Args& args, Output& output);
int RunAttestKey(const Args& args, Output& output);
// check_commands.cpp
int RunCheckAttestation(const Args& args, Output& output);
int RunCheckModel(const Args& args, Output& output);
int RunCheckRkpIds(const Args& args, Output& output);
int RunCheckRootOfTrust(const Args& args, Output& output);
int RunCheckSharedSecret(const Args& args, Output& output);
int RunCheckAll(const Args& args, Output& output);
// doctor.cpp
int RunDoctor(const Args& args, Output& output);
// explain.cpp
int RunExplain(const Args& args, Output& output);

}  // namespace orx_tool

// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/replay_lines.h"

#include <algorithm>
#include <iterator>

#include "tools/orx/check/attest_key.h"
#include "tools/orx/check/certificate.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/cli/encoding.h"

namespace orx_tool {
namespace {

// What makes a verdict again that no KeyMint error explains; % is the instance.
struct KnownLine {
  const char* code;
  const char* line;
};
constexpr KnownLine kKnownLines[] = {
    {"KM-SERVICE-MISSING", "fault service:%.keymint:absent"},
    {"RKP-SERVICE-MISSING", "fault service:%.rkp:absent"},
    {"ESE-STRONGBOX-MISSING", "fault service:strongbox.keymint:absent"},
    {"ESE-VERSION", "fault strongbox.getInterfaceVersion:version=1"},
    {"KM-CHAIN-MISSING", "fault %.generateKey:no-chain"},
    {"RKP-PUBLIC-KEY", "fault %.generateEcdsaP256KeyPair:damaged"},
    {"SS-DIFFERENT", "fault strongbox.computeSharedSecret:damaged"},
    {"MODEM-UNREACHABLE", "no-modem"},
    {"MODEM-SILENT", "fault modem:silent"},
    {"MODEM-EXCHANGE", "fault modem:close"},
};

// The calls by the library's step before them.
struct KnownCall {
  const char* step;
  const char* method;
};
constexpr KnownCall kKnownCalls[] = {{"KM: GenerateKey", "generateKey"},
                                     {"KM: ImportKey", "importKey"},
                                     {"KM: Begin", "begin"},
                                     {"KM: Finish", "finish"},
                                     {"KM: DeleteKey", "deleteKey"}};

std::string InstanceName(const std::string& instance) {
  return instance == "both" ? "default" : instance;
}

// Method is "default.getRootOfTrust" of "default getRootOfTrust".
std::string Method(const std::string& call) {
  const size_t blank = call.find(' ');
  return call.substr(0, blank) + "." + call.substr(blank + 1);
}

std::string Effect(const std::string& code, int error) {
  if (code == "KM-EMPTY-BLOB") return "empty-blob";
  if (code == "KM-DEVICE-NONCE") return "params";
  if (code == "KM-TRANSPORT") return "dead-object";
  return error == 0 ? "damaged" : std::to_string(error);
}

size_t ChainSize(const Check& check) {
  return check.on_strongbox() && !StrongBoxHasFactoryKeys() ? 1 : 4;
}

bool IsStrict(const Check& check) {
  return !check.relaxed && ChainSize(check) == 4;
}

// Writer collects the lines of one check.
class Writer {
 public:
  Writer(const Check& check, const CheckResult& result)
      : check_(check), result_(result), seen_(*result.seen), on_(InstanceName(check.instance)) {}

  // Each way to the verdict in turn; the first that applies is the one.
  std::vector<std::string> Lines(const std::string& chain, const std::string& leaf) {
    const bool applies = result_.verdict != Verdict::kPass && result_.code != "STRONGBOX-ABSENT" &&
                         result_.code != "INTERRUPTED";
    if (!applies) return lines_;
    static_cast<void>(Refusals() || Known() || Modem() || Identifiers() || Chain(chain, leaf) ||
                      FailedCall() || Step() || LeftOut("nothing captured makes it again"));
    return lines_;
  }

 private:
  bool Add(const std::string& line) {
    lines_.push_back(line);
    return true;
  }
  bool Fault(const std::string& method, const std::string& effect) {
    return Add("fault " + method + ":" + effect);
  }
  bool LeftOut(const std::string& why) {
    return Add("left-out " + check_.full_name() + " " + result_.code + ": " + why);
  }

  bool Refusals() {
    if (result_.code == "KM-SERVICE-MISSING") return false;
    for (const Refusal& refusal : seen_.refusals) {
      if (refusal.optional) continue;
      Fault(on_ + "." + refusal.call,
            Effect(result_.code, refusal.error) + "@" + std::to_string(refusal.number));
    }
    return !lines_.empty();
  }

  bool Known() {
    for (const KnownLine& known : kKnownLines) {
      if (result_.code != known.code) continue;
      std::string line = known.line;
      const size_t at = line.find('%');
      return Add(at == std::string::npos ? line : line.replace(at, 1, on_));
    }
    return false;
  }

  bool Modem() {
    if (result_.code.rfind("IMEI-", 0) != 0 && result_.code.rfind("MEID-", 0) != 0) return false;
    for (const ModemExchange& exchange : seen_.modem) {
      const auto* bytes = reinterpret_cast<const uint8_t*>(exchange.answer.data());
      Add("modem " + exchange.command + " " + ToHex(bytes, exchange.answer.size()));
    }
    return !lines_.empty();
  }

  bool Identifiers() {
    if (result_.code != "ATTEST-DEVICE-ID") return false;
    for (const auto& captured : seen_.capture.identifiers) {
      if (captured.key.error == 0) continue;
      const Identifier identifier = IdentifiersIn(captured.bit)[0];
      Add("refuse " + on_ + " " + std::to_string(static_cast<int>(identifier.tag) & 0xffff) + " " +
          std::to_string(captured.key.error));
    }
    return !lines_.empty() || LeftOut("it passed when it was done again");
  }

  bool Chain(const std::string& chain, const std::string& leaf) {
    if (result_.code.rfind("ATTEST-", 0) != 0 || seen_.capture.attestation_key.chain.empty()) {
      return false;
    }
    const auto& captured = seen_.capture.attestation_key.chain;
    if (FirstChainFault(captured, {ChainSize(check_)}, IsStrict(check_))) {
      return Add("chain " + on_ + " " + chain);
    }
    const Capture::Identifier* refused = RefusedLeaf(check_, seen_.capture);
    if (refused == nullptr) return LeftOut("it passed when it was done again");
    if (leaf.empty()) return LeftOut("the certificate names an identifier; keep it by --show-ids");
    const int tag = static_cast<int>(IdentifiersIn(refused->bit)[0].tag) & 0xffff;
    return Add("chain " + on_ + " " + chain) &&
           Add("leaf " + on_ + " " + std::to_string(tag) + " " + leaf);
  }

  // The call that failed when the tool repeated it, or that failed in the check alone.
  bool FailedCall() {
    const RepeatedCall& call = seen_.look.call;
    if (call.name.empty()) return false;
    if (call.failed()) {
      return Fault(Method(call.name), call.answered ? Effect("", call.error) : "dead-object");
    }
    if (result_.code == "KM-EMPTY-BLOB") return Fault(Method(call.name), "empty-blob");
    return result_.code == "KM-UNKNOWN-ERROR" && Fault(Method(call.name), "-1000@1");
  }

  // A check that did not end waited for its last step.
  bool Step() {
    if (result_.code != "TIMED-OUT" || seen_.lines.empty()) return false;
    for (const KnownCall& known : kKnownCalls) {
      if (seen_.lines.back().message != known.step) continue;
      return Fault(on_ + "." + known.method, "delay=3600");
    }
    return false;
  }

  const Check& check_;
  const CheckResult& result_;
  const Seen& seen_;
  const std::string on_;
  std::vector<std::string> lines_;
};

}  // namespace

const Capture::Identifier* RefusedLeaf(const Check& check, const Capture& capture) {
  for (const auto& captured : capture.identifiers) {
    CertificateChain chain = captured.key.chain;
    const CertificateChain& rest = capture.attestation_key.chain;
    chain.insert(chain.end(), rest.begin(), rest.end());
    if (captured.key.error == 0 &&
        FirstChainFault(chain, {ChainSize(check) + 1}, IsStrict(check))) {
      return &captured;
    }
  }
  return nullptr;
}

std::vector<std::string> ReplayLines(const Check& check, const CheckResult& result,
                                     const std::string& chain, const std::string& leaf) {
  if (result.seen == nullptr) return {};
  return Writer(check, result).Lines(chain, leaf);
}

}  // namespace orx_tool

// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/evidence/replay_lines.h"

#include <aidl/android/hardware/security/keymint/ErrorCode.h>
#include <aidl/android/hardware/security/keymint/Tag.h>

#include <algorithm>
#include <iterator>

#include "tools/orx/chain/attest_key.h"
#include "tools/orx/chain/certificate.h"
#include "tools/orx/check/identifiers.h"
#include "tools/orx/cli/encoding.h"

namespace orx_tool {
namespace {

using aidl::android::hardware::security::keymint::ErrorCode;
using aidl::android::hardware::security::keymint::Tag;

// What makes a verdict again that no KeyMint error explains; % is the instance.
struct CodeLine {
  const char* code;
  const char* line;
};
constexpr CodeLine kCodeLines[] = {
    {"KM-SERVICE-MISSING", "fault service:%.keymint:absent"},
    {"RKP-SERVICE-MISSING", "fault service:%.rkp:absent"},
    {"STRONGBOX-ABSENT", "absent strongbox"},
    {"RKP-ABSENT", "absent %.rkp"},
    {"ESE-STRONGBOX-MISSING", "fault service:strongbox.keymint:absent"},
    {"ESE-VERSION", "fault strongbox.getInterfaceVersion:version=1"},
    {"KM-CHAIN-MISSING", "fault %.generateKey:no-chain"},
    {"RKP-PUBLIC-KEY", "fault %.generateEcdsaP256KeyPair:damaged"},
    {"SS-DIFFERENT", "fault strongbox.computeSharedSecret:damaged"},
    {"MODEM-UNREACHABLE", "no-modem"},
    {"MODEM-SILENT", "fault modem:silent"},
    {"MODEM-EXCHANGE", "fault modem:close"},
};

// The codes that a failed call explains begin so.
constexpr const char* kDeviceCodes[] = {"KM-", "ATTEST-", "RKP-", "ESE-", "SS-"};

// The same where the call passed when it was made again.
constexpr CodeLine kOnceLines[] = {
    {"KM-UNKNOWN-ERROR", "fault %.generateKey:-1000@1"},
    {"KM-EMPTY-BLOB", "fault %.generateKey:empty-blob"},
    {"RKP-KEYPAIR", "fault %.generateEcdsaP256KeyPair:-1000@1"},
    {"ESE-CHALLENGE", "fault strongbox.getRootOfTrustChallenge:-1000@1"},
    {"ESE-ROOT-OF-TRUST", "fault default.getRootOfTrust:-1000@1"},
    {"ESE-NOT-BOUND", "fault strongbox.sendRootOfTrust:-1000@1"},
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
    const bool applies = result_.verdict != Verdict::kPass &&
                         result_.verdict != Verdict::kInterrupted &&
                         result_.code != "RKP-LEFT-OUT" && result_.code != "ATTEST-ID-NOT-COVERED";
    if (!applies) return lines_;
    static_cast<void>(Known(kCodeLines) || Refusals() || Modem() || Identifiers() ||
                      Chain(chain, leaf) || FailedCall() || Known(kOnceLines) || Step() ||
                      LeftOut("nothing captured makes it again"));
    Absences();
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

  bool Refuse(Tag tag, int error) {
    return Add("refuse " + on_ + " " + std::to_string(static_cast<int>(tag) & 0xffff) + " " +
               std::to_string(error));
  }

  bool Refusals() {
    for (const Refusal& refusal : seen_.refusals) {
      if (refusal.optional) continue;
      Fault(on_ + "." + refusal.call,
            Effect(result_.code, refusal.error) + "@" + std::to_string(refusal.number));
    }
    return !lines_.empty();
  }

  template <size_t size>
  bool Known(const CodeLine (&lines)[size]) {
    for (const CodeLine& known : lines) {
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
    for (const Identifier& identifier : IdentifiersIn(seen_.look.wrong_identifiers)) {
      // What the self-test of remotely provisioned keys was answered is not to be had.
      int error = static_cast<int>(ErrorCode::CANNOT_ATTEST_IDS);
      for (const auto& captured : seen_.capture.identifiers) {
        if (captured.bit == identifier.bit && captured.key.error != 0) error = captured.key.error;
      }
      Refuse(identifier.tag, error);
    }
    return !lines_.empty() || LeftOut(seen_.look.call.passed() ? "it passed when it was done again"
                                                               : "it could not be done again");
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

  // The call that failed when the tool repeated it.
  bool FailedCall() {
    const RepeatedCall& call = seen_.look.call;
    const bool of_device =
        std::any_of(std::begin(kDeviceCodes), std::end(kDeviceCodes),
                    [this](const char* begin) { return result_.code.rfind(begin, 0) == 0; });
    if (!of_device || !call.failed()) return false;
    const std::string method = Method(call.name);
    if (!call.answered) return Fault(method, "dead-object");
    // A KeyMint without factory keys still makes keys that other keys attest.
    const bool attests = method == on_ + ".generateKey" &&
                         (check_.kind == Check::Kind::kRkpIds || ChainSize(check_) == 4);
    return attests ? Refuse(Tag::ATTESTATION_CHALLENGE, call.error)
                   : Fault(method, std::to_string(call.error));
  }

  // What the device does not have decides between a failure and N/A.
  void Absences() {
    if (!seen_.look.strongbox_declared) Add("absent strongbox");
    if (!seen_.look.rkp_declared) {
      Add("absent " + on_ + ".rkp");
    } else if (result_.code == "KM-KEYS-NOT-PROVISIONED") {
      Fault("service:" + on_ + ".rkp", "absent");
    }
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

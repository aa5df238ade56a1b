// SPDX-License-Identifier: Apache-2.0
// Files of certificates and the attestation records in them, as the tool shows them.
#include "tests/fuzz/fuzz.h"
#include "tools/orx/chain/attestation_record.h"
#include "tools/orx/chain/certificate.h"

namespace {

using orx_fuzz::FileOf;

void CheckRecord(const std::vector<uint8_t>& der) {
  const orx_tool::Record record = orx_tool::DecodeKeyDescription(der.data(), der.size());
  std::vector<std::string> lines;
  orx_tool::AppendRecordLines(record, 2, &lines);
  ORX_FUZZ_CHECK(record.empty() == lines.empty());
  ORX_FUZZ_CHECK(!orx_tool::RecordJson(record).toStyledString().empty());
}

void CheckCertificates(const std::vector<uint8_t>& bytes) {
  std::optional<orx_tool::Problem> problem;
  const auto file = orx_tool::ReadCertificates(FileOf(bytes.data(), bytes.size()), &problem);
  ORX_FUZZ_CHECK(file.has_value() == !problem.has_value());
  if (!file) return;
  for (const auto& der : file->chain) {
    const auto certificate = orx_common::ParseCertificate(der);
    ORX_FUZZ_CHECK(certificate != nullptr);
    ORX_FUZZ_CHECK(!orx_tool::CertificateLines(certificate.get()).empty());
  }
  orx_tool::ChainAdvice(file->chain);
  const std::string pem = orx_tool::WritePem(file->chain);
  const auto again = orx_tool::ReadCertificates(FileOf(pem.data(), pem.size()), &problem);
  ORX_FUZZ_CHECK(again && again->damage.empty() && again->chain == file->chain);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  switch (in.Byte() % 3) {
    case 0:
      CheckRecord(in.Rest());
      break;
    case 1:
      CheckCertificates(in.Rest());
      break;
    default:
      const std::string subject = in.Text();
      orx_tool::RootFinding(subject, in.Text());
      ORX_FUZZ_CHECK(!orx_tool::ChainAdvice({in.Rest()}).empty());
  }
  return 0;
}

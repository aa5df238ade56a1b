// SPDX-License-Identifier: Apache-2.0
// Certificate chains: made of the names, keys and signers that the input chooses, or its own bytes.
#include "src/keymint/ORX_ATTEST.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/certificate_builder.h"

namespace {

namespace legacy = android::hardware::keymint::ORX::legacy;
using orx_test::EcKey;

orx_test::Name ChooseName(uint8_t choice) {
  if (choice % 4 == 0) return orx_test::kKeyName;
  if (choice % 4 == 1) return orx_test::kRootName;
  return {{"CN", std::string(1 + choice / 4, 'x')}};
}

std::vector<uint8_t> MakeOne(orx_fuzz::Input* in) {
  if (in->Byte() % 4 == 0) return in->Piece();
  const orx_test::Name subject = ChooseName(in->Byte());
  const orx_test::Name issuer = ChooseName(in->Byte());
  EVP_PKEY* const key = EcKey(in->Byte() % 4);
  std::vector<uint8_t> der =
      orx_test::MakeCertificate({subject, issuer, key, EcKey(in->Byte() % 4)});
  const size_t place = in->Byte() << 8 | in->Byte();
  if (place < der.size()) der[place] = in->Byte();
  return der;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  const unsigned expected_size = in.Byte() % 6;
  orx_test::Chain chain(in.Byte() % 6);
  for (auto& certificate : chain) certificate.encodedCertificate = MakeOne(&in);

  const bool strict = legacy::verify_chain(chain, expected_size, true);
  const bool relaxed = legacy::verify_chain(chain, expected_size, false);
  ORX_FUZZ_CHECK(relaxed || !strict);
  ORX_FUZZ_CHECK(chain.size() == expected_size || !relaxed);

  const std::string text = in.Text();
  const std::vector<uint8_t> name = legacy::make_name_from_str(text);
  const uint8_t* cursor = name.data();
  const bssl::UniquePtr<X509_NAME> parsed(
      d2i_X509_NAME(nullptr, &cursor, static_cast<long>(name.size())));
  ORX_FUZZ_CHECK(name.empty() || X509_NAME_entry_count(parsed.get()) == 1);
  if (parsed) ORX_FUZZ_CHECK(legacy::x509NameToStr(parsed.get()).rfind("/CN=", 0) == 0);
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
// The CBOR stand-in: what it reads it writes, and reads again as the same.
#include <cppbor.h>
#include <cppbor_parse.h>

#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [item, end, reason] = cppbor::parse(data, size);
  ORX_FUZZ_CHECK((item == nullptr) == !reason.empty());
  ORX_FUZZ_CHECK(end >= data && end <= data + size);
  if (item == nullptr) return 0;
  const std::vector<uint8_t> written = item->encode();
  const auto [again, behind, message] = cppbor::parse(written);
  ORX_FUZZ_CHECK(again != nullptr && behind == written.data() + written.size());
  ORX_FUZZ_CHECK(*again == *item && again->encode() == written);
  return 0;
}

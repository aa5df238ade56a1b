// SPDX-License-Identifier: Apache-2.0
// AuthorizationSet against a model: a std::set says what the sorted sets contain.
#include <keymint/authorization_set.h>

#include <set>

#include "tests/fuzz/fuzz.h"

namespace {

namespace orx = android::hardware::keymint::ORX;
namespace km = orx::km;
using Value = km::KeyParameterValue;
using List = std::vector<km::KeyParameter>;

constexpr km::Tag kTags[] = {km::Tag::INVALID, km::Tag::PURPOSE, km::Tag::KEY_SIZE, km::Tag::NONCE,
                             km::Tag::NO_AUTH_REQUIRED};

List Read(orx_fuzz::Input* in) {
  List list(in->Byte() % 16);
  for (km::KeyParameter& parameter : list) {
    const uint8_t choice = in->Byte();
    parameter.tag = kTags[choice % 5];
    const uint8_t kind = choice / 5 % 3;
    if (kind == 1) parameter.value = Value::make<Value::integer>(choice / 15);
    if (kind == 2) parameter.value = Value::make<Value::blob>(List().size() + choice / 64, 'x');
  }
  return list;
}

// The last element stays even where it is INVALID.
List Deduplicated(const List& list) {
  const std::set<km::KeyParameter> all(list.begin(), list.end());
  List kept;
  for (const km::KeyParameter& parameter : all) {
    if (parameter.tag != km::Tag::INVALID || parameter == *all.rbegin()) kept.push_back(parameter);
  }
  return kept;
}

void CheckLookUps(const orx::AuthorizationSet& set, int index) {
  const List& list = set.vector_data();
  const auto size = static_cast<int>(list.size());
  for (const km::Tag tag : kTags) {
    int first = index + 1;
    while (first < size && list[static_cast<size_t>(first)].tag != tag) ++first;
    ORX_FUZZ_CHECK(set.find(tag, index) == (first < size ? first : -1));
    const auto is_tag = [tag](const auto& parameter) { return parameter.tag == tag; };
    ORX_FUZZ_CHECK(set.GetTagCount(tag) ==
                   static_cast<size_t>(std::count_if(list.begin(), list.end(), is_tag)));
    ORX_FUZZ_CHECK(set.GetEntry(tag).has_value() == (set.find(tag) >= 0));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orx_fuzz::Input in(data, size);
  const List left = Read(&in);
  const List right = Read(&in);
  orx::AuthorizationSet set(left);
  const orx::AuthorizationSet other(right);
  CheckLookUps(set, static_cast<int>(in.Byte() % (left.size() + 1)) - 1);

  List model = left;
  set.Sort();
  std::sort(model.begin(), model.end());
  ORX_FUZZ_CHECK(set.vector_data() == model);

  orx::AuthorizationSet difference(left);
  difference.Subtract(other);
  List rest = Deduplicated(left);
  for (const km::KeyParameter& parameter : right) {
    const auto found = std::find(rest.begin(), rest.end(), parameter);
    if (found != rest.end()) rest.erase(found);
  }
  ORX_FUZZ_CHECK(difference.vector_data() == rest);

  set.Union(other);
  model.insert(model.end(), right.begin(), right.end());
  model = Deduplicated(model);
  ORX_FUZZ_CHECK(set.vector_data() == model);

  const size_t index = in.Byte() % (model.size() + 1);
  const bool inside = index < model.size();
  if (inside) model.erase(model.begin() + static_cast<ptrdiff_t>(index));
  ORX_FUZZ_CHECK(set.erase(static_cast<int>(index)) == inside);
  ORX_FUZZ_CHECK(set.vector_data() == model);
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
#include "tools/orx/check/identifiers.h"

#include <algorithm>

namespace orx_tool {
namespace {

using aidl::android::hardware::security::keymint::Tag;

constexpr Identifier kIdentifiers[] = {{"brand", 0x1, Tag::ATTESTATION_ID_BRAND},
                                       {"device", 0x2, Tag::ATTESTATION_ID_DEVICE},
                                       {"product", 0x4, Tag::ATTESTATION_ID_PRODUCT},
                                       {"serial", 0x8, Tag::ATTESTATION_ID_SERIAL},
                                       {"manufacturer", 0x10, Tag::ATTESTATION_ID_MANUFACTURER},
                                       {"model", 0x20, Tag::ATTESTATION_ID_MODEL},
                                       {"imei", 0x40, Tag::ATTESTATION_ID_IMEI},
                                       {"imei2", 0x80, Tag::ATTESTATION_ID_SECOND_IMEI},
                                       {"meid", 0x100, Tag::ATTESTATION_ID_MEID}};

bool AddIdentifier(const std::string& name, std::vector<Identifier>* identifiers) {
  for (const Identifier& known : kIdentifiers) {
    if (name != known.name) continue;
    identifiers->push_back(known);
    return true;
  }
  return false;
}

}  // namespace

std::string ParseIdentifiers(const std::string& list, std::vector<Identifier>* identifiers) {
  if (list == "none") return "";
  if (list == "all") {
    identifiers->assign(std::begin(kIdentifiers), std::end(kIdentifiers));
    return "";
  }
  for (size_t begin = 0; begin <= list.size();) {
    const size_t end = std::min(list.find(',', begin), list.size());
    const std::string name = list.substr(begin, end - begin);
    if (!AddIdentifier(name, identifiers)) {
      return "'" + name + "' in --ids is none of brand, device, product, serial, manufacturer, " +
             "model, imei, imei2, meid, all, none";
    }
    begin = end + 1;
  }
  return "";
}

uint32_t IdentifierMask(const std::vector<Identifier>& identifiers) {
  uint32_t mask = 0;
  for (const Identifier& identifier : identifiers) mask |= identifier.bit;
  return mask;
}

std::vector<Identifier> IdentifiersIn(uint32_t mask) {
  std::vector<Identifier> identifiers;
  for (const Identifier& known : kIdentifiers) {
    if ((mask & known.bit) != 0) identifiers.push_back(known);
  }
  return identifiers;
}

uint32_t AttestedIdentifiers(const std::vector<LogLine>& lines, std::string* last) {
  uint32_t mask = 0;
  for (const LogLine& line : lines) {
    for (const Identifier& known : kIdentifiers) {
      const std::string begin =
          "alidate key with auth tag-KeyParameter{tag: " + toString(known.tag) + ",";
      if (line.message.find(begin) == std::string::npos) continue;
      mask |= known.bit;
      *last = known.name;
    }
  }
  return mask;
}

std::string JoinedNames(const std::vector<Identifier>& identifiers) {
  std::string names;
  for (const Identifier& identifier : identifiers) {
    names += (names.empty() ? "" : ", ") + std::string(identifier.name);
  }
  return names;
}

}  // namespace orx_tool

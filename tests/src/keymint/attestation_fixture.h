// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <keymint/authorization_set.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/certificate_builder.h"
#include "tests/support/device_properties.h"
#include "tests/support/log_capture.h"
#include "tests/support/mock_keymint.h"
#include "tests/support/scripted_modem.h"

namespace orx_test {

namespace orx = ::android::hardware::keymint::ORX;

// AttestationFixture is a device with every identifier (brand "B1", ..., IMEI "490154203237518")
// and two KeyMint instances. Each generateKey() is recorded and answered with `key_chain`, or with
// `attested_chain` if it came with an attestation key; that of number `failing_call` fails.
class AttestationFixture : public ::testing::Test, protected DeviceProperties {
 protected:
  struct Request {
    const MockKeyMintDevice* device;
    std::vector<km::KeyParameter> params;
    std::optional<km::AttestationKey> attest_key;

    bool operator==(const Request& other) const {
      return device == other.device && params == other.params && attest_key == other.attest_key;
    }
  };

  AttestationFixture() {
    Set({{"ro.product.first_api_level", "33"},
         {"ro.product.brand", "B1"},
         {"ro.product.device", "D1"},
         {"ro.product.name", "P1"},
         {"ro.vendor.boot.serialno", "S1"},
         {"ro.product.manufacturer", "F1"},
         {"ro.product.model", "M1"}});
    for (const MockKeyMint* instance : {&tee, &strongbox}) {
      const MockKeyMintDevice* device = instance->device.get();
      ON_CALL(*instance->device, generateKey)
          .WillByDefault([this, device](const auto& params, const auto& attest_key,
                                        km::KeyCreationResult* result) {
            requests.push_back({device, params, attest_key});
            if (static_cast<int>(requests.size()) - 1 == failing_call) {
              return ::ndk::ScopedAStatus::fromServiceSpecificError(failure);
            }
            *result = MockKeyMintDevice::Created("blob");
            result->certificateChain = attest_key ? attested_chain : key_chain;
            return ::ndk::ScopedAStatus::ok();
          });
    }
  }

  static km::KeyParameter Id(km::Tag tag, const std::string& value) {
    return {tag,
            km::KeyParameterValue::make<km::KeyParameterValue::blob>(value.begin(), value.end())};
  }

  // What a key with that identifier is generated from; without one, a key to be refused.
  static std::vector<km::KeyParameter> SigningKeyParams(
      const std::optional<km::KeyParameter>& identifier) {
    orx::AuthorizationSetBuilder params;
    params.EcdsaSigningKey(km::EcCurve::P_256)
        .Authorization(orx::TAG_NO_AUTH_REQUIRED)
        .Authorization(orx::TAG_ATTESTATION_CHALLENGE, "challenge")
        .Authorization(orx::TAG_ATTESTATION_APPLICATION_ID, "foo")
        .SetDefaultValidity();
    if (identifier) params.push_back(*identifier);
    return params.vector_data();
  }

  // What a mask of all bits selects.
  const std::vector<km::Tag> kAllIds = {
      km::Tag::ATTESTATION_ID_BRAND,        km::Tag::ATTESTATION_ID_DEVICE,
      km::Tag::ATTESTATION_ID_PRODUCT,      km::Tag::ATTESTATION_ID_SERIAL,
      km::Tag::ATTESTATION_ID_MANUFACTURER, km::Tag::ATTESTATION_ID_MODEL,
      km::Tag::ATTESTATION_ID_IMEI};

  // The tags of the identifiers that keys were generated with, in order.
  std::vector<km::Tag> RequestedIds() const {
    std::vector<km::Tag> tags;
    for (const Request& request : requests) {
      if (request.attest_key) tags.push_back(request.params.back().tag);
    }
    return tags;
  }

  MockKeyMint tee{"default"};
  MockKeyMint strongbox{"strongbox"};
  ScriptedModem modem{ScriptedModem::ByCommand(
      {{"TCATSEND,0,AT+CGSN", "490154203237518"}, {"TCATSEND,0,AT^MEID", "99000012345678"}})};
  Chain key_chain;
  Chain attested_chain = MakeChain({{kKeyName, kKeyName, EcKey(8), EcKey(0)}});
  int failing_call = -1;
  int32_t failure = static_cast<int32_t>(km::ErrorCode::CANNOT_ATTEST_IDS);
  std::vector<Request> requests;
  LogCapture log;
};

}  // namespace orx_test

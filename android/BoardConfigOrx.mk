# SPDX-License-Identifier: Apache-2.0
# For BoardConfig.mk: include FOLDER/android/BoardConfigOrx.mk
#
# Set one of these to true before, where the device's own policy already labels the thing:
#   ORX_STRONGBOX_LABELLED     the services of the StrongBox HAL
#   ORX_MODEM_SOCKET_LABELLED  the socket rild-oem; then android/sepolicy/modem says what to provide
orx_directory := $(patsubst %/android/BoardConfigOrx.mk,%,$(lastword $(MAKEFILE_LIST)))

# Log lines name sources by their path from here.
$(call soong_config_set,orx,directory,$(orx_directory))

BOARD_VENDOR_SEPOLICY_DIRS += $(orx_directory)/android/sepolicy
ifneq ($(ORX_STRONGBOX_LABELLED),true)
  BOARD_VENDOR_SEPOLICY_DIRS += $(orx_directory)/android/sepolicy/strongbox
endif
ifneq ($(ORX_MODEM_SOCKET_LABELLED),true)
  BOARD_VENDOR_SEPOLICY_DIRS += $(orx_directory)/android/sepolicy/modem
endif

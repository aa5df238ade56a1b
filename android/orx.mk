# SPDX-License-Identifier: Apache-2.0
# For the product's makefile: $(call inherit-product, FOLDER/android/orx.mk)
PRODUCT_PACKAGES += liborx orx

# A board without identity: no product properties, no serial number, no modem, no StrongBox, no
# attestation keys.
strongbox = no
attestation = none
id-attestation = no
modem = no

[build.prop]
ro.product.first_api_level=34

# A phone with one SIM slot and a MEID that first shipped with Android 13. Its StrongBox was given
# attestation keys in the factory.
strongbox = yes
attestation = factory
strongbox-attestation = factory
imei = 356938035643809
meid = 35693803564380

[build.prop]
ro.product.first_api_level=33
ro.product.brand=orx
ro.product.device=simulated
ro.product.manufacturer=orx
ro.product.model=Simulated Single
ro.product.name=simulated_single
ro.boot.factorysbprov=true
ro.vendor.boot.serialno=SIM0000000000002
ro.vendor.boot.uid=fedcba9876543210
ro.vendor.boot.secure_hardware=1

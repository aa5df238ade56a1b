# The phone of dual-sim as it is sold: neither instance has factory attestation keys any more.
strongbox = yes
attestation = remote
strongbox-attestation = remote
imei = 490154203237518
second-imei = 490154203237526

[build.prop]
ro.product.first_api_level=34
ro.product.vendor.brand=orx
ro.product.vendor.device=simulated
ro.product.vendor.manufacturer=orx
ro.product.vendor.model=Simulated Dual
ro.product.vendor.name=simulated_dual
ro.vendor.boot.serialno=SIM0000000000001
ro.vendor.boot.uid=0123456789abcdef
ro.vendor.boot.secure_hardware=1
ro.vendor.hw.dualsim=true

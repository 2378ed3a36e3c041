# Removing keys, creating and removing directories.
$ env rm device.env /network/Dhcp
$ env ls device.env network
$ env rm device.env /network/Dhcp
$ env rm device.env /network/
$ env mkdir device.env /service/remote/vpn
$ env mkdir device.env /service/remote
$ env ls device.env service
$ env rmdir device.env /motor
$ env ls device.env
$ env rmdir device.env /motor
$ env rmdir device.env /
copy device.env device-before.env
$ env rm device.env /motor/MaxSpeed
= device.env device-before.env
$ env mkdir new.env /a/b
$ env mkdir new.env /a/b --create
$ env show new.env

# Setting every type: the value reads back, integers keep the radix they are given in, a key may
# change its type, missing directories are created, and the file keeps its form.
$ env set device.env /motor/MaxSpeed 1900 --type int
$ env get device.env /motor/MaxSpeed
$ env set device.env /motor/FaultMask 0x1f --type int
$ env get device.env /motor/FaultMask
$ env set device.env /motor/FaultMask -0b11 -t int
$ env get device.env /motor/FaultMask --json
? radix
? value
$ env set device.env /display/AccessMode 0o750 --type int
$ env get device.env /display/AccessMode
$ env set device.env /motor/Gain 0.5 --type real
$ env get device.env /motor/Gain
$ env set device.env /motor/Gain 1e20 --type real
$ env get device.env /motor/Gain
$ env set device.env /network/Dhcp yes --type bool
$ env get device.env /network/Dhcp
$ env set device.env /display/Title "Line 3 - night shift" --type string
$ env get device.env /display/Title
$ env set device.env /network/MacAddress 00:1b:3c:4d:5e:70 --type data
$ env get device.env /network/MacAddress
$ env set device.env /motor/MinSpeed "slow start" --type string
$ env get device.env /motor/MinSpeed
$ env set device.env service/remote/Port 5021 --type int
$ env show device.env service
$ env set device.envb /motor/MaxSpeed 1700 --type int
$ env get device.envb /motor/MaxSpeed
$~ header show device.envb --json
? type
$ env show device.env motor
# a key that the library refuses leaves the file as it was
copy device.envb before.envb
$ env set device.envb /motor/n-1 5 --type int
$ env set device.envb /motor/Empty "" --type data
$ env set device.envb /motor/ 5 --type int
= device.envb before.envb
$ env set device.env /display/Title "" --type string
$ env get device.env /display/Title --json
? value
$ env set new.env /a/X 1 --type int
$ env set new.env /a/X 1 --type int --create
$ env show new.env
# through a symbolic link the file it leads to changes, and the link stays
link device.env linked.env
$ env set linked.env /motor/MaxSpeed 1750 --type int
$ env get device.env /motor/MaxSpeed
$ env set linked.env /motor/MinSpeed 100 --type int
$ env get device.env /motor/MinSpeed

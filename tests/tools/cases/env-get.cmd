# Every type of value, in its text form and as JSON; keys that are not there.
$ env get device.env /network/Port
$ env get device.env /network/NetMask
$ env get device.env motor/FaultMask
$ env get device.env display/AccessMode
$ env get device.env /network/Timeout
$ env get device.env /motor/RampTime
$ env get device.env /network/Dhcp
$ env get device.env /display/NightMode
$ env get device.env /display/Title
$ env get device.env /display/Welcome
$ env get device.env /network/MacAddress
$ env get device.envb /motor/TorqueTable
$ env get device.env /NETWORK/PORT
$ env get device.env /network/NetMask --json
? key
? type
? radix
? value
$ env get device.env /motor/limits/Temperature --json
? value
$ env get device.envb /network/MacAddress --json
? value
$ env get device.env /display/NightMode --json
$ env get device.env /display/Welcome --json
? value
$ env get device.env /network/Missing
$ env get device.env /nowhere/Port
$ env get device.env /network/
$ env get device.env /motor/limits
# the text form's type letter is not part of the name
$ env get device.env /network/nPort
$ env get device.env /network/rPort

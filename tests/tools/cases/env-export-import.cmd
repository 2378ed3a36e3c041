# Export then import into an empty file gives back the same tree, from either form; an import
# updates what the document holds and leaves the rest.
$ env export device.env > device.json
$ env export device.envb > device-b.json
= device.json device-b.json
$ env import copy.env device.json --create
$ env export copy.env > copy.json
= device.json copy.json
$ env show copy.env
$ env import copy.envb device.json --create
$ env convert copy.envb --to binary
$ env export copy.envb > copy-b.json
= device.json copy-b.json
$ env export device.env
$ env import device.env import-update.json
$ env get device.env /motor/MaxSpeed
$ env get device.env /motor/limits/Voltage
$ env get device.env /service/Key
$ env show device.env service
$ env get device.env /motor/MinSpeed
$ env import device.env - < import-hex.json
$ env get device.env /display/Title --json
? encoding
? value
# a key beside a directory of the same name
$ env set device.env /motor/limits 5 --type int
$ env export device.env > shared.json
? motor limits value
? motor limits/ Current value
$ env import shared.env shared.json --create
$ env export shared.env > shared-again.json
= shared.json shared-again.json

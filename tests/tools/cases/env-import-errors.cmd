# Documents that cannot be imported: one line naming the document and the place, the file left
# as it was.
$ env import device.env import-syntax.json
$ env import device.env import-type.json
$ env import device.env import-radix.json
$ env import device.env import-range.json
$ env import device.env import-name.json
$ env import device.env import-member.json
$ env import device.env import-array.json
$ env import device.env import-invalid-name.json
$ env import device.env import-empty-data.json
$ env import device.env import-locked.json
$ env import device.env missing.json
$ env import device.env blob.bin
$ env import missing.env import-update.json
unchanged device.env
$ env import device.envb import-locked.json
$ env ls device.envb

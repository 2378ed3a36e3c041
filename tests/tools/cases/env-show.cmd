# The text form of the tree, whatever the file's form; a directory alone; the tree as JSON.
$ env show device.env
$ env show device.envb
$ env show device.env motor
$ env show device.envb /motor/limits
$ env show device.env /
$ env show device.env display --json
? Title value
? AccessMode radix
$ env show device.env /nowhere
$ env show device.env motor/MaxSpeed

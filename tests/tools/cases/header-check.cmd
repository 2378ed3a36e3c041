# Size and checksum against the header: lenient and strict.
$ header check device.env
$ header check device.env --strict
$ header check device.envb --strict
$ header check motor.cfg --strict
$ header check bad-checksum.env
$ header check truncated.env
$ header check no-sums.env
$ header check no-sums.env --strict
$ header check short-header.env
$ header check short-header.env --strict
$ header check device.env --json
? valid
$ header check bad-checksum.env --json
? code
? message
$ header check blob.bin
$ header check empty.env

# Every field of the header line and its WUID.
$ header show device.env
$ header show device.envb
$ header show errors.ehst
$ header show motor.cfg
$ header show no-sums.env
$ header show short-header.env
$ header show device.env --json
? type
? major
? last_modified text
? data_size
? mac
? wuid
$ header show no-sums.env --json
? checksum
? data_size
mkdir adir
$ header show plain.txt
$ header show blob.bin
$ header show empty.env
$ header show adir
$ header show missing.env

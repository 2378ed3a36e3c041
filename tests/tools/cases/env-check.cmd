# Loading as a host program would; on failure, where reading stopped.
$ env check device.env
$ env check device.envb
$ env check device.env --json
? valid
? keys
$ env check bad-token.env
$ env check bad-value.env
$ env check bad-eof.env
$ env check bad-bytes.env
$ env check bad-version.env
$ env check motor.cfg
$ env check bad-item.envb
$ env check bad-value.env --json
? line
? column
? reason
$ env check bad-item.envb --json
? offset
$ env check plain.txt
$ env check blob.bin
$ env check empty.env
$ env check errors.ehst
mkdir adir
$ env check adir
$ env check missing.env

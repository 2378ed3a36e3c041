# Command lines that make no sense: one line on stderr, exit status 2, files untouched.
$
$ env
$ frobnicate
$ env frob device.env
$ env show
$ env get device.env
$ env get device.env /motor/MaxSpeed extra
$ env show device.env --colour
$ env set device.env /motor/MaxSpeed 1900
$ env set device.env /motor/MaxSpeed 1900 --type integer
$ env set device.env /motor/MaxSpeed 19x0 --type int
$ env set device.env /motor/MaxSpeed 0x100000000 --type int
$ env set device.env /motor/MaxSpeed 2147483648 --type int
$ env set device.env /motor/Gain inf --type real
$ env set device.env /motor/Gain 0.8.5 --type real
$ env set device.env /motor/Reverse maybe --type bool
$ env set device.env /motor/TorqueTable 0a0 --type data
$ env set device.env /motor/TorqueTable 0x0a --type data
unchanged device.env
$ env convert device.env --to json
$ env convert device.env
unchanged device.env
$ errhist create new.ehst --capacity 1
$ errhist create new.ehst --capacity 32768
$ errhist create new.ehst
$ errhist show errors.ehst --from 0
$ errhist show errors.ehst --from 65536
$ errhist show errors.ehst --count many
$ errmsg
$ errmsg twelve
$ errmsg -1
$ errmsg 4294967296
$ header check

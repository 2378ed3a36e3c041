# Every env command on files that are not environment files: one line on stderr, exit status 1,
# the file left as it was.
mkdir adir
$ env show blob.bin
$ env show empty.env
$ env show adir
$ env show missing.env
$ env show bad-item.envb
$ env show errors.ehst
$ env get blob.bin /a/X
$ env set blob.bin /a/X 1 --type int
$ env set empty.env /a/X 1 --type int --create
$ env set adir /a/X 1 --type int --create
$ env rm bad-value.env /display/Brightness
$ env mkdir plain.txt /a
$ env rmdir bad-eof.env /motor
$ env lock bad-item.envb /network
$ env unlock blob.bin /network
$ env ls empty.env
$ env convert blob.bin --to text
$ env convert device.env --to binary -o adir
$ env export adir
$ env import blob.bin import-update.json
$ env check adir
unchanged blob.bin
unchanged empty.env
unchanged bad-value.env
unchanged plain.txt
unchanged bad-eof.env
unchanged bad-item.envb
unchanged device.env

# Stamping brings time, size, checksum and MAC address up to date and keeps the rest.
$ header check bad-checksum.env
$~ header stamp bad-checksum.env
$ header check bad-checksum.env --strict
$~ header show bad-checksum.env
$~ header stamp no-sums.env --json
? extra
? data_size
$ header check no-sums.env --strict
# the library stamps only header lines of 96 bytes
$ header stamp short-header.env
unchanged short-header.env
$ header stamp plain.txt
$ header stamp blob.bin
unchanged plain.txt
unchanged blob.bin

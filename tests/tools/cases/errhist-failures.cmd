# Files that are not error histories.
mkdir adir
$ errhist show truncated.ehst
$ errhist show bad-record.ehst
$ errhist show bad-record.ehst --count 2
$ errhist show bad-header.ehst
$ errhist show device.env
$ errhist show blob.bin
$ errhist show empty.env
$ errhist show adir
$ errhist show missing.ehst
unchanged bad-record.ehst

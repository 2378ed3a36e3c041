# The library's message of a code.
$ errmsg 12
$ errmsg 1
$ errmsg 71
$ errmsg 0
$ errmsg 72
$ errmsg 74
$ errmsg 0xFFFF
$ errmsg 0x22
$ errmsg 4294967295
$ errmsg 23 --json
? code
? message

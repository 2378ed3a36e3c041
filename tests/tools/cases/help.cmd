# --help on the tool, every family and every command: exit status 0, usage on stdout.
$ --help
$ env --help
$ env show --help
$ env get --help
$ env set --help
$ env rm --help
$ env mkdir --help
$ env rmdir --help
$ env lock --help
$ env unlock --help
$ env ls --help
$ env convert --help
$ env export --help
$ env import --help
$ env check --help
$ header --help
$ header show --help
$ header check --help
$ header stamp --help
$ errhist --help
$ errhist create --help
$ errhist show --help
$ errmsg --help

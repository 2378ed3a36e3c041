# Saving in the other form: the tree stays the same, the header names the form.
$ env convert device.env --to binary -o out.envb
$~ header show out.envb --json
? type
$ env show out.envb > out.txt
$ env show device.env > device.txt
= out.txt device.txt
$ env convert device.envb --to text
$~ header show device.envb --json
? type
$ env show device.envb > back.txt
= back.txt device.txt
$ env convert device.env --to binary
$ env check device.env
$ env convert device.env --to text -o device.env
$ env check device.env
mkdir outdir
$ env convert device.env --to binary -o outdir
$ env convert bad-token.env --to binary -o bad.envb
unchanged bad-token.env

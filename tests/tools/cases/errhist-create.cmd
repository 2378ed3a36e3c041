# A new, empty history of 96 + 128 x N bytes; an existing file is kept unless --force.
$ errhist create new.ehst --capacity 5
size new.ehst
$~ errhist show new.ehst
$~ errhist show new.ehst --json
? header records
? header capacity
$ errhist create errors.ehst --capacity 5
unchanged errors.ehst
$ errhist create errors.ehst --capacity 2 --force
size errors.ehst
mkdir adir
$ errhist create adir --capacity 5

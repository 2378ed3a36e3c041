# The header and records of a history, read as it lies on disk.
$ errhist show errors.ehst
$ errhist show errors.ehst --count 2
$ errhist show errors.ehst --count -2
$ errhist show errors.ehst --from 6 --count 2
$ errhist show errors.ehst --from 6 --count -2
$ errhist show errors.ehst --from 8
$ errhist show errors.ehst --from 1 --count 5
$ errhist show errors.ehst --from 12
$ errhist show errors.ehst --json --count -1
? header first_id
? header last_id
? header capacity
? records 0 id
? records 0 slot
? records 0 text
? records 0 code
? records 0 time text
unchanged errors.ehst

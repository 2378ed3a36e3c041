# Directories and keys of a directory (comments left out, every integer radix listed).
$ env ls device.env
$ env ls device.env motor
$ env ls device.envb motor --sort
$ env ls device.env /motor/limits --json
? dir
? entries 0 name
? entries 1 type
$ env ls device.env network --json
? entries 3 radix
$ env ls device.env /nowhere
$ env ls device.env /motor/MaxSpeed

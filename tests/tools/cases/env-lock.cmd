# Lock marks live in the binary form only; they show in ls and in the export.
$ env lock device.envb /motor
$ env ls device.envb
$ env ls device.envb --json
? entries 1 locked
$ env export device.envb > locked.json
? motor @locked
$ env unlock device.envb motor
$ env ls device.envb
$ env lock device.envb /nowhere
$ env lock device.env /motor
unchanged device.env
$ env unlock device.env /motor

# Made by scripts/shell_texts.py from what mdc-bench says of itself: do not edit.

complete -c mdc-bench -f
function __mdc_bench_command
    set -l words (commandline -opc)
    contains -- $argv[1] $words
end
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a demo -d 'Show what happens between a command and the wire, without any device'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a init -d 'Write a configuration for a controller'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a list -d 'Objects, plug-ins, state and statistics of the links'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a commands -d 'What can be run, with parameters and results'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a run -d 'Run one command of an object'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a watch -d 'Show values of a controller as they change'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a results -d 'Log the tightenings of a controller as they happen'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a backup -d 'Save the registers of a controller to a file'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a restore -d 'Write chosen presets of a backup file back'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a compare -d 'List what differs between two backups, or a backup and the controller'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a panel -d 'Show the maintenance page of a device in a window'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a check -d 'Look over configuration, plug-ins, links and register map'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -a support -d 'Pack what is needed to help with a bench into an archive'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l version -d 'Print the versions of program, contract, Qt and plug-ins and exit'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l format -d 'Form of the results [table; jsonl for "results"]; the help of a subcommand lists those that it has' -x
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n 'not __fish_seen_subcommand_from demo init list commands run watch results backup restore compare panel check support' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l tcp -d 'Over TCP only'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l rtu -d 'Over a serial line only'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from demo' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l host -d 'Name or address of the controller' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l serial -d 'Serial line to the controller' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l port -d 'Its TCP port [502]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l baud -d 'Of the serial line [19200]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l parity -d 'Of the serial line [even]' -x -a 'even odd none'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l unit -d 'Modbus unit [1]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l offset -d 'What is added to a register\'s number on the wire: -1 where the documentation counts from 1 [0]' -x -a '0 -1'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l reference -d 'Order reference of the controller, with MDTC, MDC or BM in it [by its model]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l generation -d 'Generations to write, whether or not the controller answers [the one that answers]' -x -a '1 2 all'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l from-csv -d 'Register list of the controller, as manuals and spreadsheets have it' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l yes -d 'Ask nothing, not on a terminal either'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l timeout -d 'How long to wait for the links in milliseconds [3000]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from init' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l timeout -d 'How long to wait for the links in milliseconds [3000]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l ports -d 'The serial ports of this machine instead, as a configuration names them'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from list' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l object -d 'Only the commands of this object' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l format -d 'Form of the results [table]' -x -a 'table json jsonl markdown'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from commands' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l object -d 'Object whose command it is [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l timeout -d 'Bound for the whole order in milliseconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l no-identify -d 'Do not read the device information first (the registers of generation 1 are used)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l described -d 'Tell what the values mean too, as the configuration describes them'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l force -d 'Run it although a value, the configuration or what is saved speaks against it'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l count -d 'Listening: end after so many printed updates [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l seconds -d 'Listening: end after so many seconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l changes -d 'Listening: print only what differs from the update before'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from run' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l object -d 'Device whose values they are [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l interval -d 'Milliseconds from one reading to the next [500]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l csv -d 'Write a line of all values for each reading to this file too [none]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l force -d 'Replace a file of the name given with --csv'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l count -d 'End after so many readings [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l seconds -d 'Listening: end after so many seconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l format -d 'Form of the results [table]' -x -a 'table jsonl csv'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from watch' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l object -d 'Device whose tightenings they are [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l output -d 'Append to this file [standard output]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l rotate-size -d 'Begin a new file before it would hold more bytes; the full one becomes FILE.1 [256 MiB]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l keep -d 'How many full files are kept [5, all without --rotate-size]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l program-value -d 'Value that tells the program [program]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l count -d 'End after so many events [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l seconds -d 'Listening: end after so many seconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l format -d 'Form of the results [jsonl]' -x -a 'jsonl csv'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from results' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l object -d 'Device whose registers they are [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l timeout -d 'Bound for each whole order in milliseconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l name -d 'Text in the name of the file [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l folder -d 'Folder of the file [the current one]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l force -d 'Replace a file of the same name'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from backup' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l object -d 'Device whose registers they are [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l timeout -d 'Bound for each whole order in milliseconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l presets -d 'Which presets: one (3), the first and the last (3-7) or a list of them (3,5-7); required without --extras' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l extras -d 'The controller\'s own parameters (groups "extra…") as well, or without --presets alone'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l dry-run -d 'Write nothing; show each register with its value in controller and file'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l verify -d 'Read back what was written and list each difference'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l no-snapshot -d 'Do not save the registers before they are written'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l snapshot-folder -d 'Folder of the snapshot [that of FILE]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from restore' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l object -d 'Device whose registers they are [the first device]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l timeout -d 'Bound for each whole order in milliseconds [none]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from compare' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l object -d 'Only the page of this device [all devices]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l timeout -d 'How long to wait for the links in milliseconds [3000]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l screenshot -d 'Draw the page into this PNG file and end' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l press -d 'Press the item whose object name ends so before the picture is drawn; may be repeated' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l size -d 'Size of the window in pixels [600x800]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l dark -d 'Light on dark'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from panel' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l object -d 'Only this device' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l timeout -d 'How long to wait for the links in milliseconds [3000]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l probe -d 'Read everything that is configured, once, and tell what is refused or makes no sense'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l seconds -d 'Probe for so many seconds at most, and tell what there was no time for [300]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l write -d 'Prove the channels that are written too: asks before each, and writes back what was there'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l yes -d 'Ask nothing: write'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l report -d 'Write a page (HTML) to print and sign: configuration, versions, findings, values' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l force -d 'Replace a file of the name of the page'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from check' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l help -d 'Print this help message and exit' -s h
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l add -d 'Pack this file too: a trace, a record, a log, a backup; may be repeated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l probe -d 'Read everything that is configured, as "check --probe" does'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l with-identity -d 'Leave serial numbers, addresses, users and folders as they are, and pack files that are no text'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l force -d 'Replace a file of the name of the archive'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l timeout -d 'How long to wait for the links in milliseconds [3000]' -x
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l config -d 'Configuration of the bench; without it the bundled one, simulated' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l plugins -d 'Folder of the plug-ins [<program>/../plugins]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l properties -d 'Where persistent properties are kept [in the user\'s data folder; none when simulated]' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l trace -d 'Write every frame that is sent or received to this file' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l record -d 'Record the session to this new file, for mdc-simulator --replay' -r -F
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l simulate -d 'Use a controller inside this program [none with --config, else tcp]' -x -a 'tcp rtu none'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l profile -d 'Which controller it is (a wrong name lists them all)' -x -a 'mdc26-gen1v1 mdc26-gen1v2 mdc22-gen1v2 mdc32-gen1v2 mdc32-gen2 mdc22-gen2 mdc26-gen2 bm-gen1v1 bm-firmware2-gen1v1 bm-gen2 unknown-gen1v2 nameless-gen1v2 unreadable-gen1v2'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l fault -d 'What goes wrong with it; may be repeated ("help" lists the faults)' -x -a 'help no-answer lost late twice cut-header cut-middle short exception close reset refuse restart'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l format -d 'Form of the results [table]' -x -a 'table json jsonl'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l language -d 'Language of the plug-ins\' texts [the system\'s, else en]' -x -a 'en fr'
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l verbose -d 'Tell what is done, show the whole log' -s v
complete -c mdc-bench -n '__fish_seen_subcommand_from support' -l quiet -d 'No warnings, no log; errors only'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a getInfo -d 'Get the connected device information'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command getInfo' -a 'reference=' -d 'order reference of the controller; "MDTC", "MDC" or "BM" in it chooses the table that names the tool, and without any of them the tool is told as the controller\'s model'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a setDirection -d 'Set the direction of rotation of the screwdriver'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setDirection' -a 'direction=0' -d 'direction in which the screwdriver turns from now on'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setDirection' -a 'direction=1' -d 'direction in which the screwdriver turns from now on'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a setProgram -d 'Set the tightening program by its number'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setProgram' -a 'program=' -d 'number of the tightening program that the screwdriver works with from now on; the controller refuses one that it does not have'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a SetTriggerProgram -d 'Set the tightening program by its number'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command SetTriggerProgram' -a 'resetMode=true' -d 'write the registers of program 15 back that the last run without it has saved, instead of making program 15 the trigger program'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command SetTriggerProgram' -a 'resetMode=false' -d 'write the registers of program 15 back that the last run without it has saved, instead of making program 15 the trigger program'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a setLock -d 'Set the lock state of the screwdriver Driver Lock'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'lock=0' -d 'directions of rotation in which the screwdriver is locked from now on; another number is written as well, and its state told as "Error"'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'lock=1' -d 'directions of rotation in which the screwdriver is locked from now on; another number is written as well, and its state told as "Error"'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'lock=2' -d 'directions of rotation in which the screwdriver is locked from now on; another number is written as well, and its state told as "Error"'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'lock=3' -d 'directions of rotation in which the screwdriver is locked from now on; another number is written as well, and its state told as "Error"'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'unlockLoosening=true' -d 'leave loosening free whatever "lock" says: 1 becomes 3, and 2 becomes 0'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command setLock' -a 'unlockLoosening=false' -d 'leave loosening free whatever "lock" says: 1 becomes 3, and 2 becomes 0'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a setLockScreen -d 'Set the lock screen'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a listenEventsData -d 'Return the mesured value on the GPIO pin'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a listenMotorRunState -d 'Return the mesured value on the GPIO pin'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a getPresetData -d 'Return the mesured value on GPIO pins'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command getPresetData' -a 'preset=' -d 'number of the stored tightening program to read; beyond the last one the result is empty, and the controller is not asked'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a backup -d 'Backup all mdc registers'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command backup' -a 'backupName=' -d 'part of the file\'s name, between the controller\'s model and the date; backups of one model, name and day replace each other'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command backup' -a 'folderPath=' -d 'folder that the file is written to; it must be there'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a restoreBackup -d 'Restore mdc registers'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command restoreBackup' -a 'filePath=' -d 'backup file, of a controller of the connected one\'s model'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command restoreBackup' -a 'startPreset=' -d 'number of the first preset whose registers are written back'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command restoreBackup' -a 'endPreset=' -d 'number of the last preset whose registers are written back, not below "startPreset"'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command restoreBackup' -a 'loadControllerParams=true' -d 'write the controller\'s own parameters back too'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command restoreBackup' -a 'loadControllerParams=false' -d 'write the controller\'s own parameters back too'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a resetAlarm -d 'Set the lock state of the screwdriver Driver Lock'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a getRegister -d 'Return the mesured value on GPIO pins'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command getRegister' -a 'channel=' -d 'channel of the configuration that names the register to read, without the suffix of the controller\'s generation'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a read -d 'Reads consecutive registers or bits of the controller.'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command read' -a 'register=' -d 'Protocol address of the first register or bit (0 to 65535)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command read' -a 'registerType=' -d 'holdingRegisters, singleRegister, inputRegisters, coils or discreteInputs'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command read' -a 'dataSize=' -d 'Number of registers or bits (1 to 125)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a write -d 'Writes consecutive registers or a coil of the controller.'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command write' -a 'register=' -d 'Protocol address of the first register or of the coil (0 to 65535)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command write' -a 'registerType=' -d 'holdingRegisters (1 to 123 values), singleRegister or coils (one value)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command write' -a 'dataSize=' -d 'Number of values: as many as "data" has, also when absent'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command write' -a 'data=' -d 'A value or a list of values: 0 to 65535 for a register, 0 or 1 for a coil'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a listen -d 'Reads registers or bits of the controller again and again until it is stopped.'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command listen' -a 'register=' -d 'Protocol address of the first register or bit (0 to 65535)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command listen' -a 'registerType=' -d 'holdingRegisters, singleRegister, inputRegisters, coils or discreteInputs'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command listen' -a 'dataSize=' -d 'Number of registers or bits (1 to 125)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and __mdc_bench_command listen' -a 'recurrentInterval=' -d 'Milliseconds from the start of one read to the start of the next (1 to 65535)'
complete -c mdc-bench -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from getInfo setDirection setProgram SetTriggerProgram setLock setLockScreen listenEventsData listenMotorRunState getPresetData backup restoreBackup resetAlarm getRegister read write listen deviceInformation' -a deviceInformation -d 'Asks the controller for its identification (Report Server ID).'
complete -c mdc-bench -n '__fish_seen_subcommand_from restore compare support' -F

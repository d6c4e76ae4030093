# Completion of talvek-psd-repair for fish.

complete -c talvek-psd-repair -f -a '(__fish_complete_suffix .psd) (__fish_complete_suffix .psb)'
complete -c talvek-psd-repair -s o -l output -x -a '(__fish_complete_directories)' -d 'Folder to create for the salvaged files'
complete -c talvek-psd-repair -l deep -d 'Recover everything that survives as one layered document'
complete -c talvek-psd-repair -l reference -r -d 'Older save or other copy that fills in what is lost'
complete -c talvek-psd-repair -l force -d 'Replace the output folder if it exists'
complete -c talvek-psd-repair -l json -d 'Print the notifications, one JSON object a line'
complete -c talvek-psd-repair -l check -d 'Only test whether the header is acceptable'
complete -c talvek-psd-repair -l keep-free -x -a '0 64M 256M 1G' -d 'Room to leave on the output volume'
complete -c talvek-psd-repair -s q -l quiet -d 'Print errors and warnings only'
complete -c talvek-psd-repair -s v -l verbose -d 'Print log lines on standard error'
complete -c talvek-psd-repair -l version -d 'Print the version'
complete -c talvek-psd-repair -s h -l help -d 'Print a summary of the options'

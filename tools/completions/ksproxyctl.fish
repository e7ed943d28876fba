# Completion of ksproxyctl for fish. Never starts a server: the keys come from one that runs.

function __ksproxyctl_keys
    ksproxyctl list --keys --no-start --quiet --timeout 500 2>/dev/null
end

function __ksproxyctl_verb
    __fish_seen_subcommand_from $argv
end

set -l verbs status list connect read write dump load watch poll ping cancel order auto-connect server

complete -c ksproxyctl -f
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -l version -d 'Print the version'
complete -c ksproxyctl -l help -s h -d 'Print the help'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a status -d 'Say whether a server is there'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a list -d 'Show the equipment table'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a connect -d 'Connect controllers'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a read -d 'Read data with one request'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a write -d 'Write data with one request'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a dump -d 'Read a whole range, in many requests'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a load -d 'Write a file to a range'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a watch -d 'Show every notification'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a poll -d 'Read a range again and again'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a ping -d 'Measure the round trips'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a cancel -d 'Have requests dropped'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a order -d 'Send an order'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a auto-connect -d 'Switch automatic connection'
complete -c ksproxyctl -n "not __ksproxyctl_verb $verbs" -a server -d 'Verbs of the server process'

complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l json -d 'Print JSON'
complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l timeout -x -d 'Limit in milliseconds'
complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l server -r -F -d 'The program of the server'
complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l no-start -d 'Never start a server'
complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l quiet -d 'Print data only'
complete -c ksproxyctl -n "__ksproxyctl_verb $verbs" -l verbose -d 'Show the log of the session'

set -l placed read write dump load poll
complete -c ksproxyctl -n "__ksproxyctl_verb $placed" -l address -x -d 'Where it begins'
complete -c ksproxyctl -n "__ksproxyctl_verb $placed" -l port -x -d 'The port'
complete -c ksproxyctl -n "__ksproxyctl_verb $placed" -l board -x -d 'The scan board'
complete -c ksproxyctl -n "__ksproxyctl_verb $placed" -l device-type -x -d 'The type of device'
complete -c ksproxyctl -n "__ksproxyctl_verb $placed ping cancel connect" -a '(__ksproxyctl_keys)'

complete -c ksproxyctl -n '__ksproxyctl_verb list' -l keys -d 'The keys only'
complete -c ksproxyctl -n '__ksproxyctl_verb list' -l watch -d 'Show it again after each change'
complete -c ksproxyctl -n '__ksproxyctl_verb connect cancel' -l all -d 'All of them'
complete -c ksproxyctl -n '__ksproxyctl_verb read dump load poll' -l length -x -d 'How much'
complete -c ksproxyctl -n '__ksproxyctl_verb read dump' -l format -x -a 'hex raw base64 json' -d 'The form of the data'
complete -c ksproxyctl -n '__ksproxyctl_verb read dump' -l output -r -F -d 'Write the data to a file'
complete -c ksproxyctl -n '__ksproxyctl_verb write' -l hex -x -d 'Write these bytes'
complete -c ksproxyctl -n '__ksproxyctl_verb write' -l text -x -d 'Write this text'
complete -c ksproxyctl -n '__ksproxyctl_verb write' -l file -r -F -d 'Write what is in a file'
complete -c ksproxyctl -n '__ksproxyctl_verb write load' -l verify -d 'Read it back and compare'
complete -c ksproxyctl -n '__ksproxyctl_verb dump load' -l chunk -x -d 'How much one request carries'
complete -c ksproxyctl -n '__ksproxyctl_verb dump load' -l window -x -d 'How many requests at a time'
complete -c ksproxyctl -n '__ksproxyctl_verb load' -l resume -d 'Go on where a load has ended'
complete -c ksproxyctl -n '__ksproxyctl_verb load' -F
complete -c ksproxyctl -n '__ksproxyctl_verb poll ping' -l interval -x -d 'Milliseconds between two'
complete -c ksproxyctl -n '__ksproxyctl_verb poll' -l csv -d 'Print rows'
complete -c ksproxyctl -n '__ksproxyctl_verb watch poll ping' -l count -x -d 'How many'
complete -c ksproxyctl -n '__ksproxyctl_verb watch poll' -l for -x -d 'End after so many seconds'
complete -c ksproxyctl -n '__ksproxyctl_verb auto-connect' -a 'on off'
complete -c ksproxyctl -n '__ksproxyctl_verb server' -a start -d 'Start the server'

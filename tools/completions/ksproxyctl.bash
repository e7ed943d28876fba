# Completion of ksproxyctl for bash. Never starts a server: the keys come from one that runs.

_ksproxyctl_keys() {
    ksproxyctl list --keys --no-start --quiet --timeout 500 2>/dev/null
}

_ksproxyctl_options() {
    local place="--address --port --board --device-type"
    local common="--json --timeout --server --no-start --quiet --verbose --help"
    case $1 in
    status | order | auto-connect | start) echo "$common" ;;
    list) echo "--keys --watch $common" ;;
    connect | cancel) echo "--all $common" ;;
    read) echo "$place --length --format --output $common" ;;
    write) echo "$place --hex --text --file --verify $common" ;;
    dump) echo "$place --chunk --window --length --format --output $common" ;;
    load) echo "$place --chunk --window --length --verify --resume $common" ;;
    watch) echo "--count --for $common" ;;
    poll) echo "$place --length --interval --csv --count --for $common" ;;
    ping) echo "--count --interval $common" ;;
    server) echo "--help" ;;
    *) echo "--version --help" ;;
    esac
}

# What the word behind an option may be; fails when the option takes no value.
_ksproxyctl_value() {
    case $1 in
    --format) mapfile -t COMPREPLY < <(compgen -W "hex raw base64 json" -- "$2") ;;
    --output | --file | --server) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
    --address | --port | --board | --device-type | --length | --chunk | --window | --count | \
        --for | --interval | --timeout | --hex | --text) ;;
    *) return 1 ;;
    esac
}

# $1 the verb, $2 how many arguments it has already, $3 the word so far.
_ksproxyctl_argument() {
    local key
    case $1:$2 in
    read:0 | write:0 | dump:0 | load:0 | poll:0 | ping:0 | cancel:0 | connect:*)
        while IFS= read -r key; do
            [[ $key != "$3"* ]] || COMPREPLY+=("$(printf %q "$key")")
        done < <(_ksproxyctl_keys)
        ;;
    load:1) mapfile -t COMPREPLY < <(compgen -f -- "$3") ;;
    auto-connect:0) mapfile -t COMPREPLY < <(compgen -W "on off" -- "$3") ;;
    server:0) mapfile -t COMPREPLY < <(compgen -W "start" -- "$3") ;;
    esac
}

_ksproxyctl() {
    # From the line itself: bash has taken the words apart at their colons, which keys have.
    local line=${COMP_LINE:0:COMP_POINT} words current verb="" arguments=0 i
    read -ra words <<<"$line"
    [[ $line != *[[:space:]] ]] || words+=("")
    current=${words[-1]}
    COMPREPLY=()
    for ((i = 1; i < ${#words[@]} - 1; i++)); do
        case ${words[i]} in
        -*) if _ksproxyctl_value "${words[i]}" ""; then i=$((i + 1)); fi ;;
        *)
            if [[ -z $verb ]]; then
                verb=${words[i]}
            elif [[ $verb == server ]]; then
                verb=${words[i]}
            else
                arguments=$((arguments + 1))
            fi
            ;;
        esac
    done
    COMPREPLY=()
    if ((${#words[@]} > 2)) && _ksproxyctl_value "${words[-2]}" "$current"; then
        return
    fi
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_ksproxyctl_options "$verb")" -- "$current")
    elif [[ -z $verb ]]; then
        mapfile -t COMPREPLY < <(compgen -W "status list connect read write dump load watch poll \
            ping cancel order auto-connect server" -- "$current")
    else
        _ksproxyctl_argument "$verb" "$arguments" "$current"
    fi
    # Bash replaces only what stands behind the last colon.
    if [[ $current == *:* && ${COMP_WORDBREAKS:-} == *:* ]]; then
        COMPREPLY=("${COMPREPLY[@]#"${current%"${current##*:}"}"}")
    fi
}

complete -F _ksproxyctl ksproxyctl

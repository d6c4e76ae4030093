# Completion of talvek-psd-repair for bash.

_talvek_psd_repair()
{
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}
    local word only_documents=
    local IFS=$'\n'
    COMPREPLY=()

    # "--output=DIR" arrives as three words.
    if [[ $previous == "=" && $COMP_CWORD -ge 2 ]]; then
        previous=${COMP_WORDS[COMP_CWORD-2]}
    elif [[ $current == "=" ]]; then
        current=
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == "--" ]] && only_documents=1
    done

    if [[ -z $only_documents ]]; then
        case $previous in
            -o | --output)
                compopt -o filenames 2>/dev/null
                COMPREPLY=($(compgen -d -- "$current"))
                return
                ;;
            --keep-free)
                COMPREPLY=($(compgen -W $'0\n64M\n256M\n1G' -- "$current"))
                return
                ;;
        esac
        if [[ $current == -* ]]; then
            COMPREPLY=($(compgen -W $'-o\n--output\n--deep\n--reference\n--force\n--json\n--check\n--keep-free\n-q\n--quiet\n-v\n--verbose\n--version\n-h\n--help' -- "$current"))
            return
        fi
    fi
    compopt -o filenames 2>/dev/null
    COMPREPLY=($(compgen -d -- "$current")
        $(compgen -f -X '!*.[pP][sS][dDbB]' -- "$current"))
}

complete -F _talvek_psd_repair talvek-psd-repair

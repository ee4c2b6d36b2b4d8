# Completion of parlowenctl for bash.

_parlowenctl()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local options="--host --cacert --cert --key --insecure --json --quiet --trace --retries --timeout --help --version"
    local group="" command="" i

    case $previous in
        --host | --retries | --timeout | --root | --as | --include | --exclude | --folder | --only) return ;;
        -o | --output | --cacert | --cert | --key | --report | --junit)
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
            ;;
    esac

    # The command is the words before the cursor that are neither options nor their values.
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            --host | --cacert | --cert | --key | --retries | --timeout | --root | --as | --include | \
                --exclude | --folder | --only | --report | --junit | -o | --output) ((i++)) ;;
            -*) ;;
            workorders | files)
                [[ -z $group && -z $command ]] && group=${COMP_WORDS[i]}
                ;;
            *)
                [[ -z $command ]] && command="${group:+$group }${COMP_WORDS[i]}"
                ;;
        esac
    done

    case $command in
        "files get") options+=" -o --output --dry-run --include --exclude" ;;
        "files put") options+=" -r --recursive --as --dry-run --include --exclude" ;;
        "files rm" | "files confirm") options+=" --dry-run --include --exclude" ;;
        "files pending") options+=" --all" ;;
        sync) options+=" --root --recent --everything --dry-run --include --exclude" ;;
        check) options+=" --write --load --folder --only --report --junit" ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        return
    fi

    case $group:$command in
        :) set -- info tech workorders templates files sync check api ;;
        workorders:) set -- list get put active ;;
        files:) set -- list pending stat get put rm confirm ;;
        "workorders:workorders put" | "files:files put")
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
            ;;
        :sync)
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return
            ;;
        *) return ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$*" -- "$word")
}

complete -o filenames -o bashdefault -F _parlowenctl parlowenctl

# Completion of parlowenctl for bash. The program itself knows what may follow.

_parlowenctl()
{
    local -a words=() offered=()
    local word glued=""

    # bash takes host:port for three words.
    for word in "${COMP_WORDS[@]:1:COMP_CWORD}"; do
        if [[ ($word == : || $glued) && ${#words[@]} -gt 0 ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
        [[ $word == : ]] && glued=yes || glued=""
    done

    word=${COMP_WORDS[COMP_CWORD]}
    mapfile -t offered < <("${COMP_WORDS[0]}" complete -- "${words[@]}" 2>/dev/null)
    case ${offered[0]-} in
        :files) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        :folders) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        *) COMPREPLY=("${offered[@]}") ;;
    esac
}

complete -o filenames -F _parlowenctl parlowenctl

# Completion of parlowenctl for fish. The program itself knows what may follow.

function __parlowenctl_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l offered ($words[1] complete -- $words[2..-1] 2>/dev/null)
    switch "$offered[1]"
        case ':files'
            __fish_complete_path (commandline -ct)
        case ':folders'
            __fish_complete_directories (commandline -ct)
        case '*'
            printf '%s\n' $offered
    end
end

complete -c parlowenctl -f -a '(__parlowenctl_complete)'

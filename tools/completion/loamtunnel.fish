# Completes the command lines of loamtunnel in fish: the program says what may stand at the end of a line.
function __loamtunnel_complete
    set -l words (commandline -opc)
    set -l last (commandline -ct)
    set -l found ($words[1] --complete $words[2..] (string replace -r '^[\'"]' '' -- $last | string unescape) 2>/dev/null)
    if set -q found[1]
        printf '%s\n' $found
    else
        __fish_complete_path $last
    end
end
complete -c loamtunnel -f -a '(__loamtunnel_complete)'

# Completes the command lines of loamtunnel in bash: the program says what may stand at the end of a line.
_loamtunnel() {
    # Words are cut and quotes taken off here, since bash cuts at = and : too. It puts a candidate in place of what
    # follows the last such cut, or an open quote: from `start` on.
    local line=${COMP_LINE:0:COMP_POINT} word='' quote='' start=0 c i each
    local -a words=()
    for ((i = 0; i < ${#line}; ++i)); do
        c=${line:i:1}
        if [[ $c == "$quote" ]]; then
            quote=''
        elif [[ $c == \\ && $quote != "'" ]]; then
            word+=${line: ++i:1}
        elif [[ $quote ]]; then
            word+=$c
        elif [[ $c == [\'\"] ]]; then
            quote=$c start=${#word}
        elif [[ $c == [[:space:]] ]]; then
            [[ $word ]] && words+=("$word")
            word='' start=0
        else
            word+=$c
            [[ $COMP_WORDBREAKS == *"$c"* ]] && start=${#word}
        fi
    done
    COMPREPLY=()
    while IFS= read -r each; do
        each=${each%%$'\t'*}
        each=${each:start}
        if [[ ! $quote ]]; then
            printf -v each %q "$each"
            each=${each//'\['/[} each=${each//'\]'/]} each=${each//'\,'/,}
        fi
        COMPREPLY+=("$each")
    done < <("${words[0]}" --complete "${words[@]:1}" "$word" 2>/dev/null)
    if [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == *[[=.\ ] ]]; then # it goes on
        compopt -o nospace 2>/dev/null
        [[ $quote ]] && COMPREPLY+=("${COMPREPLY[0]}...") # of two it does not close the quote
    fi
}
complete -o bashdefault -o default -F _loamtunnel loamtunnel

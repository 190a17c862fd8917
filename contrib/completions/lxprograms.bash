# bash completion of lxquote, marketd and lxboard: commands and options as the programs' --help names them.

_lx_programs()
{
    local program=$1 current=${COMP_WORDS[COMP_CWORD]} command=() words
    [[ ${COMP_WORDS[1]-} =~ ^[a-z]+$ && $COMP_CWORD -gt 1 ]] && command=("${COMP_WORDS[1]}")
    words=$("$program" "${command[@]}" --help 2>/dev/null | sed -n \
        -e '/^Commands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p' \
        -e 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p')
    # Options after a dash; commands in the first place; files, by "-o default", everywhere else.
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -- '^--' <<<"$words")" -- "$current")
    elif [[ $COMP_CWORD -eq 1 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(grep -v -- '^--' <<<"$words")" -- "$current")
    fi
}
complete -o default -F _lx_programs lxquote marketd lxboard

# fish completion of lxquote, marketd and lxboard: commands and options as the programs' --help names them.

function __lx_programs_help
    set -l words (commandline -opc)
    set -l command
    string match -qr '^[a-z]+$' -- "$words[2]"; and set command $words[2]
    $words[1] $command --help 2>/dev/null
end

function __lx_programs_commands
    __lx_programs_help | sed -n '/^Commands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p'
end

function __lx_programs_options
    __lx_programs_help | sed -n 's/^  \(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p'
end

for program in lxquote marketd lxboard
    complete -c $program -n 'test (count (commandline -opc)) -eq 1' -a '(__lx_programs_commands)'
    complete -c $program -n 'string match -q -- "-*" (commandline -ct)' -a '(__lx_programs_options)'
end

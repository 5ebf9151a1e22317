# fish completion for vornctl, which knows its words itself
function __vornctl_words
    set -l tokens (commandline -opc)
    $tokens[1] complete-words -- $tokens[2..-1] 2>/dev/null
end
complete -c vornctl -n 'test "$(__vornctl_words)[1]" != FILES' -f -a '(__vornctl_words)'

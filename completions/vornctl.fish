# fish completion for vornctl, which knows its words itself
function __vornctl_words
    set -l tokens (commandline -opc)
    $tokens[1] complete-words -- $tokens[2..-1] 2>/dev/null
end
complete -c vornctl -f
complete -c vornctl -n 'contains FILES (__vornctl_words)' -F
complete -c vornctl -n 'set -l words (__vornctl_words); test (count $words) -gt 0' -a '(__vornctl_words | string match -v FILES)'

# Completion for fish. The program itself tells what can follow: see tools/tessaron/manual/completion.h.

function __tessaron_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    # A quotation mark that is still open is no part of the word.
    set -l plain (string unescape -- $word; or string replace -r '^["\']' '' -- $word)
    set -l lines ($words[1] complete -- $words[2..-1] "$plain" 2>/dev/null)
    switch "$lines[1]"
        case files
            __fish_complete_path $word
        case folders
            __fish_complete_directories $word
        case '*'
            printf '%s\n' $lines[2..-1]
    end
end
complete -c tessaron -f -a '(__tessaron_complete)'

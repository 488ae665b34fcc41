# Completion of zephlon and ZQMHelper in fish.
set -g __zephlon_candidates (status dirname)/../../zephlon-helper/candidates
function __zephlon_complete
    set -l before (commandline -opc)
    set -l word (commandline -ct)
    set -l prefix ''
    if string match -q -- '--*=*' $word
        set prefix (string match -r -- '^--[^=]+=' $word)
        set -a before (string trim -r -c = -- $prefix)
        set word (string replace -- $prefix '' $word)
    end
    for line in (sh $__zephlon_candidates $before "$word")
        set -l found $line
        switch $line
            case /file
                set found (__fish_complete_path $word)
            case /directory
                set found (__fish_complete_directories $word '')
        end
        string join -- \n $prefix$found
    end
end
for program in zephlon ZQMHelper
    complete -c $program -f -a '(__zephlon_complete)'
end

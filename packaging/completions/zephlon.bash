# shellcheck shell=bash
# Completion of zephlon and ZQMHelper in bash.
_zephlon_candidates=${BASH_SOURCE[0]%/*}/../../zephlon-helper/candidates
_zephlon() {
    local line word=${2#=}
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
            /file) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
            /directory) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
            "$word"*) COMPREPLY+=("${line%%$'\t'*}") ;;
        esac
    done < <(sh "$_zephlon_candidates" "${COMP_WORDS[@]:0:COMP_CWORD}" "$word")
}
complete -F _zephlon zephlon ZQMHelper

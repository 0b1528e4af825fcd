# Completion of mstp for bash. The words come from the program itself.
_mstp() {
    local word=${COMP_WORDS[COMP_CWORD]} each
    local -a found
    COMPREPLY=()
    mapfile -t found < <("$1" --complete-words "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null)
    if [ "${found[0]}" = ":files" ]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
    fi
    # No "compgen -W": it would expand what an interface's name holds.
    for each in "${found[@]}"; do
        [[ $each == "$word"* ]] && COMPREPLY+=("$each")
    done
}
complete -F _mstp mstp

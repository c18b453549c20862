# Completion of tessaline-preferences for bash.
_tessaline_preferences() {
    local word=${COMP_WORDS[COMP_CWORD]}
    compopt -o filenames
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --root) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    --script) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    --authorization) mapfile -t COMPREPLY < <(compgen -W 'system grant deny' -- "$word") ;;
    *)
        if [[ $word == -* ]]; then
            mapfile -t COMPREPLY < <(
                compgen -W '--root --authorization --script --socket-id= --help --version' -- "$word")
        else
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
        fi
        ;;
    esac
}
complete -F _tessaline_preferences tessaline-preferences

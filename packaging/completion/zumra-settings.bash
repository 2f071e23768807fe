# shellcheck shell=bash
# Completes zumra-settings in bash. The program itself knows how a line could go on; what is left to do here is to
# quote its words and to leave out what bash does not replace (it splits words at ":" and "=", too).
_zumra_settings() {
    local line=${COMP_LINE:0:COMP_POINT} raw=${COMP_WORDS[COMP_CWORD]} quote='' current='' kind word shared c i
    local -a reply
    COMPREPLY=()
    mapfile -t reply < <("$1" complete "$line" 2>/dev/null)
    kind=${reply[0]%% *}
    word=${reply[0]#* }
    case $kind in
        files | folders)
            compopt -o default -o filenames
            [ "$kind" = folders ] && compopt -o dirnames
            return
            ;;
        prefixes) compopt -o nospace ;;
    esac

    # What bash replaces, as it is without quotes; an open quote stays before what is put in its place.
    for ((i = 0; i < ${#raw}; i++)); do
        c=${raw:i:1}
        if [ "$c" = "$quote" ]; then
            quote=''
        elif [ -z "$quote" ] && [[ $c == [\'\"] ]]; then
            quote=$c
        elif [ "$c" = \\ ] && [ "$quote" != \' ]; then
            ((i++))
            current+=${raw:i:1}
        else
            current+=$c
        fi
    done
    case $current in [:=]) current='' ;; esac
    shared=${word%"$current"}
    for c in "${reply[@]:1}"; do
        c=${c#"$shared"}
        if [ -z "$quote" ]; then
            printf -v c %q "$c"
        elif [[ $c == *[\'\"\`\\\$]* ]]; then
            continue
        fi
        COMPREPLY+=("$c")
    done
}
complete -F _zumra_settings zumra-settings

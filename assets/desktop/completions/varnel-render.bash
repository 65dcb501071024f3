# SPDX-License-Identifier: AGPL-3.0-only
# Completion of varnel-render for bash

_varnel_render() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} IFS=$' \t\n'
    COMPREPLY=()

    case $previous in
        --format) COMPREPLY=($(compgen -W "wav rf64 w64 aiff au caf flac ogg opus mp3" -- "$word")) ;;
        --bits) COMPREPLY=($(compgen -W "8 16 24 32i 32 64 ulaw alaw" -- "$word")) ;;
        --dither) COMPREPLY=($(compgen -W "tpdf none" -- "$word")) ;;
        --tail) COMPREPLY=($(compgen -W "auto" -- "$word")) ;;
        --rate) COMPREPLY=($(compgen -W "44100 48000 88200 96000" -- "$word")) ;;
        --set | --random)
            compopt -o nospace
            IFS=$'\n'
            COMPREPLY=($(compgen -W "$(varnel-render --list-parameters 2>/dev/null | awk 'NR > 1 { print $1 "=" }')" -- "$word")) ;;
        --preset)
            IFS=$'\n'
            COMPREPLY=($(compgen -W "$(varnel-render --list-presets 2>/dev/null | sed -n 's/^ *[0-9][0-9]*  //p')" -- "$word"))
            [ ${#COMPREPLY[@]} -eq 0 ] || COMPREPLY=("${COMPREPLY[@]// /\\ }")
            compopt -o default ;;
        --output-folder) COMPREPLY=($(compgen -d -- "$word")) ;;
        --suffix | --jobs | --seed | --fade | --gain | --normalise | --channels | --block | --impulse) ;;
        *)
            case $word in
                -*) COMPREPLY=($(compgen -W "-o -q -h -V
                    --output --output-folder --suffix --recursive --overwrite --jobs --format --bits --dither --preset
                    --state --set --random --seed --tail --same-length --fade --gain --normalise --mono --channels
                    --block --impulse --rate --true-stereo --save-state --save-preset --manifest --from-manifest --show
                    --list-presets --list-parameters --json --dry-run --quiet --help --version" -- "$word")) ;;
                *) compopt -o default ;;
            esac ;;
    esac
}

complete -F _varnel_render varnel-render

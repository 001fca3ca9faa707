# The word being completed and the one before it, with the pieces that bash cut at ':' joined
# again (serial:/dev/ttyUSB0, tcp://host:10110), and at the '=' of a URL's query (?baud=).
_veloran_words()
{
    local i=$COMP_CWORD left
    cur=${COMP_WORDS[i]}
    while ((i > 1)); do
        left=${COMP_WORDS[i - 1]}
        if [[ $cur == :* || $left == *: ]]; then
            :
        elif [[ ($cur == =* || $left == =) && ($left == *\?* || ($left == = && ${COMP_WORDS[i - 2]} == *\?*)) ]]; then
            :
        else
            break
        fi
        cur=$left$cur
        ((i--))
    done
    prev=${COMP_WORDS[i - 1]}
    cword=$i
}

# Bash replaces only what follows the last word break (':' or '=') in the word.
_veloran_reply()
{
    local IFS=$' \t\n'
    COMPREPLY=($(compgen -W "$1" -- "$cur"))
    local head=$cur
    while [[ -n $head && $COMP_WORDBREAKS != *"${head: -1}"* ]]; do
        head=${head%?}
    done
    [[ -n $head ]] && COMPREPLY=("${COMPREPLY[@]#"$head"}")
}

_veloran_devices()
{
    local device
    for device in /dev/ttyS* /dev/ttyUSB* /dev/ttyACM* /dev/rfcomm* /dev/serial/by-id/*; do
        [[ -e $device ]] && printf '%s\n' "$device"
    done
}

# A receiver: a device, serial:DEVICE?baud=N or a network URL.
_veloran_source()
{
    local devices
    devices=$(_veloran_devices)
    case $cur in
        serial:*\?*)
            local base=${cur%%\?*} baud
            _veloran_reply "$(for baud in auto 4800 9600 19200 38400 57600 115200; do
                printf '%s?baud=%s\n' "$base" "$baud"
            done)"
            ;;
        serial:*) _veloran_reply "$(printf 'serial:%s\n' $devices)" ;;
        /*) _veloran_reply "$devices" ;;
        *)
            _veloran_reply "serial:"$'\n'"gpsd://"$'\n'"tcp://"$'\n'"tcp-listen://"$'\n'"udp://"$'\n'"$devices"
            compopt -o nospace 2>/dev/null
            ;;
    esac
}

# Folders and the files with one of the extensions given (either case).
_veloran_files()
{
    local IFS=$'\n' extension
    COMPREPLY=($(compgen -d -- "$cur"))
    for extension; do
        COMPREPLY+=($(compgen -f -X "!*.$extension" -- "$cur"))
        COMPREPLY+=($(compgen -f -X "!*.${extension^^}" -- "$cur"))
    done
    compopt -o filenames 2>/dev/null
}

_veloran_dirs()
{
    local IFS=$'\n'
    COMPREPLY=($(compgen -d -- "$cur"))
    compopt -o filenames 2>/dev/null
}

# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034,SC2207
# The options are those of --help.
_discovery_responder() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    --interface) _available_interfaces -a; return ;;
    --user) COMPREPLY=($(compgen -u -- "$cur")); return ;;
    --psk-file | --blink-program | --onboard-program) _filedir; return ;;
    --state-directory | --led-directory) _filedir -d; return ;;
    --blink-led) COMPREPLY=($(compgen -W "$(ls /sys/class/leds 2>/dev/null)" -- "$cur")); return ;;
    --model | --build | --blink-duration | --hook-timeout) return ;;
  esac
  $split || COMPREPLY=($(compgen -W "$(_parse_help "$1")" -- "$cur"))
}
complete -F _discovery_responder discovery-responder

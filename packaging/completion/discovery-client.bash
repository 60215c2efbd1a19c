# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034,SC2207
# The options are those of --help.
_discovery_client() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    -i | --interface) _available_interfaces -a; return ;;
    --psk-file) _filedir; return ;;
    -d | --device | -o | --onboard | --timeout) return ;;
  esac
  $split || COMPREPLY=($(compgen -W "$(_parse_help "$1")" -- "$cur"))
}
complete -F _discovery_client discovery-client

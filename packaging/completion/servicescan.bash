# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034,SC2207
# The options are those of --help; what is none may be a service.
_servicescan() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    -t | --targets) _filedir; return ;;
    --timeout | --tries | --community | --parallel | --rate | --sweep | --max-addresses) return ;;
  esac
  $split && return
  local offered="ping http https snmp sip"
  [[ $cur != -* ]] || offered=$(_parse_help "$1")
  COMPREPLY=($(compgen -W "$offered" -- "$cur"))
}
complete -F _servicescan servicescan

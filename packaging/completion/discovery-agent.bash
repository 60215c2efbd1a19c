# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034,SC2207
# The commands and their options are those of --help, whose paragraphs begin with the commands that they are about.
_discovery_agent() {
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    --plan | --database | --scan-tool) _filedir; return ;;
    --log) COMPREPLY=($(compgen -W "stderr syslog" -- "$cur")); return ;;
    --verbosity) COMPREPLY=($(compgen -W "0 1 2 3" -- "$cur")); return ;;
    --interface) _available_interfaces -a; return ;;
    --link | --service | --message-limit | --command-limit | --output-limit | --max-addresses | --node-limit) return ;;
  esac
  $split && return
  if ((cword == 1)); then
    COMPREPLY=($(compgen -W "$("$1" --help | sed -nE 's/^(Usage:)? +discovery-agent ([a-z]+) .*/\2/p') --help --version" -- "$cur"))
  else
    COMPREPLY=($(compgen -W "$("$1" --help | _discovery_agent_options "${words[1]}")" -- "$cur"))
  fi
}
_discovery_agent_options() {  # COMMAND, of the help on stdin
  awk -v command="$1" '
    /^[a-z, ]+:/ { matches = /^(both|all):/ || index($0, command ":") == 1 || $0 ~ "^[a-z, ]*" command "[a-z, ]*:" }
    /^  -/ && matches { for (i = 1; i <= NF && $i ~ /^-/; ++i) { sub(/,$/, "", $i); if ($i ~ /^--/) print $i } }'
}
complete -F _discovery_agent discovery-agent

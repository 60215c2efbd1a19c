#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# What bash offers at the end of command lines: completions.sh PROGRAM FILE, where FILE completes PROGRAM. Each line of stdin holds
# words; the answer is a line with what is offered for the last one, which is empty where the line ends with a blank.
set -uo pipefail
program=$1
# shellcheck disable=SC1091
. /usr/share/bash-completion/bash_completion
# shellcheck disable=SC1090
. "$2"
complete_with=$(complete -p "${program##*/}" | sed -E 's/.* -F ([^ ]+) .*/\1/')
compopt() { :; }  # works in a shell that a person types into only

while IFS= read -r COMP_LINE; do
  read -ra COMP_WORDS <<<"$program $COMP_LINE"
  [[ $COMP_LINE != *\  && $COMP_LINE ]] || COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMP_LINE="$program $COMP_LINE" COMP_POINT=${#COMP_LINE} COMPREPLY=()
  "$complete_with" "$program" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}" 2>/dev/null
  echo "${COMPREPLY[*]}"
done

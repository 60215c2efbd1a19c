#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The packages in build/packages are the same, bit for bit, when the same sources are packed in another folder, whose path has
# another length and blanks in it: reproducible_test.sh amd64|armhf
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
architecture=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
copy="$scratch/another folder of these sources"

mkdir "$copy"
git -C "$source" ls-files -z --cached --others --exclude-standard | (cd "$source" && xargs -0 cp --parents -t "$copy")
# Files are as new as the copy, the mask is another, and so is the hour.
(umask 077 && TZ=Pacific/Kiritimati "$copy/scripts/package" "$architecture")
for package in "$source"/build/packages/*_"$architecture.deb"; do
  cmp "$package" "$copy/build/packages/$(basename "$package")" || {
    for side in "$source" "$copy"; do
      dpkg-deb --raw-extract "$side/build/packages/$(basename "$package")" "$scratch/unpacked"
      (cd "$scratch/unpacked" && find . -type f -exec sha256sum {} + | sort -k2) >>"$scratch/sums"
      rm -r "$scratch/unpacked"
    done
    sort -k2 "$scratch/sums" | uniq -u  # what is the same on both sides goes
    exit 1
  }
done
echo "ok: the packages for $architecture are the same from another folder"

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane reclassify` as a whole process, beside copying the same file with sync and rename, in turns.
# usage: bench/reclassify.sh CORVANE [POINTS [TURNS]]; files of some gigabyte go to a folder under TMPDIR, removed at
# the end. With TMPDIR=/dev/shm there is no disc to wait for.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-7}

work_on "${1-}" "$points"

within=$(square "$points" 0.1) # one per cent of the area
ours=("$corvane" --quiet --memory 256M reclassify survey.las edited.las --overwrite
    --from 2 --to 6 --within "$within")
theirs=(sh -c 'dd if=survey.las of=copy.part bs=1M conv=fsync status=none && mv copy.part copy.las')

take_turns "$turns"
changed=$(cmp -l survey.las edited.las | wc -l || true)
peak=$(peak_of "${ours[@]}")

echo "corvane reclassify, $points points ($(stat -c %s survey.las) bytes, cached), 1 % of the area: $changed bytes changed"
row "" measured ask
row "ours, seconds" "$(median <ours)"
row "copy, sync, rename, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 1.5"
row "peak memory with --memory 256M, MiB" "$peak" "<= 381" # 400 MB

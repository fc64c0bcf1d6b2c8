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

# A square of one per cent of the area that eight points per square metre make, in its middle.
within=$(awk -v n="$points" 'BEGIN {
    side = sqrt(n / 8); a = 0.45 * side; b = 0.55 * side; x = 500000; y = 5200000
    printf "POLYGON((%f %f, %f %f, %f %f, %f %f))", x + a, y + a, x + b, y + a, x + b, y + b, x + a, y + b }')
ours=("$corvane" --quiet --memory 256M reclassify survey.las edited.las --overwrite
    --from 2 --to 6 --within "$within")
theirs=(sh -c 'dd if=survey.las of=copy.part bs=1M conv=fsync status=none && mv copy.part copy.las')

take_turns "$turns"
changed=$(cmp -l survey.las edited.las | wc -l || true)
peak=$(/usr/bin/env python3 - "${ours[@]}" <<'PEAK'
import resource, subprocess, sys
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024)
PEAK
)

echo "corvane reclassify, $points points ($(stat -c %s survey.las) bytes, cached), 1 % of the area: $changed bytes changed"
row "" measured ask
row "ours, seconds" "$(median <ours)"
row "copy, sync, rename, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 1.5"
row "peak memory with --memory 256M, MiB" "$peak" "<= 381" # 400 MB

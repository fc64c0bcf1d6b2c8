#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane reclassify` as a whole process, beside copying the same file with sync and rename, in turns.
# usage: bench/reclassify.sh CORVANE [POINTS [TURNS]]; files of some gigabyte go to a folder under TMPDIR, removed at the end.
set -euo pipefail
export LC_ALL=C
corvane=$(realpath "${1:?usage: bench/reclassify.sh CORVANE [POINTS [TURNS]]}")
points=${2:-20000000}
turns=${3:-7}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
"$corvane" --quiet sample survey.las --points "$points"

# A square of one per cent of the area that eight points per square metre make, in its middle.
within=$(awk -v n="$points" 'BEGIN {
    side = sqrt(n / 8); a = 0.45 * side; b = 0.55 * side; x = 500000; y = 5200000
    printf "POLYGON((%f %f, %f %f, %f %f, %f %f))", x + a, y + a, x + b, y + a, x + b, y + b, x + a, y + b }')
reclassify=("$corvane" --quiet --memory 256M reclassify survey.las edited.las --overwrite
    --from 2 --to 6 --within "$within")
copy=(sh -c 'dd if=survey.las of=copy.part bs=1M conv=fsync status=none && mv copy.part copy.las')

cat survey.las >/dev/null # into the file cache
# Prints the seconds that a command took.
timed() {
    local start=$EPOCHREALTIME
    "$@" >/dev/null
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { print b - a }'
}
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

timed "${reclassify[@]}" >/dev/null
timed "${copy[@]}" >/dev/null
for ((turn = 0; turn < turns; ++turn)); do
    ours=$(timed "${reclassify[@]}")
    theirs=$(timed "${copy[@]}")
    echo "$ours" >>ours
    echo "$theirs" >>theirs
    awk -v a="$ours" -v b="$theirs" 'BEGIN { print a / b }' >>ratios
done
changed=$(cmp -l survey.las edited.las | wc -l || true)
peak=$(/usr/bin/env python3 - "${reclassify[@]}" <<'PEAK'
import resource, subprocess, sys
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024)
PEAK
)

echo "corvane reclassify, $points points ($(stat -c %s survey.las) bytes, cached), 1 % of the area: $changed bytes changed"
printf '  %-34s %10s %10s\n' "" measured ask
printf '  %-34s %10.3f\n' "ours, seconds" "$(median <ours)"
printf '  %-34s %10.3f\n' "copy, sync, rename, seconds" "$(median <theirs)"
printf '  %-34s %10.2f %10s\n' "ratio of times" "$(median <ratios)" "<= 2"
printf '  %-34s %10d %10s\n' "peak memory with --memory 256M, MiB" "$peak" "<= 381" # 400 MB

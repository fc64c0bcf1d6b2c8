# SPDX-License-Identifier: Apache-2.0
# Sourced by the scripts that measure whole processes: ours and another way in turns, so that a noisy machine is noisy
# for both.

# The seconds that a command took.
timed() {
    local start=$EPOCHREALTIME
    "$@" >/dev/null
    awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { print b - a }'
}
median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# work_on CORVANE POINTS: goes into a folder under TMPDIR, removed at the end, and makes survey.las there, cached.
work_on() {
    corvane=$(realpath "${1:?Which corvane? The first argument is its path.}")
    folder=$(mktemp -d)
    trap 'rm -rf "$folder"' EXIT
    cd "$folder"
    "$corvane" --quiet sample survey.las --points "$2"
    cat survey.las >/dev/null
}

# take_turns COUNT: runs ours and theirs, two arrays, once for nothing and then COUNT times. Leaves the seconds in the
# files ours and theirs, and the quotients in ratios.
take_turns() {
    timed "${ours[@]}" >/dev/null
    timed "${theirs[@]}" >/dev/null
    local turn
    for ((turn = 0; turn < $1; ++turn)); do
        timed "${ours[@]}" >>ours
        timed "${theirs[@]}" >>theirs
    done
    paste ours theirs | awk '{ print $1 / $2 }' >ratios
}

# peak_of COMMAND...: runs it, and prints the most memory that it took, in MiB.
peak_of() {
    /usr/bin/env python3 - "$@" <<'PEAK'
import resource, subprocess, sys
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024)
PEAK
}

# square POINTS PART: a polygon in the middle of the area that eight points per square metre make, with that part of
# its sides.
square() {
    awk -v n="$1" -v part="$2" 'BEGIN {
        side = sqrt(n / 8); a = (1 - part) / 2 * side; b = a + part * side; x = 500000; y = 5200000
        printf "POLYGON((%f %f, %f %f, %f %f, %f %f))", x + a, y + a, x + b, y + a, x + b, y + b, x + a, y + b }'
}

# row TITLE NUMBER [ASK]
row() { printf "  %-34s %10s %10s\n" "$1" "$2" "${3-}"; }

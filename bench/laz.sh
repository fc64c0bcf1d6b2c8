#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane histogram` of a LAZ and `corvane reclassify` from LAZ to LAZ as whole processes, beside a program
# that decodes, or decodes and encodes, the same file with the reference library, in turns.
# usage: bench/laz.sh CORVANE CORVANE_BENCH_LASZIP [POINTS [TURNS]]; files of some gigabyte go to a folder under TMPDIR,
# removed at the end. The second program is built with -DCORVANE_BENCH_LASZIP=PREFIX.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
usage="usage: bench/laz.sh CORVANE CORVANE_BENCH_LASZIP [POINTS [TURNS]]"
corvane=$(realpath "${1:?$usage}")
reference=$(realpath "${2:?$usage}")
points=${3:-20000000}
turns=${4:-5}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# A square of one per cent of the area that eight points per square metre make, in its middle.
within=$(awk -v n="$points" 'BEGIN {
    side = sqrt(n / 8); a = 0.45 * side; b = 0.55 * side; x = 500000; y = 5200000
    printf "POLYGON((%f %f, %f %f, %f %f, %f %f))", x + a, y + a, x + b, y + a, x + b, y + b, x + a, y + b }')

for format in 6 1; do
    "$corvane" --quiet sample survey.las --points "$points" --point-format "$format"
    "$corvane" --quiet convert survey.las survey.laz >/dev/null
    rm survey.las
    echo "point format $format, $points points ($(stat -c %s survey.laz) bytes as LAZ, cached)"
    row "" measured ask

    ours=("$corvane" --quiet histogram survey.laz)
    theirs=("$reference" survey.laz)
    take_turns "$turns"
    row "histogram, seconds" "$(median <ours)"
    row "decoded by the library, seconds" "$(median <theirs)"
    row "times as fast" "$(median <ratios | awk '{ print 1 / $1 }')"
    rm ours theirs

    ours=("$corvane" --quiet reclassify survey.laz edited.laz --overwrite --from 2 --to 6 --within "$within")
    theirs=("$reference" survey.laz passed.laz)
    take_turns "$turns"
    row "reclassify, seconds" "$(median <ours)"
    row "decoded and encoded, seconds" "$(median <theirs)"
    row "times as fast" "$(median <ratios | awk '{ print 1 / $1 }')" ">= $((format == 6 ? 5 : 3))"
    rm ours theirs survey.laz
done

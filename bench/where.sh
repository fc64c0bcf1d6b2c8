#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane histogram --where` with three comparisons, one of them on Z, as a whole process, beside `corvane
# histogram --secondary Z` of the same file, cached, in turns.
# usage: bench/where.sh CORVANE [POINTS [TURNS]]; the file goes to a folder under TMPDIR, removed at the end.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-9}

work_on "${1-}" "$points"
ours=("$corvane" --quiet histogram survey.las --where 'ReturnNumber == 1 && Z > 410 && Intensity < 30000')
theirs=("$corvane" --quiet histogram survey.las --secondary Z)
take_turns "$turns"

echo "corvane histogram --where, $points points ($(stat -c %s survey.las) bytes, cached)"
row "" measured ask
row "--where, seconds" "$(median <ours)"
row "--secondary Z, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 1.5"

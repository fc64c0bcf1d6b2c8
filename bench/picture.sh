#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane picture` as a whole process, beside `corvane histogram --secondary Z` of the same file, cached, in
# turns.
# usage: bench/picture.sh CORVANE [POINTS [TURNS]]; the file goes to a folder under TMPDIR, removed at the end.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-9}

work_on "${1-}" "$points"
ours=("$corvane" --quiet picture survey.las out.png --overwrite)
theirs=("$corvane" --quiet histogram survey.las --secondary Z)
take_turns "$turns"

echo "corvane picture, $points points ($(stat -c %s survey.las) bytes, cached)"
row "" measured ask
row "picture, seconds" "$(median <ours)"
row "histogram --secondary Z, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 4"

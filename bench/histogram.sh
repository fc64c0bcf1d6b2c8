#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane histogram --secondary Z` as a whole process, beside cat of the same file, cached, in turns.
# usage: bench/histogram.sh CORVANE [POINTS [TURNS]]; the file goes to a folder under TMPDIR, removed at the end.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-15}

work_on "${1-}" "$points"
ours=("$corvane" --quiet histogram survey.las --secondary Z)
theirs=(cat survey.las)
take_turns "$turns"

echo "corvane histogram --secondary Z, $points points ($(stat -c %s survey.las) bytes, cached)"
row "" measured ask
row "ours, seconds" "$(median <ours)"
row "cat, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 3"

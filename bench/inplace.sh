#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane save --in-place` after one lasso as a whole process, beside copying the same file with sync and
# rename, in turns. Each turn undoes or does again the lasso before, so that there is always something to write.
# usage: bench/inplace.sh CORVANE [POINTS [TURNS]]; files of some gigabyte go to a folder under TMPDIR, removed at the
# end.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-7}

work_on "${1-}" "$points"

within=$(square "$points" 0.1) # one per cent of the area
"$corvane" --quiet edit survey.las reclassify --from any --to 21 --within "$within" >/dev/null
changed=$("$corvane" --quiet save survey.las --in-place)
sync

copy() { dd if=survey.las of=copy.part bs=1M conv=fsync status=none && mv copy.part copy.las; }
timed copy >/dev/null
for ((turn = 0; turn <= turns; ++turn)); do
    way=$((turn % 2 == 0))
    if ((way)); then "$corvane" --quiet undo survey.las >/dev/null; else "$corvane" --quiet redo survey.las >/dev/null; fi
    seconds=$(timed "$corvane" --quiet save survey.las --in-place)
    copied=$(timed copy)
    ((turn == 0)) && continue # for nothing
    echo "$seconds" >>ours
    echo "$copied" >>theirs
done
paste ours theirs | awk '{ print $1 / $2 }' >ratios

echo "corvane save --in-place, $points points ($(stat -c %s survey.las) bytes, cached), 1 % of the area: ${changed#*: }"
row "" measured ask
row "ours, seconds" "$(median <ours)"
row "copy, sync, rename, seconds" "$(median <theirs)"
row "ratio of times" "$(median <ratios)" "<= 0.1"

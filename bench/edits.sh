#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures edits that are kept beside a survey, as whole processes: a second edit of a compressed survey, what a store
# of 1,000 steps costs whoever opens the survey, and the memory of an edit of a survey four times the budget.
# usage: bench/edits.sh CORVANE [POINTS [TURNS]]; files of a gigabyte go to a folder under TMPDIR, removed at the end.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-20000000}
turns=${3:-7}

work_on "${1-}" "$points"
within=$(square "$points" 0.1) # one per cent of the area

"$corvane" --quiet convert survey.las survey.laz
first=$(timed "$corvane" --quiet edit survey.laz reclassify --from 2 --to 6 --within "$within")
for ((turn = 0; turn < turns; ++turn)); do
    timed "$corvane" --quiet edit survey.laz reclassify --from $((turn % 2 ? 2 : 6)) --to $((turn % 2 ? 6 : 2)) \
        --within "$within" >>second
done

# A thousand steps of a small survey, which opens in no time, so that the store is what costs.
"$corvane" --quiet sample small.las --points 100000
python3 - >steps.json <<'STEPS'
import json
# All points from class 8 to 9 and back; classes that nobody has stand for sources that are not needed.
actions = [{"set": {"editor.from0": 8 + step % 2, "editor.newvalue": 9 - step % 2}, "press": "editor.assign"}
           for step in range(999)]
print(json.dumps({"objects": [{"name": "points", "type": "Field"},
                              {"name": "editor", "type": "Edit/ModifyClassification",
                               "parameters": {"from1": 200, "from2": 200, "from3": 200}}],
                  "connections": [{"from": "points.field", "to": "editor.labelfield"}], "actions": actions}))
STEPS
"$corvane" --quiet edit small.las reclassify --from any --to 8 >steps.txt
thousand=$(timed "$corvane" --quiet edit small.las run steps.json)
steps=$("$corvane" --quiet history small.las --json | grep -c '"module"')
ours=("$corvane" --quiet points small.las --index 7)
theirs=("$corvane" --quiet --original points small.las --index 7)
take_turns 21
opening=$(awk -v a="$(median <ours)" -v b="$(median <theirs)" 'BEGIN { printf "%.1f", 1000 * (a - b) }')

budget=$(($(stat -c %s survey.las) / 4 / 1048576))
peak=$(peak_of "$corvane" --quiet --memory "${budget}M" edit survey.las reclassify --from 2 --to 6 --within "$within")

echo "corvane edit, $points points"
row "" measured ask
row "first edit of the LAZ, seconds" "$first"
row "second edit of it, seconds" "$(median <second)" "<= 0.2"
row "999 edits by a network, seconds" "$thousand"
row "opening $steps steps, milliseconds" "$opening" "<= 8"
row "peak memory with --memory ${budget}M, MiB" "$peak" "<= $((budget + 64))"

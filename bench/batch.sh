#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures `corvane reclassify` of 200 packed tiles, one process at a time on one processor, beside two at a time, in
# turns. Packed, since with plain ones the disc is the limit; TMPDIR=/dev/shm leaves it out.
# usage: bench/batch.sh CORVANE [POINTS [TURNS]]; files go to a folder under TMPDIR, removed at the end. POINTS are those
# of a tile.
set -euo pipefail
export LC_ALL=C
. "$(dirname "$0")/turns.sh"
points=${2:-100000}
turns=${3:-3}

work_on "${1-}" "$points"
mkdir tiles
"$corvane" --quiet convert survey.las tiles/tile0.laz >/dev/null
for ((tile = 1; tile < 200; ++tile)); do cp tiles/tile0.laz "tiles/tile$tile.laz"; done
edit=(reclassify tiles --out-dir out --overwrite --from ground --to building --where 'ReturnNumber == 1')
ours=(taskset -c 0 "$corvane" --quiet "${edit[@]}")
theirs=("$corvane" --quiet "${edit[@]}" --jobs 2)
take_turns "$turns"

echo "corvane reclassify, 200 tiles of $points points"
row "" measured ask
row "one job, seconds" "$(median <ours)"
row "two jobs, seconds" "$(median <theirs)"
row "times as fast" "$(median <ratios)" ">= 1.7"

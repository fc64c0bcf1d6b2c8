#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the pictures of the window that the documentation shows. PROGRAM is the built corvane.
set -euo pipefail
program=$(realpath "${1:?Give the program, such as build/release/bin/corvane.}")
cd "$(dirname "$0")/../docs/images"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"$program" sample "$folder/survey.las" --points 300000 --quiet
"$program" open "$folder/survey.las" --views 4 --theme dark --size 1280x820 --screenshot window.png --overwrite
"$program" open "$folder/survey.las" --views 2 --theme light --size 1280x820 --screenshot window-light.png --overwrite

#!/usr/bin/env bash
# The main job: builds the project, runs the demonstration program, which
# starts the libraries and shows what they do, then does a real job with the
# command-line tool: generates a test sound, edits it (each step one undoable
# document operation), exports its waveform data for web players and prints
# what the result holds.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j2 --target tavo-demo tavo-cli
# The demonstration keeps its settings beside the build, not in the user's
# configuration folder.
export TAVO_SETTINGS="${TAVO_SETTINGS:-$PWD/build/demo-settings.conf}"
./build/bin/tavo-demo "$@"

tavo=./build/bin/tavo
work=build/demo
mkdir -p "$work"
echo
echo "command-line tool (files in $work):"
echo "+ tavo generate tone.wav: 5 s of a 440 Hz stereo tone"
"$tavo" generate "$work/tone.wav" --seconds 5 --tone 440 --channels 2
echo "+ tavo edit: cut 1-2 s, fade in and out, -3 dB, a region, a marker and a title, saved as FLAC"
"$tavo" edit "$work/tone.wav" -o "$work/edited.flac" \
    select:1s-2s cut \
    select:0-0.5s fade-in:linear \
    select:3.5s-4s fade-out:Quadratic-Decelerating \
    select-all gain:-3 \
    region:0.5s-1.5s:Intro marker:2s:Cue "tag:title=Demo tone"
echo "+ tavo peaks: waveform data, JSON (16-bit, both channels) and binary (8-bit, merged)"
"$tavo" peaks "$work/edited.flac" -o "$work/edited.json" --pixels-per-second 20 --channels all
"$tavo" peaks "$work/edited.flac" -o "$work/edited.dat" --samples-per-pixel 512 --bits 8
ls -l "$work/edited.json" "$work/edited.dat" | awk '{ print "  " $5 " bytes  " $NF }'
echo "+ tavo info edited.flac"
"$tavo" info "$work/edited.flac"

#!/bin/sh
# Opening and drawing a long 16-bit WAV against the floor of the machine.
#
#   bench/open_vs_floor.sh [BUILD_DIR]        (default: build)
#
# Generates one hour of 16-bit stereo audio at 44.1 kHz into
# /tmp/tavo-bench (once; 606 MiB), reads it into the page cache, then times
# side by side, best of 5 each:
#   floor: wav_floor maps the file and computes 1600 columns of minimum and
#          maximum per channel over all of it (the speed of memory);
#   ours:  AUDIOSIGNAL_OpenEx with the default flags (the file is mapped)
#          and 1600 columns of AUDIOSIGNAL_DisplayMinMaxFromAudioPointer per
#          channel over the whole signal.
# and prints the ratio (the aim: within 2x of the floor).
set -eu
BUILD=${1:-build}
BIN=$BUILD/bin
DIR=/tmp/tavo-bench
WAV=$DIR/hour16.wav
mkdir -p "$DIR"
if [ ! -f "$WAV" ]; then
    df -h "$DIR" | tail -1
    "$BIN/gen_audio" --kind tone --seconds 3600 --rate 44100 --channels 2 --bits 16 "$WAV"
fi
cat "$WAV" > /dev/null  # warm the page cache

best() {  # runs "$@" 5 times, prints the smallest figure before " ms"
    for i in 1 2 3 4 5; do "$@"; done | sed -n 's/.*: \([0-9.]*\) ms.*/\1/p' | sort -n | head -1
}
FLOOR=$(best "$BIN/wav_floor" "$WAV")
OURS=$(best "$BIN/audiofile_bench" --time-open "$WAV" --repeat 1)
echo "file: $WAV ($(stat -c %s "$WAV") bytes, 1 hour 16-bit stereo 44.1 kHz)"
echo "floor (wav_floor, mmap + 1600 columns min/max): $FLOOR ms"
echo "ours  (OpenEx default flags + 1600 columns):     $OURS ms"
awk -v a="$OURS" -v b="$FLOOR" 'BEGIN { printf "ratio ours/floor: %.2f (aim: <= 2)\n", a / b }'

#!/bin/sh
# Resident memory of an opened long WAV.
#
#   bench/resident_memory.sh [--ten-hours] [BUILD_DIR]   (default: build)
#
# Opens 16-bit stereo 44.1 kHz audio (one hour, 606 MiB; with --ten-hours,
# ten hours, 6.35 GB, written as RF64) in a fresh process each time and
# prints VmRSS before and after:
#   default open (mapped):  aim <= 0.10 of the file's size;
#   AUDIO_OPEN_NO_MAP:      aim <= 1.1 of the sample bytes.
# The file is made in /tmp/tavo-bench when missing; the free space is
# shown first.
set -eu
HOURS=1
if [ "${1:-}" = "--ten-hours" ]; then
    HOURS=10
    shift
fi
BUILD=${1:-build}
BIN=$BUILD/bin
DIR=/tmp/tavo-bench
mkdir -p "$DIR"
df -h "$DIR" | tail -1
if [ "$HOURS" = 10 ]; then WAV=$DIR/tenhours16.wav; else WAV=$DIR/hour16.wav; fi
[ -f "$WAV" ] || "$BIN/gen_audio" --kind tone --seconds $((HOURS * 3600)) --rate 44100 --channels 2 --bits 16 "$WAV"
echo "file: $WAV ($(stat -c %s "$WAV") bytes, $HOURS hour(s))"
"$BIN/audiofile_bench" --rss "$WAV"
"$BIN/audiofile_bench" --rss "$WAV" --no-map

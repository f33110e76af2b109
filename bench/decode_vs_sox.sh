#!/bin/sh
# Decoding compressed files against sox.
#
#   bench/decode_vs_sox.sh [BUILD_DIR]        (default: build)
#
# Makes 10 minutes of 16-bit stereo audio at 44.1 kHz into /tmp/tavo-bench
# (once) and encodes it with sox as FLAC and as MP3 at 192 kbit/s. For each,
# best of 3: `sox FILE -t null -` (decode and discard) against
# AUDIOSIGNAL_OpenEx(FILE, AUTO, AUDIO_OPEN_NO_MAP) followed by 1600 columns
# of drawing; prints both and the ratio (the aim: within 1.2x of sox).
# sox needs libsox-fmt-mp3 for MP3; without it that row is skipped.
set -eu
BUILD=${1:-build}
BIN=$BUILD/bin
DIR=/tmp/tavo-bench
mkdir -p "$DIR"
WAV=$DIR/ten16.wav
[ -f "$WAV" ] || "$BIN/gen_audio" --kind tone --seconds 600 --rate 44100 --channels 2 --bits 16 "$WAV"
[ -f "$DIR/ten16.flac" ] || sox "$WAV" "$DIR/ten16.flac"
if sox -h 2>/dev/null | grep -q ' mp3'; then
    [ -f "$DIR/ten16.mp3" ] || sox "$WAV" -C 192 "$DIR/ten16.mp3"
fi

seconds() {  # best wall time of 3 runs of "$@", in ms
    for i in 1 2 3; do
        start=$(date +%s%N)
        "$@" > /dev/null 2>&1
        end=$(date +%s%N)
        echo $(( (end - start) / 1000000 ))
    done | sort -n | head -1
}
for f in "$DIR/ten16.flac" "$DIR/ten16.mp3"; do
    [ -f "$f" ] || { echo "$(basename "$f"): skipped (sox cannot write it)"; continue; }
    cat "$f" > /dev/null
    SOX=$(seconds sox "$f" -t null -)
    OURS=$(for i in 1 2 3; do "$BIN/audiofile_bench" --time-open "$f" --no-map --repeat 1; done |
           sed -n 's/.*: \([0-9.]*\) ms.*/\1/p' | sort -n | head -1)
    awk -v n="$(basename "$f") ($(stat -c %s "$f") bytes, 10 min)" -v s="$SOX" -v o="$OURS" \
        'BEGIN { printf "%s: sox %d ms, ours %.0f ms, ratio ours/sox %.2f (aim: <= 1.2)\n", n, s, o, o / s }'
done

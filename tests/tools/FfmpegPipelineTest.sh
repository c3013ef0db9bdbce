#!/usr/bin/env bash
# The README's ffmpeg round trip, run as written, and its frames compared
# with rendering the same frames from a file.
#   FfmpegPipelineTest.sh ZELUT WORK_DIR
set -euo pipefail
zelut=$1
work=$2
command -v ffmpeg >/dev/null || { echo "ffmpeg is not installed: run 'make deps'" >&2; exit 1; }
rm -rf "$work"
mkdir -p "$work/bin"
cd "$work"
ln -s "$zelut" bin/zelut
export PATH="$work/bin:$PATH"

ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=160x90:rate=10 -frames:v 6 -pix_fmt yuv420p in.mp4
# A warm look with a lifted black, as a 2-level .cube (red index fastest).
{
  echo "LUT_3D_SIZE 2"
  for b in 0 1; do for g in 0 1; do for r in 0 1; do
    echo "$(awk "BEGIN { printf \"%.6f %.6f %.6f\", 0.05 + 0.95 * $r, 0.03 + 0.9 * $g, 0.8 * $b }")"
  done; done; done
} > look.cube

# Exactly the README's command line.
(ffmpeg -i in.mp4 -f yuv4mpegpipe - | zelut apply --lut look.cube - - | ffmpeg -f yuv4mpegpipe -i - out.mp4) \
  < /dev/null 2> pipeline.log || { cat pipeline.log >&2; exit 1; }
frames=$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames \
  -of csv=p=0 out.mp4)
[ "$frames" = 6 ] || { echo "out.mp4 has '$frames' frames, not 6" >&2; exit 1; }

# The same stream, through a pipe and from a file, gives the same frames.
ffmpeg -nostdin -v error -i in.mp4 -f yuv4mpegpipe - | zelut apply --lut look.cube - - \
  | ffmpeg -nostdin -v error -f yuv4mpegpipe -i - -f rawvideo -pix_fmt yuv420p piped.yuv
ffmpeg -nostdin -v error -i in.mp4 -f yuv4mpegpipe in.y4m
zelut apply --lut look.cube in.y4m file.y4m > /dev/null
ffmpeg -nostdin -v error -i file.y4m -f rawvideo -pix_fmt yuv420p file.yuv
ffmpeg -nostdin -v error -i in.y4m -f rawvideo -pix_fmt yuv420p source.yuv
cmp piped.yuv file.yuv
[ "$(stat -c %s file.yuv)" = $((160 * 90 * 3 / 2 * 6)) ]
if cmp -s source.yuv file.yuv; then
  echo "the look changed nothing" >&2
  exit 1
fi
echo "ffmpeg round trip: 6 frames, piped output equals the file render"

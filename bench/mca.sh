#!/usr/bin/env bash
# Cycles per pixel of the NEON kernel's loops, by LLVM's machine-code
# analyser on the cross compiler's assembly, for a little core (Cortex-A55)
# and a big one (Cortex-A57, the model LLVM 14 uses for its big cores).
# No arm64 hardware is needed; the figures are a static estimate of the
# steady state of each loop. Per frame pixel: a conversion loop's iteration
# covers 8 columns of both rows (16 pixels), a grid lookup iteration 8 pixels.
#   bash bench/mca.sh            (make mca)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/build/mca
mkdir -p "$out"
mca=$(command -v llvm-mca-14 || command -v llvm-mca)
aarch64-linux-gnu-g++ -std=c++17 -O2 -DLUT3D_MCA -I"$root" -I"$root/include" \
  -S "$root/lut/kernel/Lut3DKernelNeon.cpp" -o "$out/Lut3DKernelNeon.s"
# GNU as takes byte immediates written sign-extended to 64 bits; LLVM wants the byte.
sed -i -E 's/(movi[[:space:]]+v[0-9]+\.(16|8)b,[[:space:]]*)0xffffffffffffff([0-9a-f]{2})/\10x\3/' \
  "$out/Lut3DKernelNeon.s"
printf '%-22s %-12s %14s %16s\n' "loop" "core" "cycles/iter" "cycles/pixel"
for cpu in cortex-a55 cortex-a57; do
  "$mca" -mtriple=aarch64 -mcpu="$cpu" -iterations=200 -all-views=false -summary-view \
    "$out/Lut3DKernelNeon.s" > "$out/$cpu.txt" 2>&1
  awk -v cpu="$cpu" '
    /^\[[0-9]+\] Code Region - / { name = $NF }
    /^Total Cycles:/ { cycles = $3 }
    /^Iterations:/ { iterations = $2 }
    /^Block RThroughput:/ {
      if (name == "") next
      pixels = name ~ /^gridLookup/ ? 8 : 16
      perPixel = cycles / iterations / pixels
      printf "%-22s %-12s %14.2f %16.3f\n", name, cpu, cycles / iterations, perPixel
      if (name != "gridLookup-indexed") total += perPixel
    }
    END { printf "%-22s %-12s %14s %16.3f\n", "all steps, uniform", cpu, "", total }' "$out/$cpu.txt"
done

#!/usr/bin/env bash
# Installs the Debian packages a build needs, only those that are missing.
#   install-deps.sh host    # native build, tests, benchmarks
#   install-deps.sh arm64   # cross build for aarch64 and qemu to run it
set -euo pipefail

host_pkgs=(cmake ninja-build g++ make pkgconf googletest zlib1g-dev android-liblog-dev android-liblog
           libbenchmark-dev libpng-dev clang libclang-rt-14-dev default-jdk-headless ffmpeg)
arm64_pkgs=(g++-aarch64-linux-gnu qemu-user llvm-14 android-liblog-dev:arm64 android-liblog:arm64
            zlib1g-dev:arm64 libpng-dev:arm64)

want=()
case "${1:-host}" in
  host) want=("${host_pkgs[@]}") ;;
  arm64)
    want=("${host_pkgs[@]}" "${arm64_pkgs[@]}")
    if ! dpkg --print-foreign-architectures | grep -qx arm64; then
      [ "$(id -u)" = 0 ] || { echo "install-deps: run as root to add the arm64 architecture" >&2; exit 1; }
      dpkg --add-architecture arm64
      updated_arch=1
    fi
    ;;
  *) echo "usage: $0 host|arm64" >&2; exit 2 ;;
esac

missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && [ -z "${updated_arch:-}" ] && exit 0
if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  [ "$(id -u)" = 0 ] || { echo "install-deps: run as root (apt-get) to install them" >&2; exit 1; }
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

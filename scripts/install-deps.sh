#!/usr/bin/env bash
# Installs every Debian package the build, the tests, the benchmarks and the
# fuzz targets need. Idempotent: packages already present are skipped, so a
# second run costs a dpkg query and nothing else. Run as root on Debian 12.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config file python3
  zlib1g-dev libcpptoml-dev libutfcpp-dev nlohmann-json3-dev
  libgtest-dev googletest libbenchmark-dev
  libfmt-dev libspdlog-dev
  mingw-w64 g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix libz-mingw-w64-dev
  wine64 clang libclang-rt-14-dev
  cabextract gcab
  libxml2-dev
  libssl-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "install-deps: done"

#!/usr/bin/env bash
# The main job: installs what is missing, builds the hdutil tool (optimised,
# native) and runs it. With no arguments hdutil works on its built-in default;
# any arguments are passed on to it (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh >&2
cmake --preset linux-release >/dev/null
cmake --build --preset linux-release --target hdutil >&2
exec build/linux-release/bin/hdutil "$@"

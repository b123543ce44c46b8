#!/usr/bin/env bash
# The FX golden files: scripts/update_goldens.sh --target FX.
# usage: scripts/update_gen_goldens.sh [--update] [--build BUILD_DIR] [CASE...]
exec "$(dirname "$0")/update_goldens.sh" --target FX "$@"

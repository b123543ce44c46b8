#!/usr/bin/env bash
# The C++ golden files: scripts/update_goldens.sh --target Swrc.
# usage: scripts/update_swrc_goldens.sh [--update] [--build BUILD_DIR] [CASE...]
exec "$(dirname "$0")/update_goldens.sh" --target Swrc "$@"

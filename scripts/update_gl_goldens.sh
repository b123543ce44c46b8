#!/usr/bin/env bash
# The GL golden files: scripts/update_goldens.sh --target GL.
# usage: scripts/update_gl_goldens.sh [--update] [--build BUILD_DIR] [CASE...]
exec "$(dirname "$0")/update_goldens.sh" --target GL "$@"

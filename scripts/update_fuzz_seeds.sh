#!/usr/bin/env bash
# Regenerates the seeds of the unit stream fuzz target (tests/fuzz/corpus/unit_stream/) from the
# compile target's seeds that compile without errors. Review the change with git status.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --build build -j 2 --target make_unit_seeds
rm -f tests/fuzz/corpus/unit_stream/*.unit
build/tests/make_unit_seeds tests/fuzz/corpus/unit_stream tests/fuzz/corpus/compile/*.ovl

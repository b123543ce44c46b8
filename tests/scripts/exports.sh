#!/usr/bin/env bash
# The shared library exports exactly one dynamic symbol.
set -euo pipefail
build=$1
symbols=$(nm -D --defined-only "$build/libvorn.so" | awk '{print $3}' | sort)
if [ "$symbols" != "initialize_vorn" ]; then
  echo "libvorn.so exports more than initialize_vorn:"
  echo "$symbols"
  exit 1
fi
echo "libvorn.so exports: $symbols"

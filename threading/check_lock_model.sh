#!/usr/bin/env bash
# Model-checks lock_model.pml with spin, exhaustively: the lock word's design
# must show no assertion violation and no invalid end state, and the
# semaphore design it replaced must show its lost wake-up (or the model has
# stopped being able to see one).
#
#   check_lock_model.sh MODEL.pml
set -euo pipefail
model=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
cc=$(command -v gcc || command -v clang || command -v cc)

# Runs the verifier for the model built with the given spin options.
verify() {
  spin "$@" -a "$model" >/dev/null
  "$cc" -O2 -w -DSAFETY -o pan pan.c
  ./pan -m200000 >report.txt || true
  grep -E 'errors:|states, stored' report.txt
  grep -q 'errors: 0' report.txt
}

echo "lock word, sleeping on its own address:"
verify || { cat report.txt; spin -t -p "$model" | tail -40; exit 1; }
echo "earlier design, one semaphore per slot (must fail):"
if verify -DSEMAPHORE_SLOTS; then
  echo "the semaphore design passed: the model no longer sees a lost wake-up" >&2
  exit 1
fi

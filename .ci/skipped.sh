#!/usr/bin/env bash
# Reports a test run that did not happen: a loud banner, and build/PRESET/SKIPPED with the reason
# so that the CI summary lists it as skipped.
preset=$1 reason=$2
mkdir -p "build/$preset"
echo "$reason" > "build/$preset/SKIPPED"
echo "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!"
echo "!!! SKIPPED: the $preset tests did not run (not passed, not failed)."
echo "!!! Reason: $reason"
echo "!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!!"

#!/bin/sh
set -e
program=$(mktemp)
trap 'rm -f "$program"' EXIT
# shellcheck disable=SC2046
g++ -std=c++17 -o "$program" "$(dirname "$0")/cpphttplib.cpp" $(pkg-config --cflags --libs cpp-httplib)
"$program" "$@"

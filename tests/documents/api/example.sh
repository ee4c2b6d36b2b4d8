#!/bin/sh
# Runs the compiled example against the device that runs, with a file that takes several pieces.
set -eu

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
head -c 12000000 /dev/urandom >"$folder/Messwerte März.bin"

cat >"$folder/expected" <<'EOF'
before: 4 files
uploaded: 12000000 bytes
after: 5 files
downloaded: 12000000 bytes
the same bytes
EOF
node compiled/transfer.js http://127.0.0.1:8081 "$folder/Messwerte März.bin" "$USER_FILES" |
    tee "$folder/printed"
diff "$folder/expected" "$folder/printed"

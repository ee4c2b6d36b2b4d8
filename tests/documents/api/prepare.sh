#!/bin/sh
# Copies the description and what belongs to it to a folder of the build, and installs the pinned
# packages there unless exactly they are there already.
#   prepare.sh SOURCE FOLDER
set -eu
source=$1
folder=$2

mkdir -p "$folder"
tar -C "$source" --exclude=./node_modules -cf - . | tar -C "$folder" -xf -
cd "$folder"

installed=node_modules/.installed-from
if cmp -s package-lock.json "$installed"; then
    exit 0
fi
# Three more tries within half a minute, for a network that fails for a moment; none at all takes a
# minute then, where the pauses that npm makes by itself take three.
npm ci --ignore-scripts --no-audit --no-fund \
    --prefer-offline --fetch-retries=3 --fetch-retry-mintimeout=2000 --fetch-retry-maxtimeout=10000
cp package-lock.json "$installed"

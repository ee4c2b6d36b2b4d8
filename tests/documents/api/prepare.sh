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
# Without a network that is known after seconds, not after minutes.
npm ci --ignore-scripts --no-audit --no-fund \
    --prefer-offline --fetch-retries=1 --fetch-retry-mintimeout=2000
cp package-lock.json "$installed"

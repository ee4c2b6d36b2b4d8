#!/bin/sh
http --version
http --ignore-stdin --quiet --check-status --multipart "$1" "metadata=$2" "file@$3"

#!/bin/sh
wget --version | head -n 1 | cut -d ' ' -f 3
form=$(mktemp)
trap 'rm "$form"' EXIT
{
    printf -- '--form\r\nContent-Disposition: form-data; name="metadata"\r\n\r\n%s\r\n' "$2"
    printf -- '--form\r\nContent-Disposition: form-data; name="file"\r\n\r\n'
    cat "$3"
    printf '\r\n--form--\r\n'
} > "$form"
wget -q -O /dev/null --post-file "$form" --header 'Content-Type: multipart/form-data; boundary=form' "$1"

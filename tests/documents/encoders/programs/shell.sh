#!/bin/sh
curl --version | cut -d ' ' -f 2 | head -n 1
{
    printf -- '--form\r\nContent-Disposition: form-data; name="metadata"\r\n\r\n%s\r\n' "$2"
    printf -- '--form\r\nContent-Disposition: form-data; name="file"\r\n\r\n'
    cat "$3"
    printf '\r\n--form--\r\n'
} | curl -sS -f -o /dev/null --data-binary @- -H 'Content-Type: multipart/form-data; boundary=form' "$1"

# shellcheck shell=sh
# For the tests of installed trees. A script sources it with a working directory of its own as $work.
set -eu
: "${work:?}"

fail() {
    [ ! -f "$work/host.log" ] || cat "$work/host.log" >&2
    echo "FAILED: $*" >&2
    exit 1
}

# Compares what $2 prints with the lines of $1.
expect_lines() {
    [ "$1" = "$2" ] || fail "expected
$1
and got
$2"
}

# start_host PROGRAM ARGUMENT...: starts a program that serves and waits for the line with which it
# says that requests are answered. It is ended with this script at the latest.
start_host() {
    rm -f "$work/ready"
    mkfifo "$work/ready"
    "$@" >"$work/ready" 2>"$work/host.log" &
    host=$!
    trap 'kill "$host" 2>/dev/null && wait "$host" || true' EXIT
    read -r line <"$work/ready" || {
        cat "$work/host.log" >&2
        fail "$1 ended instead of serving"
    }
    expect_lines "listening on http://127.0.0.1:8081" "$line"
}

# Ends the program by its id; it must leave with success.
stop_host() {
    kill "$host"
    status=0
    wait "$host" || status=$?
    trap - EXIT
    [ "$status" -eq 0 ] || fail "the host left with status $status"
}

# ask ARGUMENT...: one request with curl; prints the body.
ask() {
    curl --silent --show-error --max-time 20 "$@"
}

# check_minimal_host PROGRAM: starts the example, asks it and sends it a file there and back.
check_minimal_host() {
    program=$1
    rm -rf "$work/device" "$work/run"
    mkdir "$work/device" "$work/run"
    cd "$work/run"
    start_host "$program" "$work/device"

    information=$(ask http://127.0.0.1:8081/info)
    case $information in
    *'"model": "minimal host"'*) ;;
    *) fail "/info answered $information" ;;
    esac

    head -c 12000000 /dev/urandom >"$work/sent"
    target=$(cd "$work/device/files" && pwd -P)/sent.bin
    ask --output /dev/null -H 'Expect:' http://127.0.0.1:8081/api/filemgr/v2/userfiles \
        -F "metadata={\"fileUri\": \"$target\", \"fileSize\": 12000000};type=application/json" \
        -F "file=@$work/sent"
    cmp "$work/sent" "$target" || fail "the uploaded file differs"
    ask --output "$work/received" "http://127.0.0.1:8081/api/filemgr/v2/userfiles$target"
    cmp "$work/sent" "$work/received" || fail "the downloaded file differs"

    ask --output /dev/null http://127.0.0.1:8081/api/workflow/v1/workorders \
        -d '{"cdm": [{"workOrderId": "first"}, {"workOrderId": "second"}]}'
    list=$(ask http://127.0.0.1:8081/api/workflow/v1/list)
    expect_lines 2 "$(printf '%s' "$list" | grep -c '"workOrderId":')"
    case $(ask http://127.0.0.1:8081/api/workflow/v1/workorder/second) in
    *'"workOrderId": "second"'*) ;;
    *) fail "the second work order is not answered" ;;
    esac
    stop_host
}

# Waiting on a condition rather than for a fixed time. Sourced by tests/app/lib.sh and tests/interop/lib.sh, which
# define fail.

# poll SECONDS COMMAND...: runs COMMAND until it succeeds; false when SECONDS pass first.
poll() {
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.1
    done
}

# wait_for WHAT SECONDS COMMAND...: the same, failing the test with WHAT.
wait_for() {
    local what=$1
    shift
    poll "$@" || fail "$what (waited $1 s)"
}

#!/usr/bin/env bash
# Takes a Wine prefix for one owner, and gives it back. Tests look at the whole registry of their
# prefix, and its server ends all programs in it when it ends: two owners at a time would break each
# other's tests.
#   scripts/wine-session.sh start    waits until nobody has the prefix, and starts its server
#   scripts/wine-session.sh stop     ends the server and gives the prefix back
# The owner is the process that called "start". When it ends without "stop", the prefix is free too.
# WINEPREFIX is the prefix; scripts/wine.sh has the rest.
set -euo pipefail

wine="$(dirname "${BASH_SOURCE[0]}")/wine.sh"
lock="$WINEPREFIX.owner"  # locked by the keeper, whose number is inside

# Stays as long as the owner does. Nothing that it starts inherits the lock.
keep() {
    local owner=$1
    trap 'owner=' TERM
    while [ -n "$owner" ] && kill -0 "$owner" 2>/dev/null; do
        sleep 0.2 8>&-
    done
    end_server
}

end_server() {
    wineserver -k 8>&- || true
    wineserver -w 8>&- || true
}

case ${1:-} in
start)
    mkdir -p "$(dirname "$lock")"
    exec 8>>"$lock"
    if ! flock -n 8; then
        printf 'waiting for process %s, which has %s\n' "$(cat "$lock")" "$WINEPREFIX"
        flock 8
    fi
    end_server 2>/dev/null
    : >"$WINEPREFIX.log"
    "$wine" 8>&- || { cat "$WINEPREFIX.log"; exit 1; }
    keep "$PPID" >/dev/null 2>>"$WINEPREFIX.log" </dev/null &
    echo "$!" >"$lock"
    ;;
stop)
    keeper=$(cat "$lock")
    kill "$keeper" 2>/dev/null || true
    # The next owner may have the lock at once.
    while kill -0 "$keeper" 2>/dev/null; do sleep 0.1; done
    ;;
*)
    sed -n '2,/^set/s/^# \{0,1\}//p' "$0"
    exit 2
    ;;
esac

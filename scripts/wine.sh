#!/usr/bin/env bash
# Runs a Windows program under Wine in a prefix of the project's own.
#   scripts/wine.sh PROGRAM ARG...
# WINEPREFIX chooses the prefix (default: that of the tests, build/wine-x64 or build/wine-x86); it is
# made when it is missing. The prefix's server is started once and stays, because a server that comes
# and goes with every program costs two seconds each time: end it with WINEPREFIX=... wineserver -k.
# What Wine reports meanwhile is in WINEPREFIX.log.
# ZELK_PRESET=x86 is for 32-bit programs. Debian's "wine" takes the 32-bit loader and starts 64-bit
# programs by way of it, which takes twice as long.
# ZELK_HOLDER names a program that keeps a desktop open in the prefix; it is started with the server.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
preset=${ZELK_PRESET:-x64}
export WINEPREFIX="${WINEPREFIX:-$root/build/wine-$preset}"
export WINEDEBUG="${WINEDEBUG:--all}"
# A library of these names in the folder of a program comes before the system's, as it does on Windows.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=;odbccp32,shfolder=n,b}"
unset DISPLAY
loader=wine
if [ "$preset" != x86 ] && [ "$(command -v wine)" = /usr/bin/wine ] && [ -x /usr/lib/wine/wine64 ]; then
    loader=/usr/lib/wine/wine64
fi

# Signal 0 only asks. Where the server has its socket differs from one Wine package to the next.
server_runs() {
    wineserver -k0 2>/dev/null
}

# A new prefix links the user's folders to the home folder of the developer; a test must not
# write there.
own_folders() {
    local link
    for link in "$WINEPREFIX"/drive_c/users/*/*; do
        if [ -L "$link" ]; then
            rm "$link"
            mkdir "$link"
        fi
    done
}

# The debugger that Wine starts for a program that crashes sometimes ends it with exit code 0.
no_debugger() {
    local view
    for view in 32 64; do
        wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d none /f \
            "/reg:$view" >/dev/null 2>>"$WINEPREFIX.log" </dev/null 9>&- || true
    done
}

start_server() {
    wineserver -p >/dev/null 2>>"$WINEPREFIX.log" </dev/null 9>&- || true
    if [ ! -e "$WINEPREFIX/.made" ]; then
        wine wineboot -u >/dev/null 2>>"$WINEPREFIX.log" </dev/null 9>&-
        own_folders
        no_debugger
        touch "$WINEPREFIX/.made"
    fi
    if [ -n "${ZELK_HOLDER:-}" ]; then
        # The first program brings up services and the desktop, which inherit its streams and outlive
        # it: not those of the program that was asked for.
        wine "$ZELK_HOLDER" once >/dev/null 2>>"$WINEPREFIX.log" </dev/null 9>&-
        setsid wine "$ZELK_HOLDER" >/dev/null 2>>"$WINEPREFIX.log" </dev/null 9>&- &
    fi
}

mkdir -p "$WINEPREFIX"
if [ ! -e "$WINEPREFIX/.made" ] || ! server_runs; then
    (
        flock 9
        if [ ! -e "$WINEPREFIX/.made" ] || ! server_runs; then start_server; fi
    ) 9>"$WINEPREFIX.lock"
fi
[ $# -eq 0 ] || exec "$loader" "$@"

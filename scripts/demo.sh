#!/usr/bin/env bash
# Registers a demo copy of the package in a Wine prefix of its own, shows what that left, and
# unregisters it again.
#   scripts/demo.sh              the whole demonstration
#   scripts/demo.sh -- ARG...    runs zelkpmreg with your own arguments in the same prefix
#   scripts/demo.sh fleet        registers and unregisters 50 copies, and shows how long each takes
# Everything is in build/demo. Delete that folder to remove it.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

demo="$root/build/demo"
export WINEPREFIX="$demo/prefix"
export ZELK_HOLDER="$root/build/x64/programs/holder.exe"
folder="$WINEPREFIX/drive_c/Program Files/Orvane/Pellimar Package"
tool='C:\Program Files\Orvane\Pellimar Package\bin\zelkpmreg.exe'
log='C:\demo\zelkpmreg.log'
regtree="$root/build/x64/programs/regtree.exe"
provider='SOFTWARE\Classes\CLSID\{5D3C9B7A-1F60-4E8B-9B5E-0A7C31E6D2F4}'
uninstall='SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\MYCOPY'

stop_server() { WINEPREFIX="$WINEPREFIX" wineserver -k 2>/dev/null || true; }
indent() { tr -d '\r' | sed 's/^/    /'; }

prepare() {
    "$root/scripts/setup.sh"
    target=demo build x64
    mkdir -p "$demo"
    [ -e "$WINEPREFIX/.made" ] || printf 'making a Wine prefix ...\n'
    "$wine" || die "Wine could not make a prefix in build/demo"
    lay_package x64 "$folder"
    # shellcheck disable=SC1003  # the backslash ends a path
    # The package's .NET step runs only where the .NET Framework is installed.
    "$wine" reg add 'HKLM\SOFTWARE\Microsoft\.NETFramework' /v InstallRoot /t REG_SZ \
        /d 'C:\windows\Microsoft.NET\Framework64\' /f /reg:64 >/dev/null
}

# A data source of the driver and one of another driver, as an administrator might have made them.
make_data_sources() {
    local key='HKLM\SOFTWARE\ODBC\ODBC.INI\ODBC Data Sources'
    "$wine" reg add "$key" /v 'Demo of another driver' /d 'Another driver' /f /reg:64 >/dev/null
    [ "${1:-}" != both ] || "$wine" reg add "$key" /v 'Sales database' /f /reg:64 \
        /d 'ORVANE PELLIMAR for ODBC - C:/Program Files/Orvane/Pellimar Package/' >/dev/null
}

# run ARG...: runs zelkpmutil, shows the command, the console and the exit code.
run() {
    local status=0
    printf '\n    > zelkpmutil %s\n\n' "$*"
    "$wine" "${tool/zelkpmreg/zelkpmutil}" "$@" 2>&1 | indent || status=${PIPESTATUS[0]}
    printf '\n    exit code: %s\n' "$(signed "$status")"
}

snapshot() { "$wine" "$regtree" --raw SOFTWARE | tr -d '\r' >"$demo/$1.txt"; }

show_registry() {
    say "What the registry holds now, below HKEY_LOCAL_MACHINE"
    "$wine" "$regtree" 'SOFTWARE\Orvane' 'SOFTWARE\ODBC' 'SOFTWARE\Microsoft\MSDTC' "$uninstall" \
        "$provider" | indent
}

# show_log COMMAND: the log of the last run of a command.
show_log() {
    local last
    last=$(find "$WINEPREFIX/drive_c/windows" -ipath "*/logs/orvane/*-MYCOPY-$1.log" | sort | tail -n 1)
    say "The log, $(basename "$last")"
    indent <"$last"
}

# Fifty copies in fifty folders of one prefix, as a server has them that keeps every release.
show_fleet() {
    local number=50 copies="$WINEPREFIX/drive_c/fleet" file="$demo/fleet.txt" action name i began left
    local -A options=([register]=-c [unregister]='-u -c')
    say "Preparing"
    prepare
    "$wine" "$regtree" --delete 'SOFTWARE\Orvane' 'SOFTWARE\ODBC' 'SOFTWARE\Microsoft\MSDTC'
    # Settings and empty keys that other products share stay for good; one run makes them.
    "$wine" "$tool" -c MYCOPY -s -l "$log"
    "$wine" "$tool" -u -c MYCOPY -s -l "$log"
    for ((i = 1; i <= number; i++)); do lay_package x64 "$copies/Copy $i"; done
    snapshot before

    say "Registering $number copies and unregistering them"
    : >"$file"
    for action in register unregister; do
        for ((i = 1; i <= number; i++)); do
            name=$(printf 'FLEET%02d' "$i")
            began=${EPOCHREALTIME/./}
            # shellcheck disable=SC2086  # one or two options
            "$wine" "C:\\fleet\\Copy $i\\bin\\zelkpmreg.exe" ${options[$action]} "$name" -s -l "$log" ||
                die "$action of $name ended with $(signed $?)"
            printf '%s %s %s\n' "$action" "$i" $(((${EPOCHREALTIME/./} - began) / 1000)) >>"$file"
        done
        [ "$action" = unregister ] || left=$("$wine" "$regtree" --raw 'SOFTWARE\Orvane\Zelk\InstalledCopies' |
            tr -d '\r' | grep -c '^\[.*InstalledCopies\\FLEET[0-9]*\]$')
    done
    snapshot after
    printf '    registered at once: %s\n\n    %-20s%12s%14s\n' "$left" "milliseconds" register unregister
    awk '{ n = int(($2 - 1) / 10); sum[$1, n] += $3; all[$1] += $3 }
        END {
            for (n = 0; n < 5; ++n)
                printf "    copies %2d to %2d, each%11.0f%14.0f\n", 10 * n + 1, 10 * n + 10,
                    sum["register", n] / 10, sum["unregister", n] / 10
            printf "    all together%19.0f%14.0f\n", all["register"], all["unregister"]
        }' "$file"

    say "What the registry holds now, next to the start"
    diff "$demo/before.txt" "$demo/after.txt" | indent || true
    cmp -s "$demo/before.txt" "$demo/after.txt" || die "the lines above differ"
    printf '    The %s keys below HKEY_LOCAL_MACHINE\\SOFTWARE are as at the start.\n' \
        "$(grep -c '^\[' "$demo/after.txt")"
    rm -rf "$copies"
    stop_server
}

if [ "${1:-}" = fleet ]; then
    show_fleet
    exit
fi
if [ "${1:-}" = -- ]; then
    shift
    prepare >&2
    status=0
    "$wine" "$tool" "$@" || status=$?
    printf 'exit code: %s\n' "$(signed "$status")" >&2
    exit "$status"
fi
[ $# -eq 0 ] || die "arguments for zelkpmreg come after --, as in: scripts/demo.sh -- -h"

say "Preparing"
prepare
rm -f "$folder"/bin/*.asked
# What an earlier demonstration left.
"$wine" "$tool" -u -c MYCOPY -s >/dev/null 2>&1 || true
"$wine" "$regtree" --delete 'SOFTWARE\Orvane' 'SOFTWARE\ODBC' 'SOFTWARE\Microsoft\MSDTC'
make_data_sources
snapshot before

say "Registering the copy in C:\\Program Files\\Orvane\\Pellimar Package"
run register MYCOPY -d
show_registry
say "What the package's switch tool was asked"
indent <"$folder/bin/zelkswtch.asked"
show_log register

say "Listing what is registered"
run list

say "An administrator makes the data source \"Sales database\" with the driver"
make_data_sources both
"$wine" "$regtree" 'SOFTWARE\ODBC\ODBC.INI' | indent

say "Unregistering the copy"
run unregister
show_registry
snapshot after

say "What registering made and unregistering left"
# Keys and settings that other products may share by then; they stay, on purpose.
cat >"$demo/expected.txt" <<'END'
[SOFTWARE\Microsoft\MSDTC]
[SOFTWARE\Microsoft\MSDTC\XADLL]
[SOFTWARE\ODBC\ODBCINST.INI]
[SOFTWARE\ODBC\ODBCINST.INI\ODBC Connection Pooling]
[SOFTWARE\ODBC\ODBCINST.INI\ODBC Drivers]
PerfMon	1	01000000
RetryWait	1	78000000
[SOFTWARE\Orvane]
END
diff "$demo/before.txt" "$demo/after.txt" | sed -n 's/^[<>] //p' | LC_ALL=C sort >"$demo/left.txt" || true
indent <"$demo/left.txt"
if grep -vxFf "$demo/expected.txt" "$demo/left.txt" >"$demo/unexpected.txt"; then
    indent <"$demo/unexpected.txt"
    die "the lines above were not to be left in the registry"
fi
printf '\n    These are settings and empty keys that other products share, and they stay; all else\n'
printf '    of the %s keys below HKEY_LOCAL_MACHINE\\SOFTWARE is as it was.\n' \
    "$(grep -c '^\[' "$demo/after.txt")"
stop_server
printf '\nTry zelkpmreg yourself:  scripts/demo.sh -- -h\n'

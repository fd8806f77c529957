#!/bin/sh
# wine64.sh PROGRAM [ARGUMENT]...: runs a program for 64-bit Windows, on a Windows of
# its own that is made in build/wine64 the first time.
set -eu

project=$(dirname "$(dirname "$(realpath "$0")")")
mkdir -p "$project/build"
export WINEPREFIX="$project/build/wine64" WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml='

exec 9>"$WINEPREFIX.lock"
flock 9
if [ ! -e "$WINEPREFIX.made" ]; then
    # Message boxes wait for an answer where there is no display, too.
    /usr/lib/wine/wine64 reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >&2 9>&-
    /usr/lib/wine/wineserver64 --wait 9>&-
    touch "$WINEPREFIX.made"
fi
# The services of Windows go on for a while, and would hold the program's output.
/usr/lib/wine/wine64 cmd /c rem >/dev/null 2>&1 9>&-
exec 9>&-
exec /usr/lib/wine/wine64 "$@"

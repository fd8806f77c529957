#!/bin/sh
# Installs those of the named Debian packages that are missing. Needs neither
# the network nor any rights when none is.
set -eu

missing=
for package in "$@"; do
    case $(dpkg-query --show --showformat='${Status}' "$package" 2>/dev/null || true) in
    'install ok installed') ;;
    *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

echo "Installing:$missing"
as_root=
[ "$(id -u)" = 0 ] || as_root=sudo
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -qq </dev/null
# shellcheck disable=SC2086 # the names are separate words
$as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends $missing </dev/null

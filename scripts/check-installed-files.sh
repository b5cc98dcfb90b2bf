#!/usr/bin/env bash
# Installs a build into a scratch prefix and checks what a desktop reads there: the .desktop
# file (desktop-file-validate), the AppStream metainfo (appstreamcli) and the manual page.
# Usage: scripts/check-installed-files.sh BUILD_DIRECTORY
set -euo pipefail
build="$1"
prefix="$(mktemp -d)"
# tavro writes its settings file at exit: into the scratch prefix, not the user's.
export XDG_CONFIG_HOME="$prefix/config"
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix" > /dev/null
desktop-file-validate "$prefix/share/applications/zelk.Tavro.desktop"
# The component id is the desktop file's, "zelk.Tavro", the program's identity since its
# first version; AppStream would like a domain in front of it.
appstreamcli validate --no-net --override=cid-desktopapp-is-not-rdns=info \
    "$prefix/share/metainfo/zelk.Tavro.metainfo.xml"
test -x "$prefix/bin/tavro"
test -f "$prefix/share/icons/hicolor/scalable/apps/zelk.Tavro.svg"
# The manual page renders without a warning and lists every option of --help.
page="$prefix/share/man/man1/tavro.1"
groff -man -Tutf8 -ww "$page" 2>&1 >/dev/null | (! grep .)
rendered="$(MANWIDTH=100 man -l "$page" 2>/dev/null)"
for option in $("$prefix/bin/tavro" --help | grep -o -- '--[a-z][a-z-]*' | sort -u); do
    grep -q -- "$option" <<< "$rendered" || { echo "tavro.1 lacks $option"; exit 1; }
done
echo "installed files valid"

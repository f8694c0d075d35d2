#!/usr/bin/env bash
# check-debian.sh FOLDER: looks at the Debian packages in FOLDER as lintian does, installs them in a root of their own whose
# dpkg knows the packages of this machine, works with them there, and removes them again: nothing of theirs may stay but what
# the user has made.
set -euo pipefail
folder=$1
root=$folder/root
home=$folder/home
rm -rf "$root" "$home"
mkdir -p "$root/var/lib/dpkg"/{info,updates,triggers} "$home"
cp /var/lib/dpkg/status "$root/var/lib/dpkg/status"

fail() {
  echo "check-debian: $*" >&2
  exit 1
}
as_root=()
((EUID == 0)) || as_root=(fakeroot)
dpkg_there() { "${as_root[@]}" dpkg --root="$root" --force-not-root --force-script-chrootless --log=/dev/null "$@" >"$folder/dpkg.log" 2>&1 || fail "$(grep -v warning: "$folder/dpkg.log")"; }

lintian --no-cfg --fail-on error --allow-root "$folder"/*.deb

mapfile -t packages < <(for each in "$folder"/*.deb; do dpkg-deb --field "$each" Package; done)
dpkg_there --install "$folder"/*.deb

libraries=$(dirname "$(find "$root/usr/lib" -name libVornix.so.2)")
vornix() { LD_LIBRARY_PATH=$libraries "$root/usr/bin/vornix" --home "$home" "$@"; }
vornix --version
vornix --help >/dev/null
[[ $(vornix plugins list) == *GammuPhone* ]] || fail "the plugins are not found"
vornix phonebook add --first Jane --last Doe --number +442079460000 >/dev/null
[[ $(vornix phonebook lookup +442079460000) == *Doe* ]] || fail "the contact is not found"
for bundle in "$(dirname "$libraries")"/*/vornix/Vornix.app/Contents/PlugIns/*.vxplugin; do
  vornix plugins check "$bundle" >/dev/null || fail "cannot be loaded: $bundle"
done
LD_LIBRARY_PATH=$libraries QT_QPA_PLATFORM=offscreen "$root/usr/bin/vornix-desktop" --home "$home" --pictures "$folder/pictures" >/dev/null 2>&1
[[ -s $(find "$folder/pictures" -name '*.png' | head -n 1) ]] || fail "no picture of a window"

dpkg_there --purge "${packages[@]}"
left=$(find "$root" -not -type d -not -path "$root/var/lib/dpkg/*")
[[ -z $left ]] || fail "left behind: $left"
[[ $(find "$home" -name '*datastore*') ]] || fail "the user's contacts went with the packages"
rm -rf "$root" "$home"
echo "installed, tried and removed: ${packages[*]}"

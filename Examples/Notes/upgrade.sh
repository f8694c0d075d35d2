#!/usr/bin/env bash
# upgrade.sh [VORNIX VERSION1 VERSION2 HOME]: a store that version 1 of the notes plugin wrote is upgraded by version 2, after a
# look at what would be done; then it is taken back, and upgraded again. VERSION1 and VERSION2 are the folders of the bundles.
# Without arguments it takes the installed program, builds both versions, and works in a folder that goes at the end.
set -euo pipefail
if (($# == 0)); then
  here=$(cd "$(dirname "$0")" && pwd)
  trial=$(mktemp -d)
  trap 'rm -rf "$trial"' EXIT
  vornix=$(realpath "$(command -v vornix)") # in PREFIX/lib/vornix/Vornix.app/Contents/Linux
  for version in 1 2; do
    cmake -S "$here/Version$version" -B "$trial/$version" -DCMAKE_PREFIX_PATH="${vornix%/lib*/vornix/*}" >/dev/null
    cmake --build "$trial/$version" >/dev/null
  done
  set -- "$vornix" "$trial/1" "$trial/2" "$trial/home"
fi
vornix=$1 version1=$2 version2=$3 home=$4
store="$home/.local/share/Vornix 2/Data/notes.vxdatastore"

run() {
  printf '$ vornix %s\n' "$*"
  "$vornix" --home "$home" "$@"
}
insert() { "$vornix" --home "$home" store insert notes "$@" | tail -1; }

rm -rf "$home"
export VORNIX_PLUGIN_PATH=$version1
run plugins enable org.example.notes
tag=$(insert Tag '{"name": "home"}')
insert Note "{\"text\": \"Water the plants\", \"priority\": \"high\", \"labels\": [\"$tag\"]}" >/dev/null
note=$(insert Note '{"text": "Dear Jane", "to": "Jane"}')
insert Sticker "{\"shape\": \"star\", \"note\": \"$note\"}" >/dev/null

export VORNIX_PLUGIN_PATH=$version2
run store upgrade notes --dry-run
run store upgrade notes --yes
run store list notes Note
run store list notes Tag

run store rollback notes --yes
run store info "$store"
run store upgrade notes --backup "$home/notes-before.vxdatastore"
run store import notes "$home/notes-before.vxdatastore" --dry-run
run store import notes "$home/notes-before.vxdatastore" --merge
run store export notes "$home/exported.vxdatastore" --validate
run store list "$home/exported.vxdatastore" Note --count

#!/usr/bin/env bash
# check-plugins.sh STAGE FOLDER: makes plugins as their authors do, with the Vornix that is installed in STAGE, and uses
# them in a home folder of its own. Everything lies in FOLDER, which is made anew.
set -euo pipefail
cd "$(dirname "$0")/../.."

stage=$1 folder=$2
rm -rf "$folder"
mkdir -p "$folder"
unset VORNIX_PLUGIN_PATH LANGUAGE
export LC_ALL=C.UTF-8

vornix() { "$stage/bin/vornix" --home "$folder/home" "$@"; }

build() { # SOURCES BUILD
  cmake -S "$1" -B "$2" -G "${generator:-Ninja}" -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null
  cmake --build "$2" >"$2/build.log" || { cat "$2/build.log"; return 1; }
}

expect() { # TEXT COMMAND...: the command's output holds the text
  local text=$1 output
  shift
  output=$("$@" 2>&1) || { printf 'FAILED: %s\n%s\n' "$*" "$output" >&2; return 1; }
  [[ $output == *"$text"* ]] || { printf 'Not in the output of %s: %s\n%s\n' "$*" "$text" "$output" >&2; return 1; }
}

hello=org.example.hello
bundle=$folder/hello/HelloPlugin.vxplugin
generator="Unix Makefiles" build Examples/HelloPlugin "$folder/hello"
expect "" vornix plugins install "$bundle"
[[ ! -e $bundle ]] # it was moved
expect '"state": "disabled"' vornix --json plugins info $hello
expect "" vornix plugins enable $hello
expect '"state": "loaded"' vornix --json plugins info $hello
expect "Hello, World!" vornix open hello:World
LANGUAGE=de expect "Hallo, Käthe!" vornix open hello:K%C3%A4the
expect "pluginDidLoad] Hello from Hello" vornix log
cmake --build "$folder/hello" >"$folder/hello/build.log"
[[ -e $bundle/Contents/Info.plist && -e $bundle/Contents/Linux/HelloPlugin.so ]] # made anew

# A new plugin of each kind, all in one project.
printf 'cmake_minimum_required(VERSION 3.25)\nproject(Kinds LANGUAGES CXX)\n' >"$folder/CMakeLists.txt"
for kind in data exporter reactor interface phonebook device conduit; do
  vornix new-plugin "Try $kind" "$folder/new/$kind" --kind "$kind" >/dev/null
  echo "add_subdirectory(new/$kind)" >>"$folder/CMakeLists.txt"
done
build "$folder" "$folder/kinds"
for kind in data exporter reactor interface phonebook device conduit; do
  export VORNIX_PLUGIN_PATH=$folder/kinds/new/$kind
  expect "" vornix plugins enable "org.example.try$kind"
  ctest --test-dir "$folder/kinds/new/$kind" --output-on-failure >"$folder/tests.log" || { cat "$folder/tests.log"; exit 1; }
done
expect "Try reactor is loaded" vornix log

export VORNIX_PLUGIN_PATH=$folder/kinds/new/device
expect "Added " vornix devices add org.example.trydevice first
expect "Jane" vornix devices do vxdevice://localhost/org.example.trydevice/first read_contacts
[[ -s "$folder/home/.local/share/Vornix 2/Data/trydata.vxdatastore/trydata.sqlite" ]]
# The new reactor and the new exporter in answer to an event.
export VORNIX_PLUGIN_PATH=$folder/kinds/new/reactor:$folder/kinds/new/exporter
expect "" vornix triggers add --event ping --reactor org.example.tryreactor --option greeting=Welcome \
  --reactor org.example.tryexporter --option "VXExporterOptionsFilePath=$folder/exported"
expect "1 of 1 trigger ran, 2 reactors" vornix post ping --object '{"name": "Jane", "from": "Jane <555-0100>"}'
expect "Welcome Jane: ping" vornix log
expect "Jane" cat "$folder/exported"

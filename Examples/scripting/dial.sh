#!/bin/sh
# dial.sh NUMBER: dials with the first phone that can.
set -eu
number=${1:?usage: dial.sh NUMBER}

vornix() {
    method=$1
    path=$2
    shift 2
    gdbus call --session --dest com.halvern.VNX2 --object-path "$path" --timeout 90 --method "com.halvern.VNX2.$method" "$@"
}

root=/com/halvern/VNX2
if ! devices=$(vornix Devices.List $root); then
    echo "dial: is \"vornix run\" running?" >&2
    exit 1
fi
for url in $(printf '%s\n' "$devices" | grep -o "vxdevice://[^']*"); do
    vornix Devices.Actions $root "$url" | grep -q "'dial'" || continue
    action=$(vornix Devices.Run $root "$url" dial "<{'number': <'$number'>}>" | grep -o "/com/[^']*")
    vornix Action.Wait "$action"
    exit
done
echo "dial: no phone can dial" >&2
exit 1

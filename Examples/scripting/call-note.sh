#!/bin/sh
# call-note.sh FILE: while it runs, begins a note in FILE for every call that is taken: who it is, and when.
set -eu
file=${1:?usage: call-note.sh FILE}

# "vornix run" may begin later; without a bus there is nothing to wait for.
gdbus call --session --dest org.freedesktop.DBus --object-path / --method org.freedesktop.DBus.GetId >/dev/null
gdbus monitor --session --dest com.halvern.VNX2 --object-path /com/halvern/VNX2 |
    while IFS= read -r line; do
        case $line in
        *".Events.Posted ('incoming_call', 'connected', "*) key=from ;;
        *".Events.Posted ('outgoing_call', 'connected', "*) key=to ;;
        *) continue ;;
        esac
        who=$(printf '%s\n' "$line" | sed -n "s/.*'$key': <'\([^']*\)'>.*/\1/p")
        printf '## %s, %s\n\n\n' "${who:-somebody}" "$(date '+%Y-%m-%d %H:%M')" >>"$file"
    done

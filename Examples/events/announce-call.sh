#!/bin/sh
# Says on the desktop, or else in a file, who calls: a program for the reactor Run Command (see README.md).
# What comes from a caller is only ever used in quotation marks.
set -eu

who=${VORNIX_OBJECT_FROM:-somebody}
text="$(date '+%Y-%m-%d %H:%M:%S') ${VORNIX_EVENT:-event} ${VORNIX_SUBTYPE:-}: $who"

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && command -v spd-say >/dev/null; then
  spd-say -- "Call from ${who%% <*}"
fi
printf '%s\n' "$text" >> "$HOME/announced-calls.txt"

#!/usr/bin/python3
"""missed-calls.py [COUNT]: lists who called and was not answered, as far as the last COUNT (500) events tell."""
import datetime
import sys

import dbus

NAME, PATH = "com.halvern.VNX2", "/com/halvern/VNX2"


def local(date):
    """Events are dated in UTC."""
    return datetime.datetime.fromisoformat(date.replace("Z", "+00:00")).astimezone().strftime("%Y-%m-%d %H:%M")


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 500
    try:
        vornix = dbus.SessionBus().get_object(NAME, PATH)
        events = dbus.Interface(vornix, NAME + ".Events").History(dbus.UInt32(count))
        phonebook = dbus.Interface(vornix, NAME + ".Phonebook")
        callers = {}
        for event in events:
            call = event.get("object", {})
            if event["event"] != "incoming_call" or event.get("subtype") != "ended" or not call.get("isMissed"):
                continue
            entry = phonebook.Entry(call.get("from", ""))
            name = entry.get("as_string") or "an unknown number"
            times, _, _ = callers.get(name, (0, "", ""))
            callers[name] = (times + 1, entry.get("as_number", ""), event["date"])
    except dbus.DBusException as error:
        sys.exit("missed-calls: is \"vornix run\" running? " + error.get_dbus_message())
    for name, (times, number, date) in sorted(callers.items(), key=lambda caller: caller[1][2], reverse=True):
        shown = name if name == number or not number else f"{name} ({number})"
        print(f"{local(date)}  {shown}" + (f", {times} times" if times > 1 else ""))
    if not callers:
        print("No call was missed.")


main()

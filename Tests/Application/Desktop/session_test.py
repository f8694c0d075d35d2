"""The program with windows in sessions that have a tray, and in those that have no screen.

session_test.py VORNIX DESKTOP"""

import subprocess
import sys
import unittest

from desktop_session import DesktopSession

DESKTOP = sys.argv[2]
DesktopSession.vornix_program, DesktopSession.desktop_program = sys.argv[1:3]

# What a desktop's tray is to programs: tells on its output who took a place in it.
WATCHER = '''
import dbus, dbus.mainloop.glib, dbus.service
from gi.repository import GLib
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
NAME = 'org.kde.StatusNotifierWatcher'
class Watcher(dbus.service.Object):
    @dbus.service.method(NAME, in_signature='s', sender_keyword='sender')
    def RegisterStatusNotifierItem(self, service, sender):
        print(sender, flush=True)
    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature='s')
    def Introspect(self):
        return ('<node><interface name="org.kde.StatusNotifierWatcher"><method name="RegisterStatusNotifierItem">'
                '<arg type="s" direction="in"/></method><property name="IsStatusNotifierHostRegistered" type="b" '
                'access="read"/></interface></node>')
    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature='ss', out_signature='v')
    def Get(self, interface, key):
        return {'IsStatusNotifierHostRegistered': True, 'ProtocolVersion': 0,
                'RegisteredStatusNotifierItems': dbus.Array([], signature='s')}[key]
bus = dbus.SessionBus()
watcher = Watcher(bus, '/StatusNotifierWatcher')
name = dbus.service.BusName(NAME, bus)
print('ready', flush=True)
GLib.MainLoop().run()
'''


class SessionTest(DesktopSession):
    def call(self, item, method, *arguments):
        subprocess.run(['dbus-send', '--session', '--print-reply', '--dest=' + item, '/StatusNotifierItem',
                        'org.kde.StatusNotifierItem.' + method, *arguments], env=self.environment, check=True,
                       capture_output=True)

    def test_closing_keeps_running_in_the_tray_where_the_user_said_so(self):
        self.start_bus()
        self.start_screen()
        watcher = self.start(['/usr/bin/python3', '-c', WATCHER])
        self.assertEqual(watcher.stdout.readline().strip(), 'ready')
        self.vornix('phonebook', 'add', 'Jane Doe', '--number', '+1 555 0100')  # or there would be an assistant
        for keeps_running in (True, False):
            self.vornix('defaults', 'write', 'com.halvern.VNX2', 'desktop.keeps_running', str(keeps_running).lower())
            program = self.start_desktop()
            item = watcher.stdout.readline().strip()
            self.focus()
            self.keys('ctrl+w')
            if not keeps_running:
                self.assertEqual(program.wait(30), 0)
                continue
            self.wait(lambda: not self.windows(), 'the window stayed')
            self.call(item, 'Activate', 'int32:0', 'int32:0')
            self.wait(self.windows, 'the window did not come back')
            self.assertIsNone(program.poll())
            program.terminate()
            self.assertEqual(program.wait(30), 0)

    def test_without_a_screen(self):
        for platform in ('xcb', 'wayland', 'nonsense'):
            self.environment['QT_QPA_PLATFORM'] = platform
            answer = subprocess.run([DESKTOP], env=self.environment, capture_output=True, text=True, timeout=60)
            self.assertEqual(answer.returncode, 1, platform)
            self.assertIn('vornix-desktop: there is no screen', answer.stderr)
        answer = subprocess.run([DESKTOP, '--help'], env=self.environment, capture_output=True, text=True, timeout=60)
        self.assertEqual((answer.returncode, '--pictures' in answer.stdout), (0, True))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])

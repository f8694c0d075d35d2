"""The program with windows in sessions that have a tray, and in those that have no screen.

session_test.py DESKTOP VORNIX"""

import os
import subprocess
import sys
import tempfile
import time
import unittest

DESKTOP, VORNIX = sys.argv[1:3]

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


class SessionTest(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        os.mkdir(self.home + '/run', 0o700)
        self.environment = dict(os.environ, HOME=self.home, XDG_RUNTIME_DIR=self.home + '/run', LC_ALL='C.UTF-8',
                                DBUS_SESSION_BUS_ADDRESS='unix:path=/nonexistent', QT_QPA_PLATFORM='xcb')
        self.environment.pop('WAYLAND_DISPLAY', None)
        self.environment.pop('DISPLAY', None)

    def start(self, command):
        process = subprocess.Popen(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                   text=True)

        def end():
            process.terminate()
            process.wait()
            process.stdout.close()
        self.addCleanup(end)
        return process

    def vornix(self, *arguments):
        subprocess.run([VORNIX, '--home', self.home, *arguments], env=self.environment, check=True, capture_output=True)

    def wait(self, condition, what):
        for _ in range(150):
            if condition():
                return
            time.sleep(0.2)  # between looks
        self.fail(what)

    def windows(self):
        return subprocess.run(['xdotool', 'search', '--onlyvisible', '--name', '^Vornix$'], env=self.environment,
                              capture_output=True, text=True).stdout.split()

    # The screen has no window manager, which would give it the focus.
    def press_close(self):
        subprocess.run(['xdotool', 'windowfocus', '--sync', self.windows()[-1], 'key', '--delay', '60', 'ctrl+w'],
                       env=self.environment, check=True)

    def call(self, item, method, *arguments):
        subprocess.run(['dbus-send', '--session', '--print-reply', '--dest=' + item, '/StatusNotifierItem',
                        'org.kde.StatusNotifierItem.' + method, *arguments], env=self.environment, check=True,
                       capture_output=True)

    def test_closing_keeps_running_in_the_tray_where_the_user_said_so(self):
        bus = self.start(['dbus-daemon', '--session', '--nofork', '--print-address'])
        self.environment['DBUS_SESSION_BUS_ADDRESS'] = bus.stdout.readline().strip()
        screen = self.start(['Xvfb', '-displayfd', '1', '-screen', '0', '1280x900x24'])
        self.environment['DISPLAY'] = ':' + screen.stdout.readline().strip()
        watcher = self.start(['/usr/bin/python3', '-c', WATCHER])
        self.assertEqual(watcher.stdout.readline().strip(), 'ready')
        self.vornix('phonebook', 'add', 'Jane Doe', '--number', '+1 555 0100')  # or there would be an assistant
        for keeps_running in (True, False):
            self.vornix('defaults', 'write', 'com.halvern.VNX2', 'desktop.keeps_running', str(keeps_running).lower())
            program = self.start([DESKTOP, '--home', self.home])
            item = watcher.stdout.readline().strip()
            self.wait(self.windows, 'the window did not come')
            self.press_close()
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

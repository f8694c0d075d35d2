"""A home folder and a session of its own for the program with windows; without a bus and a screen until a test starts them."""

import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + '/../../Support')
from home_session import HomeSession


class DesktopSession(HomeSession):
    vornix_program = desktop_program = None

    def setUp(self):
        super().setUp()
        os.mkdir(self.home + '/run', 0o700)
        self.environment.update(XDG_RUNTIME_DIR=self.home + '/run', QT_QPA_PLATFORM='xcb',
                                DBUS_SESSION_BUS_ADDRESS='unix:path=/nonexistent')
        self.environment.pop('WAYLAND_DISPLAY', None)
        self.environment.pop('DISPLAY', None)

    def start_bus(self):
        bus = self.start(['dbus-daemon', '--session', '--nofork', '--print-address'])
        self.environment['DBUS_SESSION_BUS_ADDRESS'] = bus.stdout.readline().strip()

    def start_screen(self):
        screen = self.start(['Xvfb', '-displayfd', '1', '-screen', '0', '1280x900x24'])
        self.environment['DISPLAY'] = ':' + screen.stdout.readline().strip()

    def vornix(self, *arguments):
        answer = subprocess.run([self.vornix_program, '--home', self.home, *arguments], env=self.environment,
                                capture_output=True, text=True, timeout=60)
        self.assertEqual(answer.returncode, 0, answer.stderr)
        return answer.stdout

    def add_phone(self, examples):
        subprocess.run([examples + '/phone/fill', self.home + '/phone'], env=self.environment, check=True)
        self.vornix('plugins', 'enable', 'com.halvern.VNX2.GammuPhone')
        self.vornix('devices', 'add', 'com.halvern.VNX2.GammuPhone', 'dummy1', 'model=dummy', 'connection=none',
                    'port=' + self.home + '/phone')

    def start_desktop(self):
        program = self.start([self.desktop_program, '--home', self.home])
        self.wait(self.windows, 'the window did not come')
        return program

    def wait(self, condition, what):
        end = time.monotonic() + 30
        while time.monotonic() < end:
            if condition():
                return
            time.sleep(0.2)  # between looks
        self.fail(what)

    def windows(self, name='^Vornix$'):
        return subprocess.run(['xdotool', 'search', '--onlyvisible', '--name', name], env=self.environment,
                              capture_output=True, text=True).stdout.split()

    # The screen has no window manager, which would do it.
    def focus(self, name='^Vornix$'):
        subprocess.run(['xdotool', 'windowfocus', '--sync', self.windows(name)[-1]], env=self.environment, check=True)

    def keys(self, *keys):
        subprocess.run(['xdotool', 'key', '--delay', '60', *keys], env=self.environment, check=True)

    def type(self, text):
        subprocess.run(['xdotool', 'type', '--delay', '30', text], env=self.environment, check=True)

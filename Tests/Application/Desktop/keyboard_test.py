"""The main ways through the window by the keyboard alone, on a screen of its own; what comes of them is asked of the command line.

keyboard_test.py VORNIX DESKTOP EXAMPLES [WITH-PHONE]"""

import json
import os
import subprocess
import sys
import tempfile
import time
import unittest

VORNIX, DESKTOP, EXAMPLES = sys.argv[1:4]
HAS_PHONE = len(sys.argv) > 4
PHONE = 'vxdevice://localhost/com.halvern.VNX2.GammuPhone/dummy1'


class KeyboardTest(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        os.mkdir(self.home + '/run', 0o700)
        self.environment = dict(os.environ, HOME=self.home, XDG_RUNTIME_DIR=self.home + '/run', LC_ALL='C.UTF-8',
                                DBUS_SESSION_BUS_ADDRESS='unix:path=/nonexistent', QT_QPA_PLATFORM='xcb')
        screen = self.start(['Xvfb', '-displayfd', '1', '-screen', '0', '1280x900x24'])
        self.environment['DISPLAY'] = ':' + screen.stdout.readline().strip()

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
        answer = subprocess.run([VORNIX, '--home', self.home, *arguments], env=self.environment, capture_output=True,
                                text=True, timeout=60)
        self.assertEqual(answer.returncode, 0, answer.stderr)
        return answer.stdout

    def names(self):
        return sorted(each['displayName'] for each in json.loads(self.vornix('--json', 'phonebook', 'list')))

    def wait(self, condition, what):
        for _ in range(150):
            if condition():
                return
            time.sleep(0.2)  # between looks
        self.fail(what)

    def keys(self, *keys):
        subprocess.run(['xdotool', 'key', '--delay', '60', *keys], env=self.environment, check=True)

    def type(self, text):
        subprocess.run(['xdotool', 'type', '--delay', '30', text], env=self.environment, check=True)

    def window(self, name):
        return subprocess.run(['xdotool', 'search', '--onlyvisible', '--name', name], env=self.environment,
                              capture_output=True, text=True).stdout.split()

    # The screen has no window manager, which would do it.
    def focus(self):
        window = self.window('^Vornix$')[-1]
        subprocess.run(['xdotool', 'windowfocus', '--sync', window], env=self.environment, check=True)

    def test_main_ways(self):
        if HAS_PHONE:
            subprocess.run([EXAMPLES + '/phone/fill', self.home + '/phone'], env=self.environment, check=True)
            self.vornix('plugins', 'enable', 'com.halvern.VNX2.GammuPhone')
            self.vornix('devices', 'add', 'com.halvern.VNX2.GammuPhone', 'dummy1', 'model=dummy', 'connection=none',
                        'port=' + self.home + '/phone')
        self.vornix('phonebook', 'add', 'Zoë Adams', '--number', '+1 555 0133/m')
        program = self.start([DESKTOP, '--home', self.home])
        self.wait(lambda: self.window('^Vornix$'), 'the window did not come')
        self.focus()

        # A new contact, back and again.
        self.keys('ctrl+2', 'ctrl+n')
        self.type('Ada')
        self.keys('Tab')
        self.type('Lind')
        self.keys('Return')
        self.wait(lambda: self.names() == ['Ada Lind', 'Zoë Adams'], 'the contact was not kept')
        self.keys('ctrl+z')
        self.wait(lambda: self.names() == ['Zoë Adams'], 'the contact was not taken back')
        self.keys('ctrl+shift+z')
        self.wait(lambda: self.names() == ['Ada Lind', 'Zoë Adams'], 'the contact did not come again')

        # A file is imported.
        self.keys('ctrl+o')
        self.wait(lambda: self.window('vCard'), 'no panel came')
        self.type(EXAMPLES + '/contacts/desktop-4.0.vcf')
        self.keys('Return')
        self.wait(lambda: len(self.names()) == 4, 'the file was not imported')
        self.focus()

        # An automation is made, and runs.
        self.keys('ctrl+5', 'ctrl+n')
        self.type('Evening')
        self.keys(*['Tab'] * 6, 'space', 'Up', 'Up', 'Up', 'Return')
        self.wait(lambda: 'Evening' in self.vornix('triggers'), 'the automation was not kept')
        self.vornix('post', 'incoming_call', '--subtype', 'ended', '--object', '{"from": "+15550133", "call_id": "1"}')
        self.assertIn('Evening', self.vornix('history', '--why'))

        # A message goes out, to a number that is typed.
        if HAS_PHONE:
            self.keys('ctrl+shift+n')
            self.type('+15550133,')
            self.keys('Tab')
            self.type('See you!')
            self.keys('Return')
            self.wait(lambda: 'See you!' in self.vornix('messages', 'conversation', '+15550133'), 'no message was made')
            self.wait(lambda: json.loads(self.vornix('--json', 'outbox'))[0]['state'] == 'sent', 'it was not sent')

        self.keys('ctrl+q')
        self.assertEqual(program.wait(30), 0)


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])

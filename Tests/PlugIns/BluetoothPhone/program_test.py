"""The program with a phone by Bluetooth: vornix and its plugin, the real obexd and oFono, and phone.py in place of the radio.

program_test.py VORNIX SHIM"""

import json
import os
import subprocess
import sys
import unittest

FOLDER = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, FOLDER + '/../../Support')
from home_session import HomeSession

VORNIX, SHIM = sys.argv[1:3]


class ProgramTest(HomeSession):
    maxDiff = None

    def setUp(self):
        super().setUp()
        os.mkdir(self.home + '/sockets')
        address = 'unix:path=%s/bus' % self.home
        self.environment.update(XDG_CACHE_HOME=self.home + '/cache', VX_PHONE_SOCKETS=self.home + '/sockets',
                                DBUS_SESSION_BUS_ADDRESS=address, DBUS_SYSTEM_BUS_ADDRESS=address)
        self.start(['dbus-daemon', '--session', '--nofork', '--print-address=1', '--address=' + address]).stdout.readline()
        self.start(['/usr/bin/python3', '-B', FOLDER + '/phone.py']).stdout.readline()
        self.start(['/usr/libexec/bluetooth/obexd', '-n'], LD_PRELOAD=SHIM)
        self.await_service('org.bluez.obex')

    def gdbus(self, *arguments):
        return subprocess.run(['gdbus', *arguments], env=self.environment, capture_output=True, text=True).stdout

    def await_service(self, name):
        subprocess.run(['gdbus', 'wait', '--session', '--timeout', '20', name], env=self.environment, check=True)

    def tell(self, command):
        """Has the phone do something."""
        return self.gdbus('call', '--session', '--dest', 'org.bluez', '--object-path', '/phone', '--method',
                          'org.vornix.Phone.Do', command)

    def vornix(self, *arguments):
        run = subprocess.run([VORNIX, '--home', self.home + '/vornix', '--json', *arguments], env=self.environment,
                             capture_output=True, text=True, timeout=60)
        return json.loads(run.stdout)

    def do(self, action, thing=None):
        answer = self.vornix('devices', 'do', 'mine', action, *([] if thing is None else ['--object', json.dumps(thing)]))
        return answer.get('error') or answer['result']

    def add_phone(self):
        self.vornix('plugins', 'enable', 'com.halvern.VNX2.BluetoothPhone')
        found = self.vornix('devices', 'find')['devices']
        self.assertEqual([(each['name'], each['place'], each['problem']) for each in found],
                         [('Fake phone', 'Bluetooth, 11:22:33:44:55:66', None)])
        self.vornix('devices', 'add', '1', 'mine')

    def test_reads_sends_and_changes(self):
        self.add_phone()
        contact, = self.do('read_contacts')['items']
        self.assertEqual((contact['firstName'], contact['lastName'], contact['numbers'][0]['number']),
                         ('Jörg', 'Müller', '+491701'))
        self.assertEqual([(call['memory'], call.get('number'), call['isMissed'], call['direction'])
                          for call in self.do('read_calls')['items']],
                         [('MC', '+491702', True, 1), ('DC', '+491703', False, 0), ('RC', None, False, 1)])
        messages = self.do('read_messages')['items']
        self.assertEqual([(m['memory'], m['number'], m['text'], m['state']) for m in messages],
                         [('inbox', '+491701', 'Grüße', 'unread'), ('sent', '+491702', 'gesendet', 'sent')])
        self.assertEqual(self.do('send_message', {'number': '+49 170-9', 'text': 'Hallo\nWelt ü'}),
                         {'partCount': 1, 'sentCount': 1})
        pushed = self.tell('pushed')
        self.assertIn(r'TEL:+491709\r\n', pushed)
        self.assertIn(r'LENGTH:36\r\nBEGIN:MSG\r\nHallo\r\nWelt ü\r\nEND:MSG\r\n', pushed)
        self.assertIsNone(self.do('write_message', dict(messages[0], state=3)))
        self.assertIsNone(self.do('delete_message', messages[0]))
        self.assertEqual(self.tell('changed').count('1 17010'), 2)
        for handle in ('../../x', '', '77'):
            self.assertIn('The message', self.do('delete_message', {'memory': 'inbox', 'locations': [handle]}))

    def test_a_second_sync_changes_nothing(self):
        self.add_phone()
        first, second = self.vornix('sync', 'mine'), self.vornix('sync', 'mine')
        kinds = ('contacts', 'messages', 'calls')
        self.assertEqual([first[kind]['added'] for kind in kinds], [1, 2, 3])
        self.assertEqual([second[kind]['added'] for kind in kinds], [0, 0, 0])
        self.assertEqual([second[kind]['problems'] for kind in kinds], [[], [], []])

    def test_announces_messages_and_calls(self):
        self.start(['/usr/sbin/ofonod', '-n', '-p', 'hfp*'])
        self.await_service('org.ofono')
        self.add_phone()
        running = self.start([VORNIX, '--home', self.home + '/vornix', 'run'])
        monitor = self.start(['gdbus', 'monitor', '--session', '--dest', 'com.halvern.VNX2'])
        self.await_service('com.halvern.VNX2')

        def hear(what):
            for line in monitor.stdout:
                if 'Events.Posted' in line and what in line:
                    return line
        while 'yes' not in self.tell('listening'):
            self.assertIsNone(running.poll())
        self.tell('new 0000000000000009 +491703 neue Nachricht')
        self.assertIn('neue Nachricht', hear('new_message'))
        while 'yes' not in self.tell('call isThere'):
            self.assertIsNone(running.poll())
        self.tell('call ring +491705')
        self.assertIn("'ringing'", hear('incoming_call'))
        self.tell('call answer')
        self.assertIn("'connected'", hear('incoming_call'))
        self.tell('call drop') # nobody tells of the call's end then
        self.assertIn("'ended'", hear('incoming_call'))

    def test_tells_what_is_wrong(self):
        self.add_phone()
        self.tell('refuse')
        self.assertIn('Allow it on the phone', self.do('read_contacts'))
        self.tell('allow')
        self.assertEqual(len(self.do('read_contacts')['items']), 1)
        for command, problem in (('set Powered false', 'Bluetooth is switched off'),
                                 ('set Paired false', 'is not paired with this computer')):
            self.tell(command)
            phone, = self.vornix('status')['phones']
            self.assertTrue(phone['fault'])
            self.assertIn(problem, phone['reason'])


unittest.main(argv=sys.argv[:1], verbosity=2)

"""The main ways through the window by the keyboard alone, on a screen of its own; what comes of them is asked of the command line.

keyboard_test.py VORNIX DESKTOP EXAMPLES [WITH-PHONE]"""

import json
import sys
import unittest

from desktop_session import DesktopSession

EXAMPLES = sys.argv[3]
HAS_PHONE = len(sys.argv) > 4
DesktopSession.vornix_program, DesktopSession.desktop_program = sys.argv[1:3]


class KeyboardTest(DesktopSession):
    def names(self):
        return sorted(each['displayName'] for each in json.loads(self.vornix('--json', 'phonebook', 'list')))

    def test_main_ways(self):
        self.start_screen()
        if HAS_PHONE:
            self.add_phone(EXAMPLES)
        self.vornix('phonebook', 'add', 'Zoë Adams', '--number', '+1 555 0133/m')
        program = self.start_desktop()
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
        self.wait(lambda: self.windows('vCard'), 'no panel came')
        self.focus('vCard')
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

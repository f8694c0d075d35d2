"""What assistive technology is told: whatever takes the focus or can be pressed has a name, and no two of one window that are
pressed have the same.

accessibility_test.py VORNIX DESKTOP EXAMPLES [WITH-PHONE]"""

import collections
import os
import sys
import unittest

from desktop_session import DesktopSession

EXAMPLES = sys.argv[3]
LOG_EVENT = 'com.halvern.VNX2.plugin.logevent'
HAS_PHONE = len(sys.argv) > 4
DesktopSession.vornix_program, DesktopSession.desktop_program = sys.argv[1:3]

# What is shown, the keys that lead there, and what a thing is called that is there then.
VIEWS = [
    ('contacts', ['ctrl+2'], 'Search contacts'),
    ('a contact', ['F2'], 'Discard changes'),
    ('messages', ['Escape', 'ctrl+3'], 'Search messages'),
    ('a message', ['ctrl+n'], 'To'),
    ('calls', ['ctrl+4'], 'Search calls'),
    ('an automation', ['ctrl+5'], 'Add what shall happen'),
    ('its history', ['ctrl+h'], 'Run it again'),
    ('phones', ['ctrl+1'], 'Sync'),
    ('a menu', ['alt+f'], 'New message'),
]
# Windows, the keys that open them, and those that lead to the next page, with what is there then.
WINDOWS = [
    ('Add a phone', ['ctrl+1', 'alt+f', 'p'], [([], 'Look again')]),
    ('Preferences', ['ctrl+comma'],
     [([], 'Appearance'), (['Down'], 'Send messages by'), (['Down'], 'Install a plugin…'), (['Down'], 'Hot keys'),
      (['Down'], 'Open the folder'), (['Down'], 'Privacy')]),
    ('Log', ['F12'], [([], 'Pause')]),
    ('Find everywhere', ['ctrl+shift+f'], [([], 'Search contacts, messages and calls')]),
]


class AccessibilityTest(DesktopSession):
    def setUp(self):
        super().setUp()
        self.start_bus()
        self.start_screen()
        self.environment['QT_LINUX_ACCESSIBILITY_ALWAYS_ON'] = '1'
        os.environ.update(self.environment)  # for the library that asks
        import gi
        gi.require_version('Atspi', '2.0')
        from gi.repository import Atspi
        self.atspi = Atspi
        Atspi.init()

    # As it is now: what the library keeps is only brought up to date by events, which nobody here waits for.
    def application(self):
        desktop = self.atspi.get_desktop(0)
        desktop.set_cache_mask(self.atspi.Cache.NONE)
        for application in map(desktop.get_child_at_index, range(desktop.get_child_count())):
            if application and 'ornix' in (application.get_name() or ''):
                application.set_cache_mask(self.atspi.Cache.NONE)
                application.clear_cache()
                return application

    # All that is shown, with the window it is in.
    def shown(self):
        def walk(node, window):
            states = node.get_state_set()
            if not states.contains(self.atspi.StateType.SHOWING):
                return
            yield node, window
            for child in map(node.get_child_at_index, range(node.get_child_count())):
                if child:
                    yield from walk(child, window)
        application = self.application()
        for window in map(application.get_child_at_index, range(application.get_child_count())):
            if window:
                yield from walk(window, window.get_name())

    # Waits for it, and tells what is wrong with what is shown then.
    def look(self, what, name):
        self.wait(lambda: name in [node.get_name() for node, _ in self.shown()], f'{what}: there is no "{name}"')
        pressed = collections.Counter()
        for node, window in self.shown():
            role = node.get_role_name()
            actions = [node.get_action_name(i) for i in range(node.get_n_actions())] if node.get_action_iface() else []
            takes_focus = node.get_state_set().contains(self.atspi.StateType.FOCUSABLE)
            if not node.get_name() and (takes_focus or actions) and role not in ('scroll bar', 'filler'):
                self.problems.append(f'{what}: a {role} without a name in "{self.place(node)}"')
            if role in ('push button', 'check box', 'text'):  # a combo box has its choice for a name
                pressed[window, role, node.get_name()] += 1
        self.problems += [f'{what}: {count} times {role} "{name}"' for (_, role, name), count in pressed.items() if count > 1]

    @staticmethod
    def place(node):
        names = []
        while node := node.get_parent():
            if node.get_name():
                names.append(node.get_name())
        return ' in '.join(names)

    def test_whatever_takes_the_focus_has_a_name_of_its_own(self):
        if HAS_PHONE:
            self.add_phone(EXAMPLES)
            self.vornix('sync', 'dummy1')
        self.vornix('phonebook', 'import', EXAMPLES + '/contacts/desktop-4.0.vcf')
        self.vornix('triggers', 'add', '--event', 'incoming_call', '--name', 'Evening', '--reactor', LOG_EVENT)
        self.vornix('post', 'incoming_call', '--subtype', 'ended', '--object', '{"from": "+15550133", "call_id": "1"}')
        self.problems = []
        self.start_desktop()
        self.focus()
        for what, keys, name in VIEWS:
            self.keys(*keys)
            self.look(what, name)
        self.keys('Escape')
        for title, keys, pages in WINDOWS:
            self.focus()
            self.keys(*keys)
            self.wait(lambda: self.windows(f'^{title}'), f'{title} did not come')
            self.focus(f'^{title}')
            for more, name in pages:
                if more:
                    self.keys(*more)
                self.look(title, name)
            self.keys('Escape')
        self.assertEqual(self.problems, [], '\n'.join(self.problems))


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1])

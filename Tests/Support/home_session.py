"""A home folder of its own for programs, which end with the test."""

import os
import subprocess
import tempfile
import unittest


class HomeSession(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        self.environment = dict(os.environ, HOME=self.home, LC_ALL='C.UTF-8')

    def start(self, command, **more):
        process = subprocess.Popen(command, env=dict(self.environment, **more), stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, text=True)

        def end():
            process.terminate()
            process.wait()
            process.stdout.close()
        self.addCleanup(end)
        return process

"""What the end-to-end tests of tellurine-cli share: running the program and a scratch folder."""
import os
import subprocess
import sys
import tempfile
import unittest

# The program under test, given as the first argument by CTest (see main()).
CLI = None


def run(*args):
    return subprocess.run([CLI, *map(str, args)], capture_output=True, text=True, timeout=60)


class ScratchCase(unittest.TestCase):
    """A test with its own temporary folder."""

    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.dir = self.tmp.name

    def tearDown(self):
        self.tmp.cleanup()

    def path(self, name):
        return os.path.join(self.dir, name)


def main():
    """Runs the tests of the calling module: python3 TEST.py PATH-TO-tellurine-cli."""
    global CLI
    CLI = sys.argv.pop(1)
    unittest.main(module="__main__", verbosity=2)

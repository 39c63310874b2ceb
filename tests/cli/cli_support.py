"""What the end-to-end tests of tellurine-cli share: running the program and a scratch folder."""
import json
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

    def read(self, name):
        with open(self.path(name), "rb") as f:
            return f.read()

    def write(self, name, data):
        """Writes a file of the folder (or at a full path); its path."""
        with open(self.path(name), "wb") as f:
            f.write(data)
        return self.path(name)

    def info(self, *files):
        """The files `info --json` lists, all of which must have been read."""
        result = run("info", "--json", *files)
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)["files"]


def save_mirrored_picture(path):
    """A 300 x 300 RGBA picture, exactly symmetric left to right, with soft alpha."""
    from PIL import Image, ImageDraw

    half = Image.new("RGBA", (150, 300), (0, 0, 0, 0))
    ImageDraw.Draw(half).polygon([(10, 20), (150, 40), (150, 280), (60, 200)], fill=(20, 200, 90, 140))
    picture = Image.new("RGBA", (300, 300))
    picture.paste(half, (0, 0))
    picture.paste(half.transpose(Image.Transpose.FLIP_LEFT_RIGHT), (150, 0))
    picture.save(path)


def main():
    """Runs the tests of the calling module: python3 TEST.py PATH-TO-tellurine-cli."""
    global CLI
    CLI = sys.argv.pop(1)
    unittest.main(module="__main__", verbosity=2)

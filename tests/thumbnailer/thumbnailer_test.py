"""tellurine-thumbnailer on files that must fail and on every file it may meet: whatever the input,
it ends (its own limit is 2 s), and either exits 0 having written a valid RGBA PNG no larger than
the size, or exits non-zero with one line on stderr having written nothing at all.

The files: the fuzz targets' inputs (fuzz/seeds), and the development corpus beside the checkout
(../shared/corpus-dev, or where TELLURINE_CORPUS_DIR points) when it is there.

Run by CTest as: python3 thumbnailer_test.py PATH-TO-tellurine-thumbnailer
"""
import os
import subprocess
import sys
import tempfile
import unittest

from PIL import Image

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.join(HERE, "..", "..")
sys.path.insert(0, os.path.join(HERE, "..", "cli"))
from icns_cli_test import macbinary, resource_fork  # noqa: E402
THUMBNAILER = None


class ThumbnailerCase(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.TemporaryDirectory()
        self.addCleanup(self.tmp.cleanup)
        self.dir = self.tmp.name

    def thumbnail(self, *args):
        """Runs the program in a folder of its own, of which `out/` is for the output; the result,
        and what that folder holds afterwards."""
        out = os.path.join(self.dir, "out")
        os.makedirs(out, exist_ok=True)
        result = subprocess.run([THUMBNAILER, *args], capture_output=True, text=True, timeout=10)
        return result, sorted(os.listdir(out))

    def check_outcome(self, source, size=128):
        """A valid PNG and nothing else on success; one line and nothing written on failure."""
        output = os.path.join(self.dir, "out", "thumb.png")
        result, left = self.thumbnail("-s", str(size), source, output)
        if result.returncode == 0:
            self.assertEqual(left, ["thumb.png"])
            with Image.open(output) as im:
                im.load()
                self.assertEqual(im.mode, "RGBA")
                self.assertLessEqual(max(im.size), size)
            os.remove(output)
        else:
            self.assertEqual(left, [])
            self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
            self.assertTrue(result.stderr.startswith("tellurine-thumbnailer: "), result.stderr)
        return result


class Failures(ThumbnailerCase):
    def test_each_failure_exits_non_zero_with_one_line_and_writes_nothing(self):
        damaged = os.path.join(self.dir, "damaged.ico")
        with open(damaged, "wb") as f:
            f.write(b"\0\0\1\0\5\0" + bytes(range(40)))
        out = os.path.join(self.dir, "out", "thumb.png")
        # arguments, exit code, words of the message
        cases = [
            (["-s", "128", os.path.join(self.dir, "missing.ico"), out], 1, "No such file"),
            (["-s", "128", damaged, out], 1, "no icon that can be read"),
            (["-s", "128", self.dir, out], 1, self.dir + ": "),
            (["-s", "0", damaged, out], 2, "from 1 to"),
            (["-s", "big", damaged, out], 2, "not \"big\""),
            (["-s", "128x", damaged, out], 2, "from 1 to"),
            (["-s", "128", damaged], 2, "usage"),
            (["-x", "128", damaged, out], 2, "unknown option -x"),
        ]
        for args, code, words in cases:
            with self.subTest(args=args[:-1]):
                result, left = self.thumbnail(*args)
                self.assertEqual(result.returncode, code, result.stderr)
                self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
                self.assertIn(words, result.stderr)
                self.assertEqual(left, [])

    def test_an_output_that_cannot_be_written_leaves_nothing(self):
        source = os.path.join(ROOT, "fuzz", "seeds", "ico_reader")
        source = os.path.join(source, sorted(os.listdir(source))[0])
        blocker = os.path.join(self.dir, "out", "not-a-folder")
        os.makedirs(os.path.dirname(blocker))
        open(blocker, "w").close()
        result, left = self.thumbnail("-s", "32", source, os.path.join(blocker, "thumb.png"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot write", result.stderr)
        self.assertEqual(left, ["not-a-folder"])

    def test_an_output_the_client_made_is_written_into_and_read_through_its_own_handle(self):
        # As Xfce's tumbler does: it makes the file, keeps it open, and reads the thumbnail back
        # through that handle; a file renamed over it would never reach it.
        source = os.path.join(ROOT, "fuzz", "seeds", "ico_reader")
        source = os.path.join(source, sorted(os.listdir(source))[0])
        os.makedirs(os.path.join(self.dir, "out"))
        output = os.path.join(self.dir, "out", "tumbler-made.png")
        with open(output, "w+b") as held:
            held.write(b"stale bytes, longer than nothing")
            held.flush()
            result, left = self.thumbnail("-s", "32", source, output)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(left, ["tumbler-made.png"])
            held.seek(0)
            with Image.open(held) as im:
                im.load()
                self.assertEqual(im.mode, "RGBA")

    def test_a_file_that_never_comes_is_given_up_on(self):
        fifo = os.path.join(self.dir, "stalled.ico")
        os.mkfifo(fifo)  # opening it waits for a writer that never comes
        result = self.check_outcome(fifo)
        self.assertEqual(result.returncode, 1)
        self.assertIn("gave up after 2 s", result.stderr)


class Families(ThumbnailerCase):
    def test_a_jpeg_2000_family_in_a_resource_or_macbinary_file_is_the_same_as_on_its_own(self):
        # Those files are read whole, the family's JPEG 2000 picture decoded without the image
        # library where the program is linked statically.
        with open(os.path.join(ROOT, "fuzz", "seeds", "icns_reader", "jpeg2000.icns"), "rb") as f:
            family = f.read()
        fork = resource_fork([(b"icns", -16455, None, family)])
        thumbnails = []
        for name, data in [("alone.icns", family), ("old.rsrc", fork),
                           ("old.bin", macbinary(b"old", resource=fork))]:
            with self.subTest(file=name):
                source, output = os.path.join(self.dir, name), os.path.join(self.dir, "out", name + ".png")
                with open(source, "wb") as f:
                    f.write(data)
                result, _ = self.thumbnail("-s", "256", source, output)
                self.assertEqual(result.returncode, 0, result.stderr)
                with open(output, "rb") as f:
                    thumbnails.append(f.read())
        self.assertEqual(thumbnails[1:], thumbnails[:1] * 2)


class EveryFile(ThumbnailerCase):
    def sweep(self, folder):
        count = 0
        for top, _, names in os.walk(folder):
            for name in sorted(names):
                with self.subTest(file=os.path.join(top, name)):
                    self.check_outcome(os.path.join(top, name))
                    count += 1
        return count

    def test_fuzz_inputs(self):
        self.assertGreater(self.sweep(os.path.join(ROOT, "fuzz", "seeds")), 0)

    def test_development_corpus(self):
        corpus = os.environ.get("TELLURINE_CORPUS_DIR", os.path.join(ROOT, "..", "shared", "corpus-dev"))
        if not os.path.isdir(corpus):
            self.skipTest(f"no development corpus at {corpus}")
        self.assertGreater(self.sweep(corpus), 0)


if __name__ == "__main__":
    THUMBNAILER = sys.argv.pop(1)
    unittest.main(verbosity=2)

"""End-to-end tests of tellurine-cli, with Pillow as an independent reader of what it writes.

Run by CTest as: python3 cli_test.py PATH-TO-tellurine-cli
"""
import json
import os
import unittest

from PIL import Image

from cli_support import ScratchCase, main, run


def photo(path, size=96, alpha=False):
    """A smooth, many-coloured test picture, optionally with a transparent corner."""
    mode = "RGBA" if alpha else "RGB"
    img = Image.new(mode, (size, size))
    px = img.load()
    for y in range(size):
        for x in range(size):
            colour = ((x * 255) // size, (y * 255) // size, ((x + y) * 127) // size)
            if alpha:
                colour += (0 if x < 8 and y < 8 else 255,)
            px[x, y] = colour
    img.save(path)
    return img


def mean_error(a, b):
    """Mean absolute difference per channel between two pictures of one size."""
    x, y = a.convert("RGB").tobytes(), b.convert("RGB").tobytes()
    return sum(abs(p - q) for p, q in zip(x, y)) / len(x)


class Usage(unittest.TestCase):
    def test_help_version_and_bad_usage(self):
        self.assertEqual(run("--help").returncode, 0)
        version = run("--version")
        self.assertEqual(version.returncode, 0)
        self.assertIn("tellurine-cli", version.stdout)
        for args in ([], ["frobnicate"], ["reduce", "only-one-arg"], ["reduce", "a.png", "b.png", "--colors", "0"],
                     ["reduce", "a.png", "b.png", "--colors", "257"]):
            self.assertEqual(run(*args).returncode, 2, args)
        self.assertEqual(run("frobnicate").stderr,
                         'tellurine-cli: unknown command "frobnicate"; the commands are adjust, convert, create, '
                         'extract, filter, find, flip, iconset, info, palette, reduce, resize, rotate, seticon '
                         '(see --help)\n')


class Find(ScratchCase):
    """find: icons written by Pillow under a folder, found by format and by likeness."""

    def test_finds_by_format_kind_and_likeness(self):
        from PIL import Image, ImageDraw

        def drawing(size, disc):
            picture = Image.new("RGBA", (size, size), (240, 240, 200, 255))
            box = (size // 4, size // 4, size * 3 // 4, size * 3 // 4)
            draw = ImageDraw.Draw(picture)
            (draw.ellipse if disc else draw.rectangle)(box, fill=(20, 40, 160, 255))
            draw.line((0, size - 1, size - 1, 0), fill=(0, 0, 0, 255), width=max(1, size // 16))
            return picture

        os.makedirs(self.path("sub"))
        drawing(64, True).save(self.path("disc.ico"), sizes=[(16, 16), (32, 32), (48, 48)])
        drawing(48, False).save(self.path("sub/square.ico"), sizes=[(48, 48)])
        drawing(64, True).resize((40, 40)).save(self.path("like.png"))
        self.write("broken.ico", b"\0\0\1\0\5\0junk")
        found = run("find", self.dir, "--json")
        self.assertEqual(found.returncode, 0, found.stderr)
        listing = json.loads(found.stdout)
        self.assertEqual([os.path.relpath(m["path"], self.dir) for m in listing["matches"]],
                         ["disc.ico", "like.png", "sub/square.ico"])
        self.assertEqual(listing["unreadable"], 1)
        disc = listing["matches"][0]
        self.assertEqual((disc["kind"], disc["icons"]), ("icon", 1))
        self.assertEqual(sorted((f["width"], f["bpp"], f["alpha"]) for f in disc["formats"]),
                         [(16, 32, True), (32, 32, True), (48, 32, True)])

        def names(*args):
            r = run("find", self.dir, *args)
            self.assertEqual(r.returncode, 0, r.stderr)
            return [os.path.relpath(line.split("\t")[0], self.dir) for line in r.stdout.splitlines()]

        self.assertEqual(names("--size", "48", "--kind", "icon", "--no-subfolders"), ["disc.ico"])
        self.assertEqual(names("--size", "16", "--size", "48", "--name", "*.ICO"), ["disc.ico", "sub/square.ico"])
        self.assertEqual(names("--no-alpha"), [])
        # The disc at another size is nearest; the square comes after it or not at all.
        near = names("--like", self.path("like.png"), "--kind", "icon")
        self.assertEqual(near[0], "disc.ico")
        for args in (["--kind", "sprite"], ["--depth", "7"], ["--alpha", "--no-alpha"], ["--distance", "3"]):
            self.assertEqual(run("find", self.dir, *args).returncode, 2, args)
        self.assertEqual(run("find", self.path("disc.ico")).returncode, 1)
        self.assertEqual(run("find", self.dir, "--like", self.path("broken.ico")).returncode, 1)


class Reduce(ScratchCase):
    def test_writes_a_palette_png_close_to_the_source(self):
        src = photo(self.path("in.png"))
        for args in ([], ["--no-dither"], ["--colors", "16"], ["--keep-black-white"]):
            out = self.path("out.png")
            result = run("reduce", self.path("in.png"), out, *args)
            self.assertEqual(result.returncode, 0, result.stderr)
            img = Image.open(out)
            self.assertEqual(img.mode, "P", args)
            self.assertEqual(img.size, src.size)
            colours = img.convert("RGB").getcolors(65536)
            limit = 16 if "16" in args else 256
            self.assertLessEqual(len(colours), limit, args)
            # No worse than Pillow's own octree quantiser at the same settings.
            dither = Image.Dither.NONE if "--no-dither" in args else Image.Dither.FLOYDSTEINBERG
            peer = src.quantize(limit, method=Image.Quantize.FASTOCTREE, dither=dither)
            self.assertLess(mean_error(src, img), 1.25 * mean_error(src, peer), args)
            if "--keep-black-white" in args:
                self.assertEqual(tuple(img.getpalette()[765:768]), (255, 255, 255))

    def test_transparency_is_flattened_over_white_and_bmp_is_written(self):
        photo(self.path("alpha.png"), alpha=True)
        out = self.path("out.bmp")
        result = run("reduce", self.path("alpha.png"), out)
        self.assertEqual(result.returncode, 0, result.stderr)
        img = Image.open(out)
        self.assertEqual(img.format, "BMP")
        self.assertEqual(img.mode, "P")
        # The transparent corner was composed over white (octree leaves average it with near-whites).
        self.assertGreaterEqual(min(img.convert("RGB").getpixel((2, 2))), 240)

    def test_failures_leave_no_output(self):
        damaged = self.write("damaged.png", b"\x89PNG\r\n\x1a\n" + b"\x00" * 40)
        out = self.path("out.png")
        for source in (damaged, self.path("missing.png"), self.dir):
            result = run("reduce", source, out)
            self.assertEqual(result.returncode, 1, source)
            self.assertEqual(len(result.stderr.strip().splitlines()), 1, result.stderr)
            self.assertIn("tellurine-cli: reduce: cannot read", result.stderr)
            self.assertFalse(os.path.exists(out))
        photo(self.path("in.png"), size=8)
        self.assertEqual(run("reduce", self.path("in.png"), self.path("out.gif")).returncode, 2)
        # An existing output that cannot be replaced stays as it was.
        os.mkdir(self.path("taken.png"))
        self.assertEqual(run("reduce", self.path("in.png"), self.path("taken.png")).returncode, 1)
        self.assertTrue(os.path.isdir(self.path("taken.png")))
        self.assertEqual(sorted(os.listdir(self.dir)), ["damaged.png", "in.png", "taken.png"])


if __name__ == "__main__":
    main()

"""End-to-end tests of tellurine-cli's icon commands (info, extract, convert), judged by peers:
icoutils (icotool) lists and writes icons, Pillow and ImageMagick write them, Pillow reads them.

Run by CTest as: python3 icon_cli_test.py PATH-TO-tellurine-cli
"""
import io
import json
import os
import re
import subprocess

from PIL import Image

from cli_support import ScratchCase, main, run

MAGICK = "/usr/bin/convert"  # ImageMagick's, not whatever `convert` comes first on the PATH
READ_ERROR = ("Error while reading the specified icon file. The file does not contains icons, "
              "has an invalid format or is corrupted.")


def tool(*args):
    subprocess.run(list(map(str, args)), check=True, capture_output=True, timeout=60)


def picture(size, colours=0, soft=False):
    """RGBA test picture: a clear top-left corner, optionally a half-transparent right edge
    (`soft`), and when `colours` is given at most that many colours (so icotool stores a palette)."""
    img = Image.new("RGBA", (size, size))
    px = img.load()
    for y in range(size):
        for x in range(size):
            if colours:
                i = (x // 2 + y // 3) % colours
                rgb = (i * 53 % 256, i * 101 % 256, i * 197 % 256) if colours > 2 else (255 * i,) * 3
            else:
                rgb = ((x * 255) // size, (y * 255) // size, ((x + y) * 97) % 256)
            a = 0 if x < size // 4 and y < size // 4 else (128 if soft and x > size * 3 // 4 else 255)
            px[x, y] = rgb + (a,)
    return img


def pillow_formats(path):
    """Every format of an icon or cursor as Pillow reads it: (width, height, bpp) -> RGBA image.
    Pillow reads one image of a cursor only, so a cursor is shown to it as an icon: type 1, and
    planes and bits in the directory rather than the hotspot."""
    with open(path, "rb") as f:
        data = bytearray(f.read())
    if data[2] == 2:
        data[2] = 1
        for i in range(data[4]):
            entry = 6 + 16 * i
            offset = int.from_bytes(data[entry + 12:entry + 16], "little")
            data[entry + 4:entry + 8] = b"\x01\x00" + data[offset + 14:offset + 16]
    ico = Image.open(io.BytesIO(bytes(data))).ico
    return {(e["width"], e["height"], e["bpp"]): ico.frame(i).convert("RGBA") for i, e in enumerate(ico.entry)}


def icotool_list(path):
    """(width, height, bits) of each image in file order, as `icotool -l` lists them."""
    out = subprocess.run(["icotool", "-l", path], capture_output=True, text=True, check=True).stdout
    return [tuple(int(re.search(f"--{k}=(\\d+)", line).group(1)) for k in ("width", "height", "bit-depth"))
            for line in out.splitlines()]


class IconCase(ScratchCase):
    def mixed_icon(self):
        """Written by icotool: 8-bit and 4-bit palettes and 24 bits with AND masks, 32 bits with
        alpha, and a 256 stored as PNG."""
        names = []
        for size, colours, soft in ((16, 200, False), (24, 16, False), (32, 0, False), (48, 0, True), (256, 0, True)):
            names.append(self.path(f"p{size}.png"))
            picture(size, colours, soft).save(names[-1])
        out = self.path("mixed.ico")
        tool("icotool", "-c", "-o", out, "-b", "8", names[0], "-b", "4", names[1], "-b", "24", names[2],
             "-b", "32", names[3], "-r", names[4])
        return out

    def assertExtractMatchesPillow(self, icon, expected_count=None):
        """`extract` writes one RGBA PNG per format with the pixels Pillow reads from the icon."""
        out = self.path("png-" + os.path.basename(icon))
        result = run("extract", icon, "-o", out)
        self.assertEqual(result.returncode, 0, result.stderr)
        formats = self.info(icon)[0]["formats"]
        if expected_count is not None:
            self.assertEqual(len(formats), expected_count)
        peer = pillow_formats(icon)
        stem = os.path.splitext(os.path.basename(icon))[0]
        self.assertEqual(len(os.listdir(out)), len(formats))
        for f in formats:
            name = f"{stem}-{f['index']}-{f['width']}x{f['height']}-{f['bpp']}.png"
            with Image.open(os.path.join(out, name)) as mine:
                self.assertEqual(mine.mode, "RGBA", name)
                self.assertEqual(mine.tobytes(), peer[(f["width"], f["height"], f["bpp"])].tobytes(), name)
        return formats


class Convert(IconCase):
    def test_written_icon_is_listed_by_icotool_and_read_by_pillow_like_tellurine(self):
        source = self.mixed_icon()
        self.assertExtractMatchesPillow(source, 5)
        out = self.path("out.ico")
        result = run("convert", source, out)
        self.assertEqual(result.returncode, 0, result.stderr)
        formats = self.info(out)[0]["formats"]
        self.assertEqual(icotool_list(out), [(f["width"], f["height"], f["bpp"]) for f in formats])
        self.assertEqual(icotool_list(out), [(24, 24, 4), (16, 16, 8), (32, 32, 24), (256, 256, 32), (48, 48, 32)])
        self.assertEqual(sorted(icotool_list(out)), sorted(icotool_list(source)))
        self.assertExtractMatchesPillow(out, 5)
        # --explorer-order puts smaller formats first and 32 bits last.
        self.assertEqual(run("convert", source, self.path("e.ico"), "--explorer-order").returncode, 0)
        self.assertEqual(icotool_list(self.path("e.ico")),
                         [(16, 16, 8), (24, 24, 4), (32, 32, 24), (48, 48, 32), (256, 256, 32)])

    def test_cursor_becomes_an_icon(self):
        names = [self.path("c16.png"), self.path("c32.png")]
        picture(16, 2).save(names[0])
        picture(32).save(names[1])
        cursor = self.path("arrow.cur")
        tool("icotool", "-c", "--cursor", "-X", "3", "-Y", "4", "-o", cursor, "-b", "1", names[0], names[1])
        self.assertEqual(self.info(cursor)[0]["kind"], "cur")
        self.assertExtractMatchesPillow(cursor, 2)
        self.assertEqual(run("convert", cursor, self.path("arrow.ICO")).returncode, 0)
        self.assertEqual(self.info(self.path("arrow.ICO"))[0]["kind"], "ico")
        self.assertEqual(sorted(icotool_list(self.path("arrow.ICO"))), [(16, 16, 1), (32, 32, 24)])


    def test_a_strip_becomes_formats_and_saves_back_as_the_same_picture(self):
        strip = Image.new("RGBA", (80, 16))
        for i in range(5):
            strip.paste(picture(16, soft=i % 2 == 1).rotate(90 * i), (16 * i, 0))
        strip.save(self.path("tools.png"))
        strip.convert("RGB").save(self.path("tools.bmp"))
        for source, cell, count in (("tools.png", "auto", 5), ("tools.bmp", "8x16", 10)):
            result = run("convert", self.path(source), self.path("cells.ico"), "--strip", cell)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(len(icotool_list(self.path("cells.ico"))), count)
        self.assertEqual(run("convert", self.path("tools.png"), self.path("cells.ico"), "--strip", "auto").returncode, 0)
        # Saved as a strip file: a PNG any viewer shows as the strip itself, with its cell size.
        self.assertEqual(run("convert", self.path("cells.ico"), self.path("tools.tbf")).returncode, 0)
        with Image.open(self.path("tools.tbf")) as im:
            self.assertEqual(im.format, "PNG")
            self.assertEqual(im.text.get("Tellurine strip cell"), "16x16")
            self.assertEqual(im.convert("RGBA").tobytes(), strip.tobytes())
        self.assertEqual(self.info(self.path("tools.tbf"))[0]["kind"], "strip")
        for bad in ("0x16", "big"):
            result = run("convert", self.path("tools.png"), self.path("bad.ico"), "--strip", bad)
            self.assertEqual(result.returncode, 2, bad)
        result = run("convert", self.path("tools.png"), self.path("bad.ico"), "--strip", "32x32")
        self.assertEqual(result.returncode, 1)
        self.assertIn("does not fit", result.stderr)
        self.assertFalse(os.path.exists(self.path("bad.ico")))


class PeerFiles(IconCase):
    def test_pillow_and_imagemagick_icons_read_to_pillows_pixels(self):
        big = picture(256, soft=True)
        big.save(self.path("pillow.ico"), sizes=[(16, 16), (32, 32), (48, 48), (256, 256)])
        for f in self.assertExtractMatchesPillow(self.path("pillow.ico"), 4):
            self.assertTrue(f["png"] and f["alpha"])
        # PNG formats that are not RGBA (here RGB) come out as RGBA too.
        big.convert("RGB").save(self.path("rgb.ico"), sizes=[(16, 16), (256, 256)])
        self.assertExtractMatchesPillow(self.path("rgb.ico"), 2)
        # Bitmap form with a palette.
        big.convert("RGB").quantize(64).save(self.path("palette.ico"), sizes=[(32, 32)], bitmap_format="bmp")
        self.assertEqual(self.assertExtractMatchesPillow(self.path("palette.ico"), 1)[0]["bpp"], 8)
        # ImageMagick's icons.
        big.save(self.path("src.png"))
        tool(MAGICK, self.path("src.png"), "-define", "icon:auto-resize=16,32,48,256", self.path("magick.ico"))
        self.assertExtractMatchesPillow(self.path("magick.ico"), 4)


class Info(IconCase):
    def test_text_and_json_listings(self):
        source = self.mixed_icon()
        tool("icotool", "-c", "--cursor", "-o", self.path("c.cur"), self.path("p32.png"))
        result = run("info", source, self.path("c.cur"))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout.splitlines(), [
            f"{source}: ico, 5 formats",
            "  0: 16x16, 8 bpp, 256 colors, no alpha, bitmap",
            "  1: 24x24, 4 bpp, 16 colors, no alpha, bitmap",
            "  2: 32x32, 24 bpp, 0 colors, no alpha, bitmap",
            "  3: 48x48, 32 bpp, 0 colors, alpha, bitmap",
            "  4: 256x256, 32 bpp, 0 colors, alpha, png",
            "",
            f"{self.path('c.cur')}: cur, 1 format",
            "  0: 32x32, 24 bpp, 0 colors, no alpha, bitmap"])
        files = self.info(source, self.path("c.cur"))
        self.assertEqual([(f["path"], f["kind"]) for f in files], [(source, "ico"), (self.path("c.cur"), "cur")])
        keys = ["index", "width", "height", "bpp", "colors", "alpha", "png"]
        for f in files:
            self.assertEqual(list(f), ["path", "kind", "formats"])
            for i, entry in enumerate(f["formats"]):
                self.assertEqual(list(entry), keys)
                self.assertEqual(entry["index"], i)
                self.assertIsInstance(entry["alpha"], bool)
                self.assertIsInstance(entry["png"], bool)
        self.assertEqual([f["png"] for f in files[0]["formats"]], [False] * 4 + [True])


class Failures(IconCase):
    def setUp(self):
        super().setUp()
        self.good = self.mixed_icon()
        data = self.read(self.good)
        self.damaged = self.write("damaged.ico", data[:len(data) // 2])  # the last images run past the end
        self.missing = self.path("missing.ico")

    def assertReadErrors(self, result, *paths):
        """One line per file: why a file could not be read, or the message for damaged files."""
        reasons = {self.missing: "cannot open: No such file or directory", self.dir: "is a folder"}
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.splitlines(),
                         [f"tellurine-cli: {p}: {reasons.get(p, READ_ERROR)}" for p in paths])

    def test_bad_files_fail_and_the_others_are_still_processed(self):
        result = run("info", self.damaged, self.good, self.missing)
        self.assertReadErrors(result, self.damaged, self.missing)
        if os.geteuid() != 0:  # root reads any file
            unreadable = self.write("unreadable.ico", b"\0\0\1\0")
            os.chmod(unreadable, 0)
            self.assertEqual(run("info", unreadable).stderr,
                             f"tellurine-cli: {unreadable}: cannot open: Permission denied\n")
            os.remove(unreadable)
        self.assertTrue(result.stdout.startswith(f"{self.good}: ico, 5 formats\n"))
        result = run("info", "--json", self.missing, self.good)
        self.assertReadErrors(result, self.missing)
        self.assertEqual([f["path"] for f in json.loads(result.stdout)["files"]], [self.good])
        result = run("extract", self.damaged, self.good, self.dir, "-o", self.path("out"))
        self.assertReadErrors(result, self.damaged, self.dir)
        self.assertEqual(len(os.listdir(self.path("out"))), 5)
        self.assertReadErrors(run("convert", self.missing, self.path("x.ico")), self.missing)
        self.assertFalse(os.path.exists(self.path("x.ico")))

    def test_failed_convert_and_bad_usage_write_nothing(self):
        target = self.write("keep.ico", b"precious")
        self.assertReadErrors(run("convert", self.damaged, target), self.damaged)
        # Bad usage exits with 2 and names what is missing or wrong; an output that is not an icon
        # is told to be one.
        for args, told in ((["info"], "FILE"), (["extract", self.good], "--output"),
                           (["extract", "-o", self.dir], "FILE"), (["convert", self.good], "OUT"),
                           (["convert", self.good, self.path("keep.png")], ".ico"),
                           (["convert", self.good, self.path("noext")], ".ico"),
                           (["info", self.good, "--frobnicate"], "--frobnicate")):
            result = run(*args)
            self.assertEqual(result.returncode, 2, args)
            self.assertIn(told, result.stderr, args)
        self.assertEqual(self.read(target), b"precious")
        self.assertEqual(sorted(os.listdir(self.dir)),
                         sorted(["damaged.ico", "keep.ico", "mixed.ico"] + [f"p{s}.png" for s in (16, 24, 32, 48, 256)]))


if __name__ == "__main__":
    main()

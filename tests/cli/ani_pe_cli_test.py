"""End-to-end tests of tellurine-cli on animated cursors and on the icons inside programs, with
files written here: animated cursors from Pillow-made cursors, programs by pe_writer.py, whose
resources icoutils' wrestool lists as the judge.

Run by CTest as: python3 ani_pe_cli_test.py PATH-TO-tellurine-cli
"""
import io
import json
import os
import shutil
import struct
import subprocess

from PIL import Image

from cli_support import ScratchCase, main, run
from pe_writer import write_pe, write_program

READ_ERROR = ("Error while reading the specified icon file. The file does not contains icons, "
              "has an invalid format or is corrupted.")


def ico(sizes, colour, bmp=False):
    img = Image.new("RGBA", (64, 64), colour)
    img.putpixel((0, 0), (0, 0, 0, 0))
    out = io.BytesIO()
    if bmp:
        img.save(out, "ico", sizes=[(s, s) for s in sizes], bitmap_format="bmp")
    else:
        img.save(out, "ico", sizes=[(s, s) for s in sizes])
    return out.getvalue()


def cursor(colour, hotspot):
    """A one-image cursor file: an icon file of type 2 with the hotspot in its directory entry."""
    data = bytearray(ico([32], colour, bmp=True))
    struct.pack_into("<H", data, 2, 2)
    struct.pack_into("<HH", data, 6 + 4, *hotspot)
    return bytes(data)


def chunk(tag, data):
    return tag + struct.pack("<I", len(data)) + data + (b"\0" if len(data) % 2 else b"")


def animated_cursor(frames, steps, rates=None, seq=None, title=b"Spinner"):
    anih = struct.pack("<9I", 36, len(frames), steps, 0, 0, 0, 0, 6, 1 | (2 if seq else 0))
    body = b"ACON" + chunk(b"anih", anih)
    body += chunk(b"LIST", b"INFO" + chunk(b"INAM", title))
    if rates:
        body += chunk(b"rate", struct.pack(f"<{len(rates)}I", *rates))
    if seq:
        body += chunk(b"seq ", struct.pack(f"<{len(seq)}I", *seq))
    body += chunk(b"LIST", b"fram" + b"".join(chunk(b"icon", f) for f in frames))
    return b"RIFF" + struct.pack("<I", len(body)) + body


class AnimatedCursorTest(ScratchCase):
    def test_steps_are_listed_extracted_and_converted(self):
        path = self.path("spin.ani")
        with open(path, "wb") as f:
            f.write(animated_cursor([cursor((255, 0, 0, 255), (3, 4)), cursor((0, 0, 255, 128), (30, 1))], 3,
                                    rates=[10, 65536 + 5, 7], seq=[1, 0, 1]))
        r = run("info", path, "--json")
        self.assertEqual(r.returncode, 0, r.stderr)
        listing = json.loads(r.stdout)["files"][0]
        self.assertEqual(listing["kind"], "ani")
        self.assertEqual([(s["index"], s["width"], s["height"], s["bpp"], s["hotspot"], s["rate"])
                          for s in listing["steps"]],
                         [(0, 32, 32, 32, [30, 1], 10), (1, 32, 32, 32, [3, 4], 5), (2, 32, 32, 32, [30, 1], 7)])
        self.assertIn("ani, 3 steps", run("info", path).stdout)

        out = self.path("out")
        self.assertEqual(run("extract", path, "-o", out).returncode, 0)
        self.assertEqual(sorted(os.listdir(out)), ["spin-0-32x32-32.png", "spin-1-32x32-32.png", "spin-2-32x32-32.png"])
        with Image.open(os.path.join(out, "spin-1-32x32-32.png")) as im:
            self.assertEqual(im.convert("RGBA").getpixel((5, 5)), (255, 0, 0, 255))
        with Image.open(os.path.join(out, "spin-0-32x32-32.png")) as im:
            self.assertEqual(im.convert("RGBA").getpixel((5, 5)), (0, 0, 255, 128))

        # The two distinct frames become the formats of one icon.
        self.assertEqual(run("convert", path, self.path("spin.ico")).returncode, 0)
        with Image.open(self.path("spin.ico")) as im:
            self.assertEqual(im.info["sizes"], {(32, 32)})
        formats = json.loads(run("info", self.path("spin.ico"), "--json").stdout)["files"][0]["formats"]
        self.assertEqual(len(formats), 2)

    def test_damaged_and_refused_cursors(self):
        good = animated_cursor([cursor((255, 0, 0, 255), (0, 0))], 1)
        cases = {
            "zero-frames.ani": good.replace(struct.pack("<9I", 36, 1, 1, 0, 0, 0, 0, 6, 1),
                                            struct.pack("<9I", 36, 0, 1, 0, 0, 0, 0, 6, 1)),
            "no-flag.ani": good.replace(struct.pack("<9I", 36, 1, 1, 0, 0, 0, 0, 6, 1),
                                        struct.pack("<9I", 36, 1, 1, 0, 0, 0, 0, 6, 0)),
            "cut-in-data.ani": good[:-40],
            "long-title.ani": animated_cursor([cursor((255, 0, 0, 255), (0, 0))], 1, title=b"x" * 81),
        }
        for name, data in cases.items():
            with open(self.path(name), "wb") as f:
                f.write(data)
            r = run("info", self.path(name))
            self.assertEqual(r.returncode, 1, name)
            self.assertIn(READ_ERROR, r.stderr, name)
        with open(self.path("title-80.ani"), "wb") as f:
            f.write(animated_cursor([cursor((255, 0, 0, 255), (0, 0))], 1, title=b"x" * 80))
        self.assertEqual(run("info", self.path("title-80.ani")).returncode, 0)


class ProgramTest(ScratchCase):
    def make(self):
        path = self.path("app.exe")
        write_program(path, [(101, 1033, ico([16, 32], (255, 0, 0, 255))),
                             ("APPICON", 1033, ico([48], (0, 255, 0, 255), bmp=True)),
                             (7, 1031, ico([16, 24, 32], (0, 0, 255, 255)))])
        return path

    def test_groups_are_listed_in_the_directory_order_that_wrestool_shows(self):
        path = self.make()
        listing = json.loads(run("info", path, "--json").stdout)["files"][0]
        self.assertEqual(listing["kind"], "pe")
        self.assertEqual([(g["name"], [f["width"] for f in g["formats"]]) for g in listing["groups"]],
                         [("APPICON", [48]), (7, [16, 24, 32]), (101, [16, 32])])
        if shutil.which("wrestool"):
            groups = [line.split("--name=")[1].split(" ")[0].strip("'")
                      for line in subprocess.run(["wrestool", "-l", "--type=14", path], capture_output=True,
                                                 text=True).stdout.splitlines()]
            self.assertEqual(groups, [str(g["name"]) for g in listing["groups"]])

        out = self.path("out")
        self.assertEqual(run("extract", path, "-o", out).returncode, 0)
        self.assertIn("app-APPICON-0-48x48-32.png", os.listdir(out))
        self.assertEqual(len(os.listdir(out)), 6)

        self.assertEqual(run("convert", path, self.path("first.ico")).returncode, 0)
        with Image.open(self.path("first.ico")) as im:
            self.assertEqual(im.info["sizes"], {(48, 48)})
        self.assertEqual(run("convert", path, self.path("seven.ico"), "--group", "7").returncode, 0)
        with Image.open(self.path("seven.ico")) as im:
            self.assertEqual(im.info["sizes"], {(16, 16), (24, 24), (32, 32)})
        r = run("convert", path, self.path("none.ico"), "--group", "8")
        self.assertEqual(r.returncode, 1)

    def test_extracting_skips_only_the_images_that_cannot_be_read(self):
        def damaged(ico_bytes, index):
            data = bytearray(ico_bytes)
            size, offset = struct.unpack_from("<II", data, 6 + 16 * index + 8)
            data[offset + size // 2] ^= 0x55  # inside the compressed data: its chunk's CRC no longer matches
            return bytes(data)

        good = ico([16, 24, 32], (10, 200, 30, 255))
        path = self.path("app.exe")
        write_program(path, [(5, 1033, damaged(good, 1)), (6, 1033, damaged(ico([48], (1, 2, 3, 255)), 0))])
        listing = json.loads(run("info", path, "--json").stdout)["files"][0]
        self.assertEqual([(g["name"], [f["width"] for f in g["formats"]]) for g in listing["groups"]], [(5, [16, 32])])
        out = self.path("out")
        self.assertEqual(run("extract", path, "-o", out).returncode, 0)
        self.assertEqual(sorted(os.listdir(out)), ["app-5-0-16x16-32.png", "app-5-1-32x32-32.png"])
        # The stored PNG streams are written as they are, and hold Pillow's pixels of them.
        size, offset = struct.unpack_from("<II", good, 6 + 8)
        with open(os.path.join(out, "app-5-0-16x16-32.png"), "rb") as f:
            self.assertEqual(f.read(), good[offset:offset + size])
        with Image.open(io.BytesIO(good)) as im, Image.open(os.path.join(out, "app-5-1-32x32-32.png")) as png:
            im.size = (32, 32)
            self.assertEqual(png.convert("RGBA").tobytes(), im.convert("RGBA").tobytes())

        write_program(self.path("broken.exe"), [(1, 1033, damaged(ico([16], (9, 9, 9, 255)), 0))])
        r = run("extract", self.path("broken.exe"), "-o", self.path("none"))
        self.assertEqual((r.returncode, r.stderr.strip()), (1, f"tellurine-cli: {self.path('broken.exe')}: {READ_ERROR}"))
        self.assertEqual(os.listdir(self.path("none")), [])

    def test_programs_without_groups_and_damaged_ones_are_refused(self):
        write_pe(self.path("icons-only.exe"), {3: [(1, 1033, ico([16], (1, 2, 3, 255)))]})
        path = self.make()
        with open(path, "rb") as f:
            data = f.read()
        with open(self.path("cut.exe"), "wb") as f:
            f.write(data[:0x180])
        with open(self.path("text.exe"), "wb") as f:
            f.write(b"MZ this is not a program")
        for name in ("icons-only.exe", "cut.exe", "text.exe"):
            r = run("info", self.path(name))
            self.assertEqual(r.returncode, 1, name)
            self.assertIn(READ_ERROR, r.stderr, name)


if __name__ == "__main__":
    main()

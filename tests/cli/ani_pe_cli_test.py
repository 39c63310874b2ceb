"""End-to-end tests of tellurine-cli on animated cursors and on the icons inside programs, with
files written here: animated cursors from Pillow-made cursors, programs by pe_writer.py, whose
resources icoutils' wrestool lists as the judge.

Run by CTest as: python3 ani_pe_cli_test.py PATH-TO-tellurine-cli
"""
import io
import os
import shutil
import struct
import subprocess

from PIL import Image

from cli_support import ScratchCase, main, run
from icon_cli_test import READ_ERROR
from pe_writer import write_pe, write_program


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
        frames = [cursor((255, 0, 0, 255), (3, 4)), cursor((0, 0, 255, 128), (30, 1))]
        path = self.write("spin.ani", animated_cursor(frames, 3, rates=[10, 65536 + 5, 7], seq=[1, 0, 1]))
        listing = self.info(path)[0]
        self.assertEqual(listing["kind"], "ani")
        self.assertEqual([(s["index"], s["width"], s["height"], s["bpp"], s["hotspot"], s["rate"])
                          for s in listing["steps"]],
                         [(0, 32, 32, 32, [30, 1], 10), (1, 32, 32, 32, [3, 4], 5), (2, 32, 32, 32, [30, 1], 7)])
        self.assertIn("ani, 3 steps", run("info", path).stdout)

        out = self.path("out")
        self.assertEqual(run("extract", path, "-o", out).returncode, 0)
        self.assertEqual(sorted(os.listdir(out)), ["spin-0-32x32-32.png", "spin-1-32x32-32.png", "spin-2-32x32-32.png"])
        for step, colour in ((1, (255, 0, 0, 255)), (0, (0, 0, 255, 128))):
            with Image.open(os.path.join(out, f"spin-{step}-32x32-32.png")) as im:
                self.assertEqual(im.convert("RGBA").getpixel((5, 5)), colour, step)

        # The two distinct frames become the formats of one icon.
        self.assertEqual(run("convert", path, self.path("spin.ico")).returncode, 0)
        with Image.open(self.path("spin.ico")) as im:
            self.assertEqual(im.info["sizes"], {(32, 32)})
        self.assertEqual(len(self.info(self.path("spin.ico"))[0]["formats"]), 2)


def sample_program(path):
    """A program of three icon groups: 101 and 7 by number, APPICON by name."""
    write_program(path, [(101, 1033, ico([16, 32], (255, 0, 0, 255))),
                         ("APPICON", 1033, ico([48], (0, 255, 0, 255), bmp=True)),
                         (7, 1031, ico([16, 24, 32], (0, 0, 255, 255)))])
    return path


class ProgramTest(ScratchCase):
    def test_groups_are_listed_in_the_directory_order_that_wrestool_shows(self):
        path = sample_program(self.path("app.exe"))
        listing = self.info(path)[0]
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
        listing = self.info(path)[0]
        self.assertEqual([(g["name"], [f["width"] for f in g["formats"]]) for g in listing["groups"]], [(5, [16, 32])])
        out = self.path("out")
        self.assertEqual(run("extract", path, "-o", out).returncode, 0)
        self.assertEqual(sorted(os.listdir(out)), ["app-5-0-16x16-32.png", "app-5-1-32x32-32.png"])
        # The stored PNG streams are written as they are, and hold Pillow's pixels of them.
        size, offset = struct.unpack_from("<II", good, 6 + 8)
        self.assertEqual(self.read(os.path.join(out, "app-5-0-16x16-32.png")), good[offset:offset + size])
        with Image.open(io.BytesIO(good)) as im, Image.open(os.path.join(out, "app-5-1-32x32-32.png")) as png:
            im.size = (32, 32)
            self.assertEqual(png.convert("RGBA").tobytes(), im.convert("RGBA").tobytes())

        write_program(self.path("broken.exe"), [(1, 1033, damaged(ico([16], (9, 9, 9, 255)), 0))])
        r = run("extract", self.path("broken.exe"), "-o", self.path("none"))
        self.assertEqual((r.returncode, r.stderr.strip()), (1, f"tellurine-cli: {self.path('broken.exe')}: {READ_ERROR}"))
        self.assertEqual(os.listdir(self.path("none")), [])


class LibraryTest(ScratchCase):
    def test_a_program_becomes_a_library_whose_groups_come_out_one_by_one(self):
        program = sample_program(self.path("app.exe"))
        self.write("arrow.cur", cursor((9, 9, 9, 255), (3, 4)))
        library = self.path("tools.icl")
        self.assertEqual(run("convert", program, library).returncode, 0)
        listing = self.info(library)[0]
        self.assertEqual(listing["kind"], "ne")
        # Each group's images in the order an icon file is saved in: larger first.
        self.assertEqual([(g["name"], [f["width"] for f in g["formats"]]) for g in listing["groups"]],
                         [("APPICON", [48]), (7, [32, 24, 16]), (101, [32, 16])])
        if shutil.which("wrestool"):
            listed = subprocess.run(["wrestool", "-l", "--type=14", library], capture_output=True, text=True).stdout
            self.assertEqual([line.split("--name=")[1].split(" ")[0].strip("'") for line in listed.splitlines()],
                             ["APPICON", "7", "101"])

        # The same groups in a 32- and a 64-bit resource library, sorted as Windows sorts a
        # directory (names first), with the checksum the loader computes.
        for bits, magic in (("32", 0x10B), ("64", 0x20B)):
            dll = self.path(f"tools{bits}.dll")
            self.assertEqual(run("convert", program, dll, "--bits", bits).returncode, 0)
            self.assertEqual([g["name"] for g in self.info(dll)[0]["groups"]], ["APPICON", 7, 101])
            with open(dll, "rb") as f:
                data = f.read()
            header = struct.unpack_from("<I", data, 0x3C)[0]
            self.assertEqual(struct.unpack_from("<H", data, header + 24)[0], magic)
            self.assertEqual(struct.unpack_from("<I", data, header + 24 + 64)[0], pe_checksum(data)[0])
        self.assertEqual(run("convert", program, self.path("x.dll"), "--bits", "16").returncode, 2)

        # A cursor's library lists it as a cursor with its hotspot, and gives it back as a cursor file.
        self.assertEqual(run("convert", self.path("arrow.cur"), self.path("arrow.icl")).returncode, 0)
        text = run("info", self.path("arrow.icl")).stdout
        self.assertIn(": ne, 1 cursor\n  cursor 1, 1 format\n", text)
        self.assertIn("hotspot 3,4", text)

        # Every group, one file each, named by the one rule; then one group's PNGs alone.
        for source, folder in ((library, "all"), (self.path("arrow.icl"), "arrows")):
            self.assertEqual(run("convert", source, "--all-groups", "-o", self.path(folder)).returncode, 0)
        self.assertEqual(sorted(os.listdir(self.path("all"))), ["tools-101.ico", "tools-7.ico", "tools-APPICON.ico"])
        self.assertEqual(os.listdir(self.path("arrows")), ["arrow-cursor-1.cur"])
        with Image.open(os.path.join(self.path("arrows"), "arrow-cursor-1.cur")) as im:
            self.assertEqual(im.format, "CUR")
        self.assertEqual(run("extract", library, "--group", "7", "-o", self.path("seven")).returncode, 0)
        self.assertEqual(sorted(os.listdir(self.path("seven"))),
                         ["tools-7-0-32x32-32.png", "tools-7-1-24x24-32.png", "tools-7-2-16x16-32.png"])
        r = run("extract", library, "--group", "8", "-o", self.path("none"))
        self.assertEqual((r.returncode, r.stderr.strip()), (1, f"tellurine-cli: extract: {library} has no icon named 8"))
        r = run("convert", library, self.path("x.ico"), "--all-groups", "-o", self.path("x"))
        self.assertEqual(r.returncode, 2)


def pe_checksum(data):
    """The PE checksum as the loader computes it, written here independently of the tool."""
    field = struct.unpack_from("<I", data, 0x3C)[0] + 24 + 64
    padded, total = data + b"\0" * (-len(data) % 4), 0
    for i in range(0, len(padded), 4):
        if i != field:
            total += struct.unpack_from("<I", padded, i)[0]
            total = (total & 0xFFFFFFFF) + (total >> 32)
    total = (total & 0xFFFF) + (total >> 16)
    return ((total + (total >> 16)) & 0xFFFF) + len(data), field


class SetIconTest(ScratchCase):
    def test_a_programs_icon_is_set_keeping_its_payload_and_refusing_to_break_a_signature(self):
        program = sample_program(self.path("app.exe"))
        payload = bytes(range(256)) * 400  # an installer's data after the sections
        with open(program, "ab") as f:
            f.write(payload)
        original = self.read("app.exe")
        self.write("new.ico", ico([16, 32, 48], (9, 99, 199, 255)))

        # -o leaves the program alone; in place it keeps a backup.
        self.assertEqual(run("seticon", program, self.path("new.ico"), "--group", "7", "-o",
                             self.path("out.exe")).returncode, 0)
        self.assertEqual(self.read("app.exe"), original)
        self.assertEqual(run("seticon", program, self.path("new.ico"), "--group", "7").returncode, 0)
        self.assertEqual(self.read("app.exe.bak"), original)
        changed = self.read("app.exe")
        self.assertEqual(changed, self.read("out.exe"))
        self.assertTrue(changed.endswith(payload))
        listing = self.info(program)[0]
        self.assertEqual([(g["name"], sorted(f["width"] for f in g["formats"])) for g in listing["groups"]],
                         [("APPICON", [48]), (7, [16, 32, 48]), (101, [16, 32])])
        if shutil.which("wrestool"):
            out = self.path("x")
            subprocess.run(["wrestool", "-x", "--type=14", "--name=7", "-o", out, program], check=True,
                           capture_output=True)
            with Image.open(out) as im:
                self.assertEqual(im.info["sizes"], {(16, 16), (32, 32), (48, 48)})

        # A program with a checksum gets it computed again.
        data = bytearray(original)
        checksum, field = pe_checksum(bytes(data))
        struct.pack_into("<I", data, field, checksum)
        self.write("sum.exe", bytes(data))
        self.assertEqual(run("seticon", self.path("sum.exe"), self.path("new.ico"), "--no-backup").returncode, 0)
        result = self.read("sum.exe")
        self.assertEqual(struct.unpack_from("<I", result, field)[0], pe_checksum(result)[0])
        self.assertFalse(os.path.exists(self.path("sum.exe.bak")))

        # Signed: refused and untouched; with --remove-signature, changed and no longer signed.
        if not (shutil.which("osslsigncode") and shutil.which("openssl")):
            self.skipTest("needs osslsigncode and openssl")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=test", "-days", "2",
                        "-keyout", self.path("key.pem"), "-out", self.path("cert.pem")], check=True, capture_output=True)
        subprocess.run(["osslsigncode", "sign", "-certs", self.path("cert.pem"), "-key", self.path("key.pem"),
                        "-in", self.path("out.exe"), "-out", self.path("signed.exe")], check=True, capture_output=True)
        signed = self.read("signed.exe")
        r = run("seticon", self.path("signed.exe"), self.path("new.ico"))
        self.assertEqual(r.returncode, 1)
        self.assertIn("signature", r.stderr)
        self.assertEqual(self.read("signed.exe"), signed)
        self.assertEqual(run("seticon", self.path("signed.exe"), self.path("new.ico"), "--remove-signature").returncode, 0)
        verify = subprocess.run(["osslsigncode", "verify", "-in", self.path("signed.exe")], capture_output=True, text=True)
        self.assertIn("No signature found", verify.stdout + verify.stderr)
        self.assertTrue(self.read("signed.exe").endswith(payload))


class DamagedFilesTest(ScratchCase):
    def test_damaged_and_refused_cursors_and_programs(self):
        # Each is reported in the same words, and the files after it are still read.
        frames = [cursor((255, 0, 0, 255), (0, 0))]
        good = animated_cursor(frames, 1)
        header = struct.pack("<9I", 36, 1, 1, 0, 0, 0, 0, 6, 1)
        program = self.read(sample_program(self.path("app.exe")))
        damaged = [self.write(name, data) for name, data in (
            ("zero-frames.ani", good.replace(header, struct.pack("<9I", 36, 0, 1, 0, 0, 0, 0, 6, 1))),
            ("no-flag.ani", good.replace(header, struct.pack("<9I", 36, 1, 1, 0, 0, 0, 0, 6, 0))),
            ("cut-in-data.ani", good[:-40]),
            ("long-title.ani", animated_cursor(frames, 1, title=b"x" * 81)),
            ("cut.exe", program[:0x180]),
            ("text.exe", b"MZ this is not a program"))]
        write_pe(self.path("icons-only.exe"), {3: [(1, 1033, ico([16], (1, 2, 3, 255)))]})  # icons, no groups
        damaged.append(self.path("icons-only.exe"))
        # A title of 80 characters is still read.
        title80 = self.write("title-80.ani", animated_cursor(frames, 1, title=b"x" * 80))
        r = run("info", *damaged[:3], title80, *damaged[3:])
        self.assertEqual(r.returncode, 1)
        self.assertEqual(r.stderr.splitlines(), [f"tellurine-cli: {p}: {READ_ERROR}" for p in damaged])
        self.assertEqual(r.stdout.splitlines()[0], f"{title80}: ani, 1 step")


if __name__ == "__main__":
    main()

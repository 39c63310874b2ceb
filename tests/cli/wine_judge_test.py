"""Windows' own loader, run by Wine, as the judge of the programs and icon libraries tellurine-cli
writes. A small probe (win_icon_probe.c), built here with MinGW, asks Windows which icon groups a
file has and in which order, which image it picks for a size and what pixels it makes of it, and
how many icons the shell lists; a small program (win_hello.c) must still run once its icon is set.

Skipped as a whole unless Wine (wine64 or wine) and x86_64-w64-mingw32-gcc are installed:
scripts/setup-deps --judges installs them. All tests share one Wine prefix, made once per run.

Run by CTest as: python3 wine_judge_test.py PATH-TO-tellurine-cli
"""
import io
import os
import shutil
import struct
import subprocess
import tempfile
import unittest

from PIL import Image

from cli_support import ScratchCase, main, run
from pe_writer import group_data, icon_images, write_pe

HERE = os.path.dirname(os.path.abspath(__file__))
WINE = shutil.which("wine64") or shutil.which("wine")
MINGW = shutil.which("x86_64-w64-mingw32-gcc")


def wineserver():
    """Wine's server program: Debian keeps it beside the loader in /usr/lib/wine, off the PATH."""
    candidates = [shutil.which("wineserver"), os.path.join(os.path.dirname(os.path.realpath(WINE)), "wineserver"),
                  "/usr/lib/wine/wineserver", "/usr/lib/wine/wineserver64"]
    return next((c for c in candidates if c and os.access(c, os.X_OK)), None)


def run_wine(args, env, cwd, timeout=120):
    """Runs a Windows program; its output goes through files, not pipes, since the processes Wine
    starts in the background (services, devices) hold on to the pipes they inherit."""
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        code = subprocess.run([WINE, *map(str, args)], env=env, cwd=cwd, stdin=subprocess.DEVNULL, stdout=out,
                              stderr=err, timeout=timeout).returncode
        out.seek(0)
        err.seek(0)
        return subprocess.CompletedProcess(args, code, out.read().decode(errors="replace"),
                                           err.read().decode(errors="replace"))


# Pictures and icons ---------------------------------------------------------------------------

def picture(size, base):
    """An RGBA picture whose pixels tell where they are (red from x, green from y), in colours of
    its own (`base`), with a clear top-left corner and a half-transparent bottom edge."""
    im = Image.new("RGBA", (size, size))
    im.putdata([((base[0] + 3 * x) % 256, (base[1] + 5 * y) % 256, base[2],
                 0 if x + y < size // 4 else 128 if y >= size - 2 else 255)
                for y in range(size) for x in range(size)])
    return im


def palette_picture(size):
    """An 8-bit picture: a palette of 256 colours, an index per pixel, its top-left corner to be masked."""
    im = Image.new("P", (size, size))
    im.putpalette([v for i in range(256) for v in (i, 255 - i, (7 * i) % 256)])
    im.putdata([(x * 10 + y) % 256 for y in range(size) for x in range(size)])
    return im


def and_mask(size, clear):
    """An AND mask, bottom row first with rows padded to 4 bytes: set where clear(x, y)."""
    stride = (size + 31) // 32 * 4
    rows = []
    for y in reversed(range(size)):
        row = bytearray(stride)
        for x in range(size):
            if clear(x, y):
                row[x // 8] |= 0x80 >> (x % 8)
        rows.append(bytes(row))
    return b"".join(rows)


def one_image(im, png=False, clear=None):
    """The image of a one-image icon file Pillow writes of `im`. Pillow leaves the AND mask out of
    32-bit bitmaps and writes unpadded mask rows for the others, so a bitmap gets the whole mask
    Windows' own tools write instead: set where the picture is clear, or where clear(x, y) says."""
    out = io.BytesIO()
    im.save(out, "ico", sizes=[im.size], bitmap_format="png" if png else "bmp")
    (fields, data), = icon_images(out.getvalue())
    if png:
        return fields, data
    size = im.size[0]
    header_size, bits, colours_used = struct.unpack_from("<I", data)[0], data[14], struct.unpack_from("<I", data, 32)[0]
    table = 4 * (colours_used or (1 << bits if bits <= 8 else 0))
    colour_end = header_size + table + (size * bits + 31) // 32 * 4 * size
    if clear is None:
        alpha = im.getchannel("A").tobytes()
        clear = lambda x, y: alpha[y * size + x] == 0  # noqa: E731
    w, h, colours, _, _ = fields
    return (w, h, colours, 1, bits), data[:colour_end] + and_mask(size, clear)


def icon_file(images):
    """An icon file of (fields, data) images."""
    head = struct.pack("<HHH", 0, 1, len(images))
    body, offset = b"", 6 + 16 * len(images)
    for (w, h, colours, planes, bits), data in images:
        head += struct.pack("<BBBBHHII", w, h, colours, 0, planes, bits, len(data), offset + len(body))
        body += data
    return head + body


def judged_icon():
    """Four 32-bit sizes in colours of their own, 256 as PNG, and an 8-bit 24 pixel image whose mask
    clears its top-left corner."""
    colours = {16: (200, 10, 30), 32: (10, 200, 30), 48: (30, 10, 200), 256: (120, 60, 90)}
    images = [one_image(picture(size, colours[size]), png=size == 256) for size in (16, 32, 48, 256)]
    images.append(one_image(palette_picture(24), clear=lambda x, y: x < 6 and y < 6))
    return icon_file(images)


# The bits of each size's image in judged_icon and small_icon.
JUDGED_SIZES = {16: 32, 24: 8, 32: 32, 48: 32, 256: 32}
SMALL_SIZES = {16: 32, 32: 32}


def small_icon(base):
    """16 and 32 pixels, 32-bit, in colours of their own."""
    return icon_file([one_image(picture(size, base)) for size in (16, 32)])


def pillow_rgba(ico_bytes, size):
    """The icon's image of that size as Pillow reads it, as RGBA bytes."""
    with Image.open(io.BytesIO(ico_bytes)) as im:
        im.size = (size, size)
        return im.convert("RGBA").tobytes()


class WineJudgeTest(ScratchCase):
    """Each test gets its own folder; the Wine prefix and the built probe are shared by all."""

    @classmethod
    def setUpClass(cls):
        if not (WINE and MINGW):
            raise unittest.SkipTest("needs Wine (wine64 or wine) and x86_64-w64-mingw32-gcc: "
                                    "scripts/setup-deps --judges installs them")
        cls.shared = tempfile.TemporaryDirectory(prefix="tellurine-wine-")
        cls.bin = cls.shared.name
        cls.probe = os.path.join(cls.bin, "win_icon_probe.exe")
        cls.hello = os.path.join(cls.bin, "win_hello.exe")
        for source, out, flags in (("win_icon_probe.c", cls.probe, ["-municode", "-lgdi32", "-luser32", "-lshell32"]),
                                   ("win_hello.c", cls.hello, [])):
            subprocess.run([MINGW, "-O1", "-o", out, os.path.join(HERE, source), *flags], check=True,
                           capture_output=True, timeout=120)
        prefix = os.path.join(cls.bin, "prefix")
        os.mkdir(prefix)
        cls.env = dict(os.environ, WINEPREFIX=prefix, WINEARCH="win64", WINEDEBUG="-all",
                       WINEDLLOVERRIDES="mscoree,mshtml=")  # no Mono or Gecko installer prompts
        for name in ("DISPLAY", "WAYLAND_DISPLAY"):  # no window is needed, nor any server's
            cls.env.pop(name, None)
        # A server kept running for the whole class saves starting one for every program run; it
        # ends itself a minute after the last program should the test be killed.
        cls.server = wineserver()
        try:
            if cls.server:
                subprocess.run([cls.server, "-p60"], env=cls.env, check=True, timeout=60)
            boot = run_wine(["wineboot", "--init"], cls.env, cls.bin, timeout=280)
            if boot.returncode != 0:
                raise AssertionError(f"Wine could not make its prefix: {boot.stderr}")
        except BaseException:
            cls.tearDownClass()  # not called by unittest when this fails
            raise

    @classmethod
    def tearDownClass(cls):
        if cls.server:
            subprocess.run([cls.server, "-k"], env=cls.env, capture_output=True, timeout=60)
        cls.shared.cleanup()

    def wine(self, *args):
        """Runs a Windows program in the test's folder, which relative file names are taken from."""
        return run_wine(args, self.env, self.dir)

    def ask(self, *args):
        """The probe's answer, one line a list item; it must have succeeded."""
        r = self.wine(self.probe, *args)
        self.assertEqual(r.returncode, 0, f"win_icon_probe {' '.join(map(str, args))}: {r.stderr}")
        return r.stdout.splitlines()

    def tool(self, *args):
        r = run(*args)
        self.assertEqual(r.returncode, 0, r.stderr)

    def program(self, name):
        shutil.copy(self.hello, self.path(name))
        return name

    def windows_image(self, command, size, *args):
        """What the probe's pixels or extract wrote: RGBA bytes (from BGRA) and the mask, a byte a
        pixel; then what it printed."""
        answer = self.ask(command, *args, size, "out.raw")
        raw = self.read("out.raw")
        self.assertEqual(len(raw), 5 * size * size)
        rgba = bytearray(raw[:4 * size * size])
        rgba[0::4], rgba[2::4] = rgba[2::4], rgba[0::4]
        return (bytes(rgba), raw[4 * size * size:]), answer

    def assertSameImage(self, windows, ours, size, what, bits=32):
        """Windows' colours, alpha and mask against our RGBA. An image of fewer than 32 bits has no
        alpha but its mask: there alpha is 0 where the mask is set and 255 elsewhere."""
        rgba, mask = windows
        if bits < 32:
            rgba = bytearray(rgba)
            rgba[3::4] = bytes(0 if m else 255 for m in mask)
            rgba = bytes(rgba)
        if rgba != ours:
            wrong = [(i % size, i // size, tuple(ours[4 * i:4 * i + 4]), tuple(rgba[4 * i:4 * i + 4]))
                     for i in range(size * size) if rgba[4 * i:4 * i + 4] != ours[4 * i:4 * i + 4]]
            self.fail(f"{what}: {len(wrong)} pixels differ, the first (x, y, ours, Windows'): {wrong[:4]}")
        # The AND mask is set where the picture is clear and not where it is opaque (pixels between
        # are drawn by their alpha, whatever their bit says).
        masked = [(i % size, i // size) for i in range(size * size)
                  if (ours[4 * i + 3] == 0 and not mask[i]) or (ours[4 * i + 3] == 255 and mask[i])]
        self.assertEqual(masked[:4], [], f"{what}: {len(masked)} pixels whose mask bit disagrees with their alpha")

    def assertWindowsReadsGroup(self, module, group, ico_bytes, sizes):
        """For each size (of {size: bits}) Windows picks the group's image of that size and bits,
        and makes the icon's own pixels of it."""
        for size, bits in sizes.items():
            image, picked = self.windows_image("pixels", size, module, group)
            self.assertEqual([line.split()[2:] for line in picked], [[str(size), str(size), str(bits)]],
                             f"group {group}: Windows picks {picked} for {size}")
            self.assertSameImage(image, pillow_rgba(ico_bytes, size), size, f"group {group} at {size}", bits)

    def listed_groups(self, path):
        """The groups of `info --json` as the probe words them."""
        return [f"{'cursor' if g.get('cursor') else 'icon'} {g['name']}" for g in self.info(path)[0]["groups"]]

    # The judges ----------------------------------------------------------------------------------

    def test_a_program_given_an_icon_still_runs_and_windows_reads_every_image_we_wrote(self):
        icon = self.write("app.ico", judged_icon())
        exe = self.program("hello.exe")
        self.tool("seticon", self.path(exe), icon, "--no-backup")
        r = self.wine(exe)
        self.assertEqual((r.returncode, r.stdout.splitlines()), (3, ["hello from a program"]), r.stderr)
        self.assertEqual(self.ask("groups", exe), ["icon 1"])
        self.assertEqual(self.ask("count", exe), ["1"])
        self.assertWindowsReadsGroup(exe, "1", self.read("app.ico"), JUDGED_SIZES)

    # Pillow writes 32-bit bitmap images without their AND mask: the mask Windows gets must be
    # the opaque one the reader fills in, never the bytes of the image after it in the file.
    def test_an_icon_as_pillow_writes_it_keeps_its_opaque_pixels_unmasked(self):
        colours = {16: (200, 10, 30), 32: (10, 200, 30), 48: (30, 10, 200)}
        out = io.BytesIO()
        pictures = [picture(size, colours[size]) for size in colours]
        pictures[-1].save(out, "ico", sizes=[(s, s) for s in colours], bitmap_format="bmp",
                          append_images=pictures[:-1])
        icon = self.write("pillow.ico", out.getvalue())
        exe = self.program("hello.exe")
        self.tool("seticon", self.path(exe), icon, "--no-backup")
        for size in colours:
            (rgba, mask), _ = self.windows_image("pixels", size, exe, "1")
            ours = pillow_rgba(out.getvalue(), size)
            self.assertEqual(rgba, ours, size)
            opaque_but_masked = sum(1 for i in range(size * size) if ours[4 * i + 3] == 255 and mask[i])
            self.assertEqual(opaque_but_masked, 0, f"{size}: opaque pixels that Windows masks out")

    def test_groups_are_listed_in_the_order_info_reports_and_each_found_by_its_name(self):
        exe = self.program("hello.exe")
        icons = {"1": small_icon((200, 10, 30)), "Apple": small_icon((10, 200, 30)),
                 "App_Icon": small_icon((30, 10, 200)), "7": small_icon((90, 90, 10))}
        for group, data in icons.items():
            icon = self.write(f"{group}.ico", data)
            self.tool("seticon", self.path(exe), icon, "--group", group, "--no-backup")
        # Names are stored upper-cased and sorted by the upper-cased name, which puts APPLE before
        # APP_ICON ('_' comes after the capitals, before the small letters), then the numbers.
        listed = self.listed_groups(self.path(exe))
        self.assertEqual(listed, ["icon APPLE", "icon APP_ICON", "icon 1", "icon 7"])
        self.assertEqual(self.ask("groups", exe), listed)
        self.assertEqual(self.ask("count", exe), [str(len(listed))])
        # Windows finds a name by a search of the sorted directory, in any case it is asked in.
        for group, data in icons.items():
            self.assertWindowsReadsGroup(exe, group, data, SMALL_SIZES)
        r = self.wine(exe)
        self.assertEqual((r.returncode, r.stdout.splitlines()), (3, ["hello from a program"]), r.stderr)

    def test_a_program_with_data_appended_keeps_it_and_still_runs(self):
        exe = self.program("setup.exe")
        payload = bytes(range(256)) * 400  # 100 KB after the sections, as an installer carries
        with open(self.path(exe), "ab") as f:
            f.write(payload)
        icon = self.write("app.ico", small_icon((200, 10, 30)))
        self.tool("seticon", self.path(exe), icon, "--no-backup")
        self.assertTrue(self.read(exe).endswith(payload))
        # MinGW leaves its symbol table after the sections, where binutils must still find it.
        objdump = shutil.which("x86_64-w64-mingw32-objdump")
        if objdump:
            dump = subprocess.run([objdump, "-h", self.path(exe)], capture_output=True, text=True, timeout=60)
            self.assertEqual(dump.returncode, 0, dump.stderr)
            self.assertIn(".rsrc", dump.stdout)
        r = self.wine(exe)
        self.assertEqual((r.returncode, r.stdout.splitlines()), (3, ["hello from a program"]), r.stderr)
        self.assertWindowsReadsGroup(exe, "1", self.read("app.ico"), {16: 32})

    def sample_program(self):
        """A program of three icon groups, two numbered and one named, in colours of their own, and a
        cursor group; the icon groups' files and the bits of their image of each size, by name."""
        icons = {101: (small_icon((200, 10, 30)), SMALL_SIZES), "APPICON": (judged_icon(), JUDGED_SIZES),
                 7: (small_icon((30, 10, 200)), SMALL_SIZES)}
        resources, next_id = {1: [], 3: [], 12: [], 14: []}, 1
        for name, (data, _) in icons.items():
            entries = []
            for fields, image in icon_images(data):
                resources[3].append((next_id, 1033, image))
                entries.append((fields, len(image), next_id))
                next_id += 1
            resources[14].append((name, 1033, group_data(entries)))
        # A cursor: its hotspot, then the image; its group entry gives the height doubled.
        (_, _, _, _, bits), image = one_image(picture(32, (5, 50, 150)))
        resources[1].append((1, 1033, struct.pack("<HH", 3, 4) + image))
        resources[12].append((5, 1033, struct.pack("<HHHHHHHIH", 0, 2, 1, 32, 64, 1, bits, 4 + len(image), 1)))
        write_pe(self.path("app.exe"), resources)
        return self.path("app.exe"), {str(name): value for name, value in icons.items()}

    def test_an_icon_library_lists_every_group_and_gives_each_image_back(self):
        program, icons = self.sample_program()
        self.tool("convert", program, self.path("tools.icl"))
        listed = self.listed_groups(self.path("tools.icl"))
        self.assertEqual(sorted(listed), sorted([f"icon {name}" for name in icons] + ["cursor 5"]))
        # 64-bit Windows cannot load a 16-bit library, but its shell lists and extracts the icons
        # (not the cursors), in the library's order.
        groups = [line.split(" ", 1)[1] for line in listed if line.startswith("icon ")]
        self.assertEqual(self.ask("count", "tools.icl"), [str(len(groups))])
        for index, group in enumerate(groups):
            data, sizes = icons[group]
            for size, bits in sizes.items():
                image, _ = self.windows_image("extract", size, "tools.icl", index)
                self.assertSameImage(image, pillow_rgba(data, size), size, f"icon {index} ({group}) at {size}", bits)

    def test_a_resource_only_library_is_read_as_a_library_of_either_width(self):
        if "--bits" not in run("convert", "--help").stdout:
            self.skipTest("tellurine-cli convert has no --bits option (resource-only .dll output) yet")
        program, icons = self.sample_program()
        for bits, machine in ((32, 0x14C), (64, 0x8664)):
            with self.subTest(bits=bits):
                dll = f"icons{bits}.dll"
                self.tool("convert", program, self.path(dll), "--bits", bits)
                data = self.read(dll)
                self.assertEqual(struct.unpack_from("<H", data, struct.unpack_from("<I", data, 0x3C)[0] + 4)[0],
                                 machine)
                listed = self.listed_groups(self.path(dll))
                self.assertEqual(sorted(listed), sorted([f"icon {name}" for name in icons] + ["cursor 5"]))
                self.assertEqual(self.ask("groups", dll), listed)
                self.assertEqual(self.ask("count", dll), [str(len(icons))])
                for group, (icon, sizes) in icons.items():
                    self.assertWindowsReadsGroup(dll, group, icon, sizes)


if __name__ == "__main__":
    main()

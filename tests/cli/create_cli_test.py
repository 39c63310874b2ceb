"""End-to-end tests of tellurine-cli's create and its edit commands (filter, resize, rotate, flip),
judged by peers: Pillow and icoutils read the icons made, libicns the Macintosh families.

Run by CTest as: python3 create_cli_test.py PATH-TO-tellurine-cli
"""
import os
import shutil
import struct
import subprocess

from PIL import Image, ImageDraw

from cli_support import ScratchCase, main, run, save_mirrored_picture

DEFAULT_SIZES = [16, 24, 32, 48, 64, 256]


def artwork(path, size=(300, 300)):
    """An RGBA picture: a red disc with a soft rim on a clear ground."""
    img = Image.new("RGBA", size, (0, 0, 0, 0))
    w, h = size
    r = min(w, h) * 0.4
    ImageDraw.Draw(img).ellipse((w / 2 - r, h / 2 - r, w / 2 + r, h / 2 + r), fill=(230, 30, 30, 255))
    img.save(path)


def directory(path):
    """(width, height, bits, stored as PNG) of each image of an .ico, from its directory."""
    with open(path, "rb") as f:
        data = f.read()
    _, kind, count = struct.unpack_from("<HHH", data)
    out = []
    for i in range(count):
        w, h, _, _, _, bits, size, offset = struct.unpack_from("<BBBBHHII", data, 6 + 16 * i)
        out.append((w or 256, h or 256, bits, data[offset:offset + 8] == b"\x89PNG\r\n\x1a\n"))
    return out


class CreateTest(ScratchCase):
    def test_one_image_makes_every_size_at_every_depth(self):
        artwork(self.path("art.png"), (300, 200))
        # The default preset, "Windows application": 32 bits, 256 as PNG; "Windows classic" adds
        # 8 and 4 bits.
        for preset, depths in ((None, (32,)), ("Windows classic", (32, 8, 4))):
            out = self.path("art.ico" if preset is None else "classic.ico")
            r = run("create", self.path("art.png"), "-o", out, *(["--preset", preset] if preset else []))
            self.assertEqual(r.returncode, 0, r.stderr)
            entries = directory(out)
            self.assertEqual(sorted((w, b) for w, h, b, _ in entries),
                             sorted((s, b) for s in DEFAULT_SIZES for b in depths))
            for w, h, bits, png in entries:
                self.assertEqual(png, w == 256, (w, bits))
        # Pillow reads every size; the 300 x 200 picture is centred, not stretched: the top band
        # is clear and the centre red.
        with Image.open(self.path("art.ico")) as im:
            self.assertEqual(sorted(s[0] for s in im.info["sizes"]), DEFAULT_SIZES)
            im.size = (48, 48)
            im.load()
            px = im.convert("RGBA")
            self.assertEqual(px.getpixel((24, 3))[3], 0)
            r_, g, b, a = px.getpixel((24, 24))
            self.assertEqual(a, 255)
            self.assertGreater(r_, 200)
            self.assertLess(g, 60)
        # icoutils agrees on the formats.
        listing = subprocess.run(["icotool", "-l", self.path("classic.ico")], capture_output=True, text=True)
        self.assertEqual(listing.returncode, 0)
        self.assertEqual(listing.stdout.count("--icon"), 18)
        # "Windows + macOS" makes both; a preset that does not exist is a usage error.
        r = run("create", self.path("art.png"), "-o", self.path("both.ico"), "--preset", "windows-macos")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(len(directory(self.path("both.ico"))), 6)
        with Image.open(self.path("both.icns")) as im:
            self.assertIn((512, 512, 2), im.info["sizes"])
        r = run("create", self.path("art.png"), "-o", self.path("x.ico"), "--preset", "Linux")
        self.assertEqual((r.returncode, os.path.exists(self.path("x.ico"))), (2, False))
        # An icon is a picture too: its largest format, read by Tellurine's own reader.
        r = run("create", self.path("art.ico"), "-o", self.path("again.ico"), "--sizes", "16", "--depths", "32,8,4")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(len(directory(self.path("again.ico"))), 3)

    def test_a_batch_with_a_broken_image_makes_the_others_and_fails(self):
        for name in ("a", "b"):
            artwork(self.path(name + ".png"))
        self.write("broken.png", self.read("a.png")[:120])
        Image.new("RGB", (40, 30), (10, 200, 10)).save(self.path("c.bmp"))
        out = self.path("icons")
        r = run("create", self.path("a.png"), self.path("broken.png"), self.path("b.png"), self.path("c.bmp"),
                "-o", out, "--sizes", "16,32", "--depths", "32,1", "-j", "2")
        self.assertEqual(r.returncode, 1)
        self.assertIn("broken.png", r.stderr)
        self.assertEqual(sorted(os.listdir(out)), ["a.ico", "b.ico", "c.ico"])
        self.assertEqual(len([line for line in r.stdout.splitlines() if "->" in line]), 3)
        for name in ("a", "b", "c"):
            self.assertEqual(sorted((w, b) for w, _, b, _ in directory(os.path.join(out, name + ".ico"))),
                             [(16, 1), (16, 32), (32, 1), (32, 32)])

    def test_mac_makes_a_family_that_libicns_lists(self):
        artwork(self.path("art.png"), (512, 512))
        r = run("create", self.path("art.png"), "-o", self.path("art.icns"))
        self.assertEqual(r.returncode, 0, r.stderr)
        if shutil.which("icns2png"):
            listing = subprocess.run(["icns2png", "-l", self.path("art.icns")], capture_output=True, text=True)
            for element in ("is32", "il32", "ic12", "it32", "ic08", "ic09", "ic10"):
                self.assertIn(element, listing.stdout)
        with Image.open(self.path("art.icns")) as im:
            self.assertIn((512, 512, 2), im.info["sizes"])  # 1024 pixels
            self.assertIn((32, 32, 2), im.info["sizes"])  # 64 pixels
        # Sizes a family cannot hold are refused unless the loss is allowed.
        for allow, code in (([], 1), (["--allow-loss"], 0)):
            r = run("create", self.path("art.png"), "-o", self.path("odd.icns"), "--sizes", "32,96", *allow)
            self.assertEqual((r.returncode, os.path.exists(self.path("odd.icns"))), (code, code == 0), r.stderr)
            self.assertIn("(96x96, 32 bpp): a Macintosh icon family has no element for it", r.stderr)

    def test_a_drawing_is_rendered_at_each_size_as_rsvg_convert_renders_it(self):
        # A clip path and a blur, which SVG Tiny renderers leave out.
        self.write("logo.svg", b"""<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64">
          <defs><clipPath id="c"><circle cx="32" cy="32" r="24"/></clipPath>
          <filter id="b"><feGaussianBlur stdDeviation="3"/></filter></defs>
          <rect width="64" height="64" fill="#2060c0" clip-path="url(#c)"/>
          <circle cx="32" cy="32" r="10" fill="#ffcc00" filter="url(#b)"/></svg>""")
        r = run("create", self.path("logo.svg"), "-o", self.path("logo.ico"), "--sizes", "16,24,48", "--depths", "32")
        self.assertEqual(r.returncode, 0, r.stderr)
        if not shutil.which("rsvg-convert"):
            self.skipTest("needs rsvg-convert")
        with Image.open(self.path("logo.ico")) as im:
            for size in (16, 24, 48):
                im.size = (size, size)
                im.load()
                ours = im.convert("RGBA").tobytes()
                png = self.path(f"ref{size}.png")
                subprocess.run(["rsvg-convert", "-w", str(size), "-h", str(size), "-o", png, self.path("logo.svg")],
                               check=True)
                with Image.open(png) as ref:
                    theirs = ref.convert("RGBA").tobytes()
                self.assertLess(sum(abs(a - b) for a, b in zip(ours, theirs)) / len(ours), 1.0, size)
        # A drawing that cannot be read says why, and writes nothing.
        self.write("bad.svg", b"<svg this is not")
        r = run("create", self.path("bad.svg"), "-o", self.path("bad.ico"))
        self.assertEqual(r.returncode, 1)
        self.assertIn("cannot read", r.stderr)
        self.assertFalse(os.path.exists(self.path("bad.ico")))


    def test_high_quality_resampling_is_the_lanczos_filter_and_keeps_symmetry(self):
        import numpy as np

        def lanczos_matrix(n_from, n_to):
            # Lanczos-3 widened by the shrink factor, pixel centres aligned, taps past the edges left
            # out and the rest normalised: the published definition, in floating point.
            scale = n_from / n_to
            widen = max(scale, 1.0)
            x = (np.arange(n_from)[None, :] - ((np.arange(n_to)[:, None] + 0.5) * scale - 0.5)) / widen
            w = np.where(np.abs(x) < 3, np.sinc(x) * np.sinc(x / 3), 0.0)
            return w / w.sum(axis=1, keepdims=True)

        # An opaque picture with thin rings, the hardest case for ringing, and a mirror-symmetric one
        # with soft alpha.
        img = Image.new("RGB", (300, 300), (255, 255, 255))
        draw = ImageDraw.Draw(img)
        for i in range(0, 300, 20):
            draw.ellipse((i / 2, i / 3, 300 - i / 3, 300 - i / 2), outline=(i % 256, 255 - i % 256, 3 * i % 256),
                         width=4)
        img.save(self.path("rings.png"))
        save_mirrored_picture(self.path("mirrored.png"))
        sizes = [16, 32, 48, 256]
        for name in ("rings", "mirrored"):
            r = run("create", self.path(name + ".png"), "-o", self.path(name + ".ico"), "--sizes",
                    ",".join(map(str, sizes)), "--depths", "32", "--resample", "HQ")
            self.assertEqual(r.returncode, 0, r.stderr)
        source = np.asarray(Image.open(self.path("rings.png")).convert("RGB"), dtype=float)
        for size in sizes:
            with Image.open(self.path("rings.ico")) as im:
                im.size = (size, size)
                im.load()
                ours = np.asarray(im.convert("RGB"), dtype=float)
            m = lanczos_matrix(300, size)
            across = np.einsum("jkc,lk->jlc", source, m)
            expected = np.clip(np.rint(np.einsum("ij,jlc->ilc", m, across)), 0, 255)
            self.assertLessEqual(np.abs(ours - expected).max(), 1, size)
            # Pillow's Lanczos rounds between its passes, so it differs at the rings, not on average.
            pillow = np.asarray(Image.open(self.path("rings.png")).resize((size, size), Image.LANCZOS), dtype=float)
            self.assertLess(np.abs(ours - pillow).mean(), 1.0, size)
            with Image.open(self.path("mirrored.ico")) as im:
                im.size = (size, size)
                im.load()
                sym = im.convert("RGBA")
            self.assertEqual(list(sym.getdata()), list(sym.transpose(Image.Transpose.FLIP_LEFT_RIGHT).getdata()), size)
        r = run("create", self.path("rings.png"), "-o", self.path("x.ico"), "--resample", "best")
        self.assertEqual(r.returncode, 2)
        self.assertFalse(os.path.exists(self.path("x.ico")))


class EditTest(ScratchCase):
    def make(self):
        artwork(self.path("art.png"), (64, 64))
        r = run("create", self.path("art.png"), "-o", self.path("art.ico"), "--sizes", "32,48",
                "--depths", "32,8")
        self.assertEqual(r.returncode, 0, r.stderr)
        return self.path("art.ico")

    def pixels(self, path, size):
        with Image.open(path) as im:
            im.size = (size, size)
            im.load()
            return im.convert("RGBA")

    def test_rotate_and_flip_turn_every_format(self):
        icon = self.make()
        before = self.pixels(icon, 48)
        turned, flipped = self.path("r.ico"), self.path("f.ico")
        # Right 90 is clockwise; turned back by left 90 (in place) it is the same picture again.
        for args, out, expected in ((["rotate", icon, "--angle", "90", "--right", "-o", turned], turned,
                                     before.transpose(Image.Transpose.ROTATE_270)),
                                    (["rotate", turned, "--angle", "90"], turned, before),
                                    (["flip", icon, "-o", flipped], flipped,
                                     before.transpose(Image.Transpose.FLIP_LEFT_RIGHT))):
            self.assertEqual(run(*args).returncode, 0, args)
            self.assertEqual(list(self.pixels(out, 48).getdata()), list(expected.getdata()), args)
        self.assertEqual(run("rotate", icon, "--angle", "30", "-o", self.path("free.ico")).returncode, 0)
        self.assertEqual(sorted(directory(self.path("free.ico"))), sorted(directory(icon)))

    def test_filter_and_resize_one_format_or_all(self):
        icon = self.make()
        # A picture goes through the same filters as an icon.
        for args in (["filter", icon, "--filter", "Find Edges", "--format", "0", "-o", self.path("e.ico")],
                     ["filter", icon, "--filter", "gaussian-blur", "--radius", "3", "-o", self.path("g.ico")],
                     ["resize", icon, "--size", "20x20", "-o", self.path("s.ico")],
                     ["filter", self.path("art.png"), "--filter", "7", "-o", self.path("d.png")]):
            r = run(*args)
            self.assertEqual(r.returncode, 0, (args, r.stderr))
        self.assertEqual(sorted(directory(self.path("s.ico"))), [(20, 20, 8, False)] * 2 + [(20, 20, 32, False)] * 2)
        with Image.open(self.path("d.png")) as im:
            self.assertEqual(im.size, (64, 64))

    def test_bad_requests_fail_and_write_or_change_nothing(self):
        icon = self.make()
        original = self.read(icon)
        art = self.path("art.png")
        for args in (["create", art, "-o", self.path("x.ico"), "--sizes", "0"],
                     ["create", art, "-o", self.path("x.ico"), "--sizes", "16,2000"],
                     ["create", art, "-o", self.path("x.ico"), "--depths", "16"],
                     ["create", art, "-o", self.path("x.png")],
                     ["resize", icon, "--size", "0x16"], ["resize", icon, "--size", "5000x16"],
                     ["resize", icon, "--size", "big"], ["rotate", icon, "--angle", "400"],
                     ["filter", icon, "--filter", "13"], ["filter", icon, "--filter", "sparkle"],
                     ["filter", icon, "--filter", "gaussian-blur", "--radius", "1"],
                     ["flip", icon, "--format", "9"]):
            r = run(*args)
            self.assertEqual(r.returncode, 1, args)
            self.assertTrue(r.stderr.startswith(f"tellurine-cli: {args[0]}:"), r.stderr)
        self.assertEqual(self.read(icon), original)
        self.assertEqual(sorted(os.listdir(self.dir)), ["art.ico", "art.png"])


if __name__ == "__main__":
    main()

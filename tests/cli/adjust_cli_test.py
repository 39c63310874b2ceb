"""End-to-end tests of tellurine-cli adjust: every format of an icon at once, judged by the formulas
written out here and, for hue, saturation and lightness, by Python's colorsys. Indexed formats are
read from the file's bytes to check their pixels keep their indices.

Run by CTest as: python3 adjust_cli_test.py PATH-TO-tellurine-cli
"""
import colorsys
import math
import struct

from PIL import Image

from cli_support import ScratchCase, main, run


def images(path):
    """Each image of an .ico: (width, bits, palette as RGB tuples, indices or None, RGBA pixels top-down,
    AND-mask bits), rows top-down."""
    with open(path, "rb") as f:
        data = f.read()
    out = []
    for i in range(struct.unpack_from("<H", data, 4)[0]):
        size, offset = struct.unpack_from("<II", data, 6 + 16 * i + 8)
        header, width, height2, _, bits = struct.unpack_from("<IiiHH", data, offset)
        height = height2 // 2
        colours = 1 << bits if bits <= 8 else 0
        table = offset + header
        palette = [tuple(data[table + 4 * c + 2 - k] for k in range(3)) for c in range(colours)]
        stride = (width * bits + 31) // 32 * 4
        first = table + 4 * colours
        rows = [data[first + stride * (height - 1 - y):first + stride * (height - y)] for y in range(height)]
        masks, mask_stride = first + stride * height, (width + 31) // 32 * 4
        mask = [(data[masks + mask_stride * (height - 1 - y) + x // 8] >> (7 - x % 8)) & 1
                for y in range(height) for x in range(width)]
        pixels = []
        for row in rows:
            for x in range(width):
                if bits == 32:
                    b, g, r, a = row[4 * x:4 * x + 4]
                    pixels.append((r, g, b, a))
                elif bits == 8:
                    pixels.append(palette[row[x]] + (255,))
        indices = [row[x] for row in rows for x in range(width)] if bits == 8 else None
        out.append((width, bits, palette, indices, pixels, mask))
    return sorted(out, key=lambda image: (image[0], image[1]))


def near(test, got, want, tolerance, what):
    worst = max(abs(a - b) for a, b in zip(got, want))
    test.assertLessEqual(worst, tolerance, f"{what}: {got} against {want}")


class AdjustTest(ScratchCase):
    def setUp(self):
        super().setUp()
        img = Image.new("RGBA", (32, 32))
        img.putdata([((x * 8) % 256, (y * 8) % 256, (x * y * 3) % 256, 0 if x >= 28 else 255 - y)
                     for y in range(32) for x in range(32)])
        img.save(self.path("p.png"))
        r = run("create", self.path("p.png"), "-o", self.path("a.ico"), "--sizes", "16,32", "--depths", "8,32")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.before = images(self.path("a.ico"))

    def adjust(self, *options, name="b.ico"):
        r = run("adjust", self.path("a.ico"), *options, "-o", self.path(name))
        self.assertEqual(r.returncode, 0, r.stderr)
        return images(self.path(name))

    def test_neutral_values_change_nothing(self):
        for options in (["--brightness", "0", "--contrast", "0"], ["--hue", "360"], ["--hue", "-360"],
                        ["--gamma", "1"], ["--levels", "0,255,1"], ["--saturation", "0", "--lightness", "0"]):
            with self.subTest(options=options):
                self.assertEqual(self.adjust(*options), self.before)

    def test_every_format_follows_the_formulas(self):
        def levels(v):
            return round(((min(max((v - 10) / (240 - 10), 0), 1)) ** (1 / 1.5)) * (250 - 20) + 20)

        def tone(v):
            v /= 255
            v = v + (1 - v) * 0.2
            return round(min(max((v - 0.5) * math.tan((-0.3 + 1) * math.pi / 4) + 0.5, 0), 1) * 255)

        def hsl(rgb):
            h, l, s = colorsys.rgb_to_hls(*(c / 255 for c in rgb))
            h = (h + 40 / 360) % 1
            s = min(1, s * 1.2)
            l = l * 0.9
            return tuple(round(c * 255) for c in colorsys.hls_to_rgb(h, l, s))

        def colorize(rgb):
            _, l, _ = colorsys.rgb_to_hls(*(c / 255 for c in rgb))
            return tuple(round(c * 255) for c in colorsys.hls_to_rgb(200 / 360, l, 0.6))

        cases = [(["--colorize", "200,60"], colorize),
                 (["--levels", "10,240,1.5,20,250"], lambda rgb: tuple(levels(c) for c in rgb)),
                 (["--gamma", "2.2"], lambda rgb: tuple(round((c / 255) ** (1 / 2.2) * 255) for c in rgb)),
                 (["--brightness", "20", "--contrast", "-30"], lambda rgb: tuple(tone(c) for c in rgb)),
                 (["--hue", "40", "--saturation", "20", "--lightness", "-10"], hsl),
                 (["--invert"], lambda rgb: tuple(255 - c for c in rgb))]
        for options, formula in cases:
            with self.subTest(options=options):
                after = self.adjust(*options)
                for (width, bits, palette, indices, pixels, mask), new in zip(self.before, after):
                    self.assertEqual(new[5], mask)
                    if bits == 8:
                        # Through the palette: each entry adjusted, and every pixel keeps its index
                        # but those under the mask, which keep their colour (black stays transparent)
                        # where the new palette has it.
                        for old, changed in zip(palette, new[2]):
                            near(self, changed, formula(old), 1, f"{options} palette")
                        for i, (old, changed) in enumerate(zip(indices, new[3])):
                            if not mask[i]:
                                self.assertEqual(changed, old)
                            elif palette[old] in new[2]:
                                self.assertEqual(new[2][changed], palette[old])
                    else:
                        for old, changed in zip(pixels, new[4]):
                            self.assertEqual(changed[3], old[3])
                            if old[3]:
                                near(self, changed[:3], formula(old[:3]), 1, f"{options} {width}")

    def test_shadow_and_refusals(self):
        # A sharp shadow two pixels right and down at 60 %: where the picture was clear and its
        # pixel two up and left opaque, the shadow's colour at 153. Formats without alpha keep theirs.
        r = run("adjust", self.path("a.ico"), "--shadow", "2,2,0,#102030,60", "-o", self.path("s.ico"))
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertIn("no alpha", r.stderr)
        after = images(self.path("s.ico"))
        width, _, _, _, old, _ = self.before[3]
        new = after[3][4]
        self.assertEqual(new[5 * width + 29], (16, 32, 48, round(0.6 * old[3 * width + 27][3])))
        self.assertEqual(after[0], self.before[0])
        # A picture's canvas grows by the shadow's reach: 2 + 3 right and down, 3 - 2 left and up.
        r = run("adjust", self.path("p.png"), "--shadow", "2,2,3,black,60", "--grow", "-o", self.path("s.png"))
        self.assertEqual(r.returncode, 0, r.stderr)
        with Image.open(self.path("s.png")) as shadowed:
            self.assertEqual(shadowed.size, (38, 38))
        for options in (["--levels", "200,100,1"], ["--gamma", "0"], ["--hue", "400"], ["--shadow", "1,2,x"],
                        ["--colorize", "30"], ["--grow"]):
            with self.subTest(options=options):
                r = run("adjust", self.path("a.ico"), *options, "-o", self.path("bad.ico"))
                self.assertEqual(r.returncode, 2, r.stderr)
                self.assertIn("adjust:", r.stderr)


if __name__ == "__main__":
    main()

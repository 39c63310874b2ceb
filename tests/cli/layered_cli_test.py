"""End-to-end tests of tellurine-cli create from layered documents. Photoshop: ImageMagick writes the
document, each size-named layer must come out as its format pixel for pixel, and Pillow, a second
reader, agrees on the layer names and on the merged picture. OpenRaster: Python's zipfile writes the
archive as the format's documentation lays it out, with Pillow's PNGs as layers. GIMP: GIMP 2.10 itself
writes the document in batch mode, and the Photoshop document it exports of it; its own flattened picture
judges the composites.

Run by CTest as: python3 layered_cli_test.py PATH-TO-tellurine-cli
"""
import shutil
import struct
import subprocess
import unittest
import zipfile

from PIL import Image

from cli_support import ScratchCase, main, run

CONVERT = shutil.which("convert", path="/usr/local/bin:/usr/bin")
GIMP = shutil.which("gimp-console-2.10") or shutil.which("gimp-console")

# Script-Fu for GIMP's batch mode: a 64 x 64 document of the pictures in DIR, top first: a "16" at
# (8, 8) at half opacity, a hidden group holding a "32x32 8bit", a layer reaching past the canvas,
# and an opaque background; saved as DIR/doc.xcf and DIR/doc.psd (RLE) and flattened into DIR/flat.png.
GIMP_SCRIPT = """
(define (load-layer image path name)
  (let ((layer (car (gimp-file-load-layer RUN-NONINTERACTIVE image path))))
    (gimp-item-set-name layer name)
    layer))
(let* ((image (car (gimp-image-new 64 64 RGB)))
       (bg (load-layer image "DIR/bg.png" "Background"))
       (l16 (load-layer image "DIR/l16.png" "16"))
       (group (car (gimp-layer-group-new image)))
       (l32 (load-layer image "DIR/l32.png" "32x32 8bit"))
       (wide (load-layer image "DIR/wide.png" "wide")))
  (gimp-image-insert-layer image bg 0 0)
  (gimp-image-insert-layer image wide 0 0)
  (gimp-layer-set-offsets wide 40 -10)
  (gimp-image-insert-layer image group 0 0)
  (gimp-image-insert-layer image l32 group 0)
  (gimp-item-set-visible group FALSE)
  (gimp-image-insert-layer image l16 0 0)
  (gimp-layer-set-offsets l16 8 8)
  (gimp-layer-set-opacity l16 50)
  (gimp-xcf-save 0 image 0 "DIR/doc.xcf" "DIR/doc.xcf")
  (file-psd-save RUN-NONINTERACTIVE image (car (gimp-image-get-active-drawable image)) "DIR/doc.psd" "DIR/doc.psd" 1 0)
  (gimp-image-flatten image)
  (file-png-save2 RUN-NONINTERACTIVE image (car (gimp-image-get-active-drawable image))
                  "DIR/flat.png" "DIR/flat.png" 0 9 0 0 0 0 0 0 0))
(gimp-quit 0)
"""


def picture(path, size, seed):
    """An RGBA picture of varied colours and alphas, fully clear pixels among them."""
    w, h = size
    img = Image.new("RGBA", size)
    img.putdata([((x * 37 + seed) % 256, (y * 53 + seed) % 256, (x * y + seed) % 256,
                  0 if (x + y) % 7 == 0 else (x * 17 + y * 3 + seed) % 255 + 1) for y in range(h) for x in range(w)])
    img.save(path)


def pixels(img):
    """RGBA pixels, the colour of a clear pixel left out."""
    return [p if p[3] else (0, 0, 0, 0) for p in img.convert("RGBA").getdata()]


def directory(path):
    """(size, bits) of each image of an .ico."""
    with open(path, "rb") as f:
        data = f.read()
    count = struct.unpack_from("<H", data, 4)[0]
    return sorted((data[6 + 16 * i] or 256, struct.unpack_from("<H", data, 6 + 16 * i + 6)[0]) for i in range(count))


@unittest.skipIf(CONVERT is None, "ImageMagick's convert is not installed")
class PhotoshopTest(ScratchCase):
    def assertSamePixels(self, got, expected):
        """Pixel lists compared, the first difference reported (a full list diff takes minutes)."""
        self.assertEqual(len(got), len(expected))
        for i, (a, b) in enumerate(zip(got, expected)):
            self.assertEqual(a, b, f"pixel {i}")

    def make_document(self, compression):
        picture(self.path("merged.png"), (64, 64), 3)
        picture(self.path("l16.png"), (16, 16), 1)
        picture(self.path("l32.png"), (32, 32), 2)
        picture(self.path("bg.png"), (64, 64), 4)
        psd = self.path(compression + ".psd")
        # The first picture is the merged one, each labelled picture after it a layer.
        subprocess.run([CONVERT, self.path("merged.png"), "-label", "16", self.path("l16.png"), "-label", "32x32 8bit",
                        self.path("l32.png"), "-label", "Background", self.path("bg.png"), "-depth", "8",
                        "-compress", compression, psd], check=True)
        return psd

    def test_size_layers_are_formats_as_drawn(self):
        for compression in ("RLE", "None", "Zip"):
            with self.subTest(compression=compression):
                psd = self.make_document(compression)
                out = self.path(compression + ".ico")
                r = run("create", psd, "-o", out, "--sizes", "16,32,64")
                self.assertEqual(r.returncode, 0, r.stderr)
                # 16 and 32 from the layers (the 32 at the depth its name says), 64 from the merged picture.
                self.assertEqual(directory(out), [(16, 32), (32, 8), (64, 32)])
                with Image.open(out) as ico:
                    drawn = pixels(Image.open(self.path("l16.png")))
                    self.assertSamePixels(pixels(ico.ico.getimage((16, 16))), drawn)
                    # The merged picture as it was written is the 64.
                    merged = pixels(Image.open(self.path("merged.png")))
                    self.assertSamePixels(pixels(ico.ico.getimage((64, 64))), merged)
        # A layer named as a 32-bit format is that layer exactly.
        subprocess.run([CONVERT, self.path("merged.png"), "-label", "32", self.path("l32.png"), "-depth", "8",
                        "-compress", "RLE", self.path("one.psd")], check=True)
        r = run("create", self.path("one.psd"), "-o", self.path("one.ico"), "--sizes", "32")
        self.assertEqual(r.returncode, 0, r.stderr)
        with Image.open(self.path("one.ico")) as ico:
            self.assertSamePixels(pixels(ico.ico.getimage((32, 32))), pixels(Image.open(self.path("l32.png"))))

    def test_pillow_agrees_on_the_names_and_the_merged_picture(self):
        # Pillow reads raw and PackBits documents. Its layer pixels are not compared: the installed
        # version's do not match the pictures the layers were written from.
        psd = self.make_document("RLE")
        with Image.open(psd) as im:
            self.assertEqual([layer[0] for layer in im.layers], ["16", "32x32 8bit", "Background"])
            merged = pixels(im)
        r = run("create", psd, "-o", self.path("m.ico"), "--sizes", "64")
        self.assertEqual(r.returncode, 0, r.stderr)
        with Image.open(self.path("m.ico")) as ico:
            self.assertSamePixels(pixels(ico.ico.getimage((64, 64))), merged)
        # A large document is read by the same reader: the 16 layer comes out as drawn.
        psb = self.path("big.psb")
        subprocess.run([CONVERT, self.path("merged.png"), "-label", "16", self.path("l16.png"), "-depth", "8",
                        "psb:" + psb], check=True)
        r = run("create", psb, "-o", self.path("big.ico"), "--sizes", "16")
        self.assertEqual(r.returncode, 0, r.stderr)
        with Image.open(self.path("big.ico")) as ico:
            self.assertSamePixels(pixels(ico.ico.getimage((16, 16))), pixels(Image.open(self.path("l16.png"))))
        # A damaged document is refused with a reason.
        with open(psd, "rb") as f:
            data = f.read()
        self.write("cut.psd", data[:len(data) // 2])
        r = run("create", self.path("cut.psd"), "-o", self.path("cut.ico"))
        self.assertNotEqual(r.returncode, 0)
        self.assertIn("Photoshop", r.stderr)


class OpenRasterTest(ScratchCase):
    def write_ora(self, name, merged=True):
        """A 64 x 64 document: a "16" layer at (8, 8), a hidden "32x32 8bit" in a group, a background."""
        picture(self.path("l16.png"), (16, 16), 1)
        picture(self.path("l32.png"), (32, 32), 2)
        picture(self.path("merged.png"), (64, 64), 3)
        Image.new("RGBA", (64, 64), (20, 40, 60, 255)).save(self.path("bg.png"))
        stack = ('<?xml version="1.0" encoding="UTF-8"?>\n<image version="0.0.5" w="64" h="64"><stack>'
                 '<layer name="16" src="data/l16.png" x="8" y="8"/>'
                 '<stack name="small" visibility="hidden"><layer name="32x32 8bit" src="data/l32.png"/></stack>'
                 '<layer name="Background" src="data/bg.png"/></stack></image>')
        path = self.path(name)
        with zipfile.ZipFile(path, "w") as z:
            z.writestr(zipfile.ZipInfo("mimetype"), "image/openraster", compress_type=zipfile.ZIP_STORED)
            z.writestr("stack.xml", stack, compress_type=zipfile.ZIP_DEFLATED)
            for layer in ("l16", "l32", "bg"):
                z.write(self.path(layer + ".png"), f"data/{layer}.png", compress_type=zipfile.ZIP_DEFLATED)
            if merged:
                z.write(self.path("merged.png"), "mergedimage.png")
        return path

    def test_size_layers_are_formats_as_drawn(self):
        out = self.path("a.ico")
        r = run("create", self.write_ora("a.ora"), "-o", out, "--sizes", "16,32,64")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(directory(out), [(16, 32), (32, 8), (64, 32)])
        with Image.open(out) as ico:
            self.assertEqual(pixels(ico.ico.getimage((16, 16))), pixels(Image.open(self.path("l16.png"))))
            self.assertEqual(pixels(ico.ico.getimage((64, 64))), pixels(Image.open(self.path("merged.png"))))
        # Without a merged picture, the visible layers laid over each other: the opaque background
        # under the "16" at (8, 8); the hidden 32 left out.
        r = run("create", self.write_ora("b.ora", merged=False), "-o", self.path("b.ico"), "--sizes", "64")
        self.assertEqual(r.returncode, 0, r.stderr)
        with Image.open(self.path("b.ico")) as ico:
            made = ico.ico.getimage((64, 64)).convert("RGBA")
        self.assertEqual(made.getpixel((0, 0)), (20, 40, 60, 255))
        layer = Image.open(self.path("l16.png")).convert("RGBA")
        expected = Image.new("RGBA", (64, 64), (20, 40, 60, 255))
        expected.alpha_composite(layer, (8, 8))
        for x, y in ((8, 8), (12, 9), (23, 23), (15, 20)):
            self.assertTrue(all(abs(a - b) <= 1 for a, b in zip(made.getpixel((x, y)), expected.getpixel((x, y)))),
                            (x, y, made.getpixel((x, y)), expected.getpixel((x, y))))
        # A damaged archive is refused with a reason that names the kind.
        with open(self.path("a.ora"), "rb") as f:
            data = f.read()
        self.write("cut.ora", data[:len(data) - 30])
        r = run("create", self.path("cut.ora"), "-o", self.path("cut.ico"))
        self.assertNotEqual(r.returncode, 0)
        self.assertIn("OpenRaster", r.stderr)


@unittest.skipIf(GIMP is None, "GIMP is not installed (scripts/setup-deps --judges)")
class GimpTest(ScratchCase):
    def test_gimps_own_document(self):
        picture(self.path("l16.png"), (16, 16), 1)
        picture(self.path("l32.png"), (32, 32), 2)
        picture(self.path("wide.png"), (100, 30), 5)
        Image.new("RGBA", (64, 64), (20, 40, 60, 255)).save(self.path("bg.png"))
        subprocess.run([GIMP, "-i", "-d", "-f", "-b", "-"], input=GIMP_SCRIPT.replace("DIR", self.dir),
                       text=True, capture_output=True, timeout=240, check=True)
        # GIMP's own document, and the Photoshop document GIMP writes of it.
        for document in ("doc.xcf", "doc.psd"):
            with self.subTest(document=document):
                out = self.path(document + ".ico")
                r = run("create", self.path(document), "-o", out, "--sizes", "16,32,64")
                self.assertEqual(r.returncode, 0, r.stderr)
                self.assertEqual(directory(out), [(16, 32), (32, 8), (64, 32)])
                with Image.open(out) as ico:
                    made16 = ico.ico.getimage((16, 16)).convert("RGBA")
                    made64 = ico.ico.getimage((64, 64)).convert("RGBA")
                # The 16 as drawn at half opacity; GIMP keeps the opacity as a float, so within a level.
                drawn = Image.open(self.path("l16.png")).convert("RGBA")
                for got, want in zip(made16.getdata(), drawn.getdata()):
                    self.assertLessEqual(abs(got[3] - want[3] / 2), 1)
                    if got[3] and want[3]:
                        self.assertEqual(got[:3], want[:3])
                # The composite (ours from the layers, in linear light; the merged picture GIMP
                # stores in the Photoshop document) as GIMP flattens it, within two levels.
                flat = Image.open(self.path("flat.png")).convert("RGBA")
                worst = max(abs(a - b) for p, q in zip(made64.getdata(), flat.getdata()) for a, b in zip(p, q))
                self.assertLessEqual(worst, 2)

if __name__ == "__main__":
    main()

"""End-to-end tests of tellurine-cli iconset, judged by peers: Pillow opens every picture, icon and
icon family and says its size, icoutils and libicns list the .ico and .icns files, xmllint reads the
Android resources, librsvg renders the drawing the sets are made from.

Run by CTest as: python3 iconset_cli_test.py PATH-TO-tellurine-cli
"""
import io
import json
import os
import re
import shutil
import struct
import subprocess
import xml.etree.ElementTree as ET

from PIL import Image, ImageChops, ImageDraw

from cli_support import ScratchCase, main, run, save_mirrored_picture

DRAWING = b"""<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64" viewBox="0 0 64 64">
  <rect x="4" y="4" width="56" height="56" rx="12" fill="#2a7ae2"/>
  <circle cx="32" cy="32" r="15" fill="#ffd400" stroke="#202020" stroke-width="3"/>
  <path d="M20 44 L32 18 L44 44 Z" fill="#e23a2a" fill-opacity="0.7"/>
</svg>
"""

DENSITIES = {"mdpi": 1, "hdpi": 1.5, "xhdpi": 2, "xxhdpi": 3, "xxxhdpi": 4}
MSIX_BASES = {"Square44x44Logo": (44, 44), "Square150x150Logo": (150, 150), "Wide310x150Logo": (310, 150),
              "StoreLogo": (50, 50)}


def size_by_name(path):
    """The size a PNG file's name (or folder) says it has, worked out here from the platforms' rules;
    None for iOS files, whose sizes Contents.json says."""
    name = os.path.basename(path)
    rules = [
        (r"hicolor/(\d+)x\1/apps/", lambda m: (int(m[1]),) * 2),
        (r"icon_(\d+)x\1(@2x)?\.png$", lambda m: (int(m[1]) * (2 if m[2] else 1),) * 2),
        (r"targetsize-(\d+)", lambda m: (int(m[1]),) * 2),
        (r"(\w+)\.scale-(\d+)\.png$",
         lambda m: tuple(int(b * int(m[2]) / 100 + 0.5) for b in MSIX_BASES[m[1]])),
        (r"mipmap-(\w+)/ic_launcher(_round)?\.png$", lambda m: (int(48 * DENSITIES[m[1]]),) * 2),
        (r"mipmap-(\w+)/ic_launcher_foreground\.png$", lambda m: (int(108 * DENSITIES[m[1]]),) * 2),
        (r"playstore\.png$", lambda m: (512, 512)),
        (r"apple-touch-icon\.png$", lambda m: (180, 180)),
        (r"icon(-maskable)?-(\d+)\.png$", lambda m: (int(m[2]),) * 2),
    ]
    for pattern, size in rules:
        m = re.search(pattern, path)
        if m:
            return size(m)
    assert "/ios/" in path, name
    return None


def pattern16():
    """A hand-made 16 x 16 picture no scaling gives: alternate pixels red and blue, a clear corner."""
    img = Image.new("RGBA", (16, 16))
    img.putdata([(255, 0, 0, 255) if (x + y) % 2 else (0, 0, 255, 255) for y in range(16) for x in range(16)])
    img.putpixel((0, 0), (0, 0, 0, 0))
    return img


def ico_of(images):
    """An .ico whose images are the pictures given, each stored as PNG."""
    head = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    directory, data = b"", b""
    for img in images:
        buf = io.BytesIO()
        img.save(buf, "PNG")
        png = buf.getvalue()
        w, h = img.size
        directory += struct.pack("<BBBBHHII", w % 256, h % 256, 0, 0, 1, 32, len(png), offset + len(data))
        data += png
    return head + directory + data


def premultiplied(img):
    """The picture's RGBA channels with the colours weighted by alpha, as a list of values."""
    out = []
    for r, g, b, a in img.convert("RGBA").getdata():
        out += [r * a / 255, g * a / 255, b * a / 255, a]
    return out


class IconsetTest(ScratchCase):
    def setUp(self):
        super().setUp()
        art = Image.new("RGBA", (300, 200), (0, 0, 0, 0))
        ImageDraw.Draw(art).ellipse((60, 10, 240, 190), fill=(230, 30, 30, 255))
        art.save(self.path("picture.png"))
        self.write("drawing.svg", DRAWING)
        smooth = Image.radial_gradient("L").convert("RGBA").resize((256, 256))
        self.write("project.ico", ico_of([pattern16(), smooth.resize((32, 32)), smooth.resize((48, 48)), smooth]))

    def make(self, source, out, *options):
        result = run("iconset", self.path(source), "-o", self.path(out), "--json", *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)["files"]

    def check_set(self, files, out):
        """Every file of a whole set: there, opened by its peer, of the size its name and listing say."""
        by_path = {f["path"]: f for f in files}
        self.assertEqual({f["platform"] for f in files}, {"windows", "macos", "linux", "msix", "android", "ios", "web"})
        on_disk = {os.path.join(d, n) for d, _, names in os.walk(self.path(out)) for n in names}
        self.assertEqual(on_disk, set(by_path))
        for path, f in by_path.items():
            if path.endswith(".png"):
                with Image.open(path) as im:
                    self.assertEqual(im.format, "PNG")
                    self.assertEqual(im.size, (f["width"], f["height"]), path)
                    wanted = size_by_name(path)
                    if wanted:
                        self.assertEqual(im.size, wanted, path)
                    # Nothing flattened keeps an alpha channel.
                    flat = "/ios/" in path or "maskable" in path or "apple-touch" in path or "playstore" in path
                    self.assertEqual(im.mode, "RGB" if flat else "RGBA", path)
            elif path.endswith(".ico"):
                wanted = [16, 20, 24, 32, 40, 48, 64, 256] if "/windows/" in path else [16, 32, 48]
                with Image.open(path) as im:
                    self.assertEqual(sorted(s[0] for s in im.info["sizes"]), wanted)
                if shutil.which("icotool"):
                    listing = subprocess.run(["icotool", "-l", path], capture_output=True, text=True)
                    self.assertEqual(listing.returncode, 0, listing.stderr)
                    self.assertEqual(sorted(int(w) for w in re.findall(r"--width=(\d+)", listing.stdout)), wanted)
            elif path.endswith(".icns"):
                with Image.open(path) as im:
                    self.assertIn((512, 512, 2), im.info["sizes"])
                    self.assertIn((16, 16, 1), im.info["sizes"])
                if shutil.which("icns2png"):
                    listing = subprocess.run(["icns2png", "-l", path], capture_output=True, text=True)
                    self.assertEqual(listing.returncode, 0, listing.stderr)
                    for element in ("is32", "il32", "it32", "ic08", "ic09", "ic10"):
                        self.assertIn(f"'{element}'", listing.stdout)
            elif path.endswith(".xml"):
                if shutil.which("xmllint"):
                    lint = subprocess.run(["xmllint", "--noout", path], capture_output=True, text=True)
                    self.assertEqual(lint.returncode, 0, lint.stderr)
                root = ET.parse(path).getroot()
                if root.tag == "adaptive-icon":
                    self.assertEqual([c.tag for c in root], ["background", "foreground"])
            elif path.endswith((".json", ".webmanifest")):
                with open(path) as j:
                    json.load(j)
        # Contents.json: every image there, of points x scale.
        contents_path = os.path.join(self.path(out), "ios", "AppIcon.appiconset", "Contents.json")
        with open(contents_path) as j:
            contents = json.load(j)
        self.assertEqual(contents["info"]["version"], 1)
        self.assertEqual(len(contents["images"]), 18)
        for image in contents["images"]:
            png = os.path.join(os.path.dirname(contents_path), image["filename"])
            side = round(float(image["size"].split("x")[0]) * int(image["scale"][0]))
            with Image.open(png) as im:
                self.assertEqual(im.size, (side, side), image)
        # The manifest: every icon there, of the size it says; the maskable ones marked.
        with open(os.path.join(self.path(out), "web", "site.webmanifest")) as j:
            manifest = json.load(j)
        for icon in manifest["icons"]:
            with Image.open(os.path.join(self.path(out), "web", icon["src"])) as im:
                self.assertEqual("%dx%d" % im.size, icon["sizes"])
            self.assertEqual(icon.get("purpose"), "maskable" if "maskable" in icon["src"] else None)
        return by_path

    def test_picture_makes_every_platforms_set(self):
        files = self.check_set(self.make("picture.png", "out", "--name", "Red Dot", "--background", "#336699"), "out")
        self.assertIn(self.path("out/linux/hicolor/512x512/apps/Red_Dot.png"), files)
        self.assertNotIn(self.path("out/linux/hicolor/scalable/apps/Red_Dot.svg"), files)
        with open(self.path("out/web/site.webmanifest")) as j:
            self.assertEqual(json.load(j)["name"], "Red Dot")
        colour = ET.parse(self.path("out/android/res/values/ic_launcher_background.xml")).getroot()[0]
        self.assertEqual(colour.text, "#336699")
        # The wide picture is centred, not stretched; iOS's corners take the background colour.
        with Image.open(self.path("out/linux/hicolor/256x256/apps/Red_Dot.png")) as im:
            self.assertEqual(im.getpixel((128, 20))[3], 0)
            for ours, theirs in zip(im.getpixel((128, 128)), (230, 30, 30, 255)):
                self.assertLessEqual(abs(ours - theirs), 2)
        with Image.open(self.path("out/ios/AppIcon.appiconset/Icon-App-60x60@3x.png")) as im:
            self.assertEqual(im.getpixel((2, 2)), (0x33, 0x66, 0x99))

    def test_drawing_is_rendered_at_each_size_as_librsvg_renders_it(self):
        files = self.check_set(self.make("drawing.svg", "out"), "out")
        copy = self.path("out/linux/hicolor/scalable/apps/drawing.svg")
        self.assertIn(copy, files)
        self.assertEqual(self.read(copy), DRAWING)
        if not shutil.which("rsvg-convert"):
            self.skipTest("rsvg-convert is not installed")
        for side, ours in ((16, "linux/hicolor/16x16/apps/drawing.png"), (22, "linux/hicolor/22x22/apps/drawing.png"),
                           (48, "msix/Images/Square44x44Logo.targetsize-48.png"),
                           (1024, "macos/drawing.iconset/icon_512x512@2x.png")):
            theirs = subprocess.run(["rsvg-convert", "-w", str(side), "-h", str(side), self.path("drawing.svg")],
                                    capture_output=True, check=True).stdout
            with Image.open(io.BytesIO(theirs)) as a, Image.open(self.path("out/" + ours)) as b:
                pa, pb = premultiplied(a), premultiplied(b)
                self.assertEqual(len(pa), len(pb))
                mean = sum(abs(x - y) for x, y in zip(pa, pb)) / len(pa)
                self.assertLess(mean, 1.0, ours)

    def test_hand_tuned_sizes_of_an_icon_are_kept_and_the_others_scaled(self):
        self.check_set(self.make("project.ico", "out"), "out")
        tuned = pattern16()
        for png in ("linux/hicolor/16x16/apps/project.png", "macos/project.iconset/icon_16x16.png",
                    "msix/Images/Square44x44Logo.targetsize-16.png"):
            with Image.open(self.path("out/" + png)) as im:
                self.assertIsNone(ImageChops.difference(im.convert("RGBA"), tuned).getbbox(), png)
        for ico, sizes in (("windows/project.ico", (16, 20)), ("web/favicon.ico", (16, 32))):
            with Image.open(self.path("out/" + ico)) as im:
                im.size = (16, 16)
                im.load()
                self.assertIsNone(ImageChops.difference(im.convert("RGBA"), tuned).getbbox(), ico)
        # 20 is scaled from the 32-pixel format: smooth, nothing of the pattern.
        with Image.open(self.path("out/windows/project.ico")) as im:
            im.size = (20, 20)
            im.load()
            px = im.convert("RGBA")
            self.assertNotIn(px.getpixel((10, 10)), [(255, 0, 0, 255), (0, 0, 255, 255)])

    def test_listing_without_json_is_one_line_per_file(self):
        r = run("iconset", self.path("picture.png"), "-o", self.path("out"), "--platforms", "WEB")
        self.assertEqual(r.returncode, 0, r.stderr)
        web = self.path("out/web/")
        self.assertEqual(r.stdout.splitlines(), [
            web + "favicon.ico (48x48)", web + "apple-touch-icon.png (180x180)", web + "icon-192.png (192x192)",
            web + "icon-512.png (512x512)", web + "icon-maskable-192.png (192x192)",
            web + "icon-maskable-512.png (512x512)", web + "site.webmanifest"])

    def test_chosen_platforms_only_and_other_files_left_alone(self):
        os.makedirs(self.path("out/web"))
        self.write("out/web/notes.txt", b"mine")
        files = self.make("picture.png", "out", "--platforms", "web,windows")
        self.assertEqual({f["platform"] for f in files}, {"windows", "web"})
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["web", "windows"])
        self.assertEqual(self.read("out/web/notes.txt"), b"mine")
        # Made again, from another source, over the set: the files are replaced.
        self.make("drawing.svg", "out", "--platforms", "web", "--name", "picture")
        with Image.open(self.path("out/web/icon-192.png")) as im:
            for ours, theirs in zip(im.getpixel((66, 90)), (255, 212, 0, 255)):  # the drawing's yellow
                self.assertLessEqual(abs(ours - theirs), 2)

    def test_high_quality_resampling_keeps_a_symmetric_picture_symmetric(self):
        save_mirrored_picture(self.path("mirrored.png"))
        for f in self.make("mirrored.png", "hq", "--platforms", "linux", "--resample", "hq"):
            with Image.open(f["path"]) as im:
                im = im.convert("RGBA")
                self.assertEqual(im.tobytes(), im.transpose(Image.Transpose.FLIP_LEFT_RIGHT).tobytes(), f["path"])

    def test_usage_and_failures_are_one_line_with_their_exit_codes(self):
        for args, code, words in (
            (["--platforms", "windows,symbian"], 2,
             'there is no platform "symbian" (windows, macos, linux, msix, android, ios, web)'),
            (["--background", "#12345"], 2, "is not a colour"),
            (["--background", "mauve"], 2, "is not a colour"),
        ):
            r = run("iconset", self.path("picture.png"), "-o", self.path("out"), *args)
            self.assertEqual(r.returncode, code, r.stderr)
            self.assertEqual(len(r.stderr.splitlines()), 1, r.stderr)
            self.assertIn(words, r.stderr)
        self.assertFalse(os.path.exists(self.path("out")))
        self.write("junk.png", b"not a picture at all")
        self.write("a-file", b"")
        for source, out, words in (("missing.png", "out", "cannot read"), ("junk.png", "out", "cannot read"),
                                   ("picture.png", "a-file", "not a folder")):
            r = run("iconset", self.path(source), "-o", self.path(out))
            self.assertEqual(r.returncode, 1, r.stderr)
            self.assertEqual(len(r.stderr.splitlines()), 1, r.stderr)
            self.assertIn(words, r.stderr)
        self.assertFalse(os.path.exists(self.path("out")))


if __name__ == "__main__":
    main()

"""End-to-end tests of tellurine-cli on Macintosh icon families: .icns files, and the families
inside resource and MacBinary files. Judged by peers: libicns (icns2png lists and decodes
families, png2icns writes them) and Pillow (writes families, decodes their elements).

Run by CTest as: python3 icns_cli_test.py PATH-TO-tellurine-cli
"""
import binascii
import io
import json
import os
import re
import struct
import subprocess

from PIL import Image
from PIL.IcnsImagePlugin import IcnsFile

from cli_support import ScratchCase, main, run
from icon_cli_test import READ_ERROR, picture, tool

# The system's 16-colour table, as libicns decodes 4-bit elements.
MAC_16 = [0xFFFFFF, 0xFCF305, 0xFF6402, 0xDD0806, 0xF20884, 0x4600A5, 0x0000D4, 0x02ABEA,
          0x1FB714, 0x006411, 0x562C05, 0x90713A, 0xC0C0C0, 0x808080, 0x404040, 0x000000]
# Colours that the 256-colour system table holds: part of its 6 x 6 x 6 cube, and its ramps.
MAC_256 = ([(r << 16) | (g << 8) | b for r in range(0, 256, 51) for g in range(0, 256, 102) for b in (0, 153)]
           + [0xEE0000, 0x00AA00, 0x000044, 0x111111, 0x777777, 0xDDDDDD])
# What `convert` leaves out of a family, one line each, with the reason.
LEFT_OUT = "tellurine-cli: convert: {}: left out format {} ({}x{}, {} bpp): {}"
NO_ELEMENT = "a Macintosh icon family has no element for it"


def rgb(value):
    return value >> 16, (value >> 8) & 0xFF, value & 0xFF


def palette_picture(width, height, colours):
    """RGBA picture of the given 0xRRGGBB colours only, every colour used, a clear top-left corner."""
    img = Image.new("RGBA", (width, height))
    px = img.load()
    for y in range(height):
        for x in range(width):
            a = 0 if x < width // 4 and y < height // 4 else 255
            px[x, y] = rgb(colours[(x + y * width) % len(colours)]) + (a,)
    return img


def png_bytes(img, fmt="png", **options):
    out = io.BytesIO()
    img.save(out, fmt, **options)
    return out.getvalue()


def pack_bits(plane):
    """Run-length packing of one plane as the 24-bit elements use it: a byte below 128 is followed
    by that many plus one bytes to copy, one from 128 up by one byte to repeat it minus 125 times."""
    out, i = b"", 0
    while i < len(plane):
        j = i
        while j < len(plane) and plane[j] == plane[i] and j - i < 130:
            j += 1
        if j - i >= 3:
            out += bytes([j - i + 125, plane[i]])
            i = j
            continue
        j = i
        while j < len(plane) and j - i < 128 and not (j + 2 < len(plane) and plane[j] == plane[j + 1] == plane[j + 2]):
            j += 1
        out += bytes([j - i - 1]) + plane[i:j]
        i = j
    return out


def ico_entries(path):
    """The images of an icon file: (first 12 bytes of the directory entry, image bytes)."""
    with open(path, "rb") as f:
        data = f.read()
    entries = []
    for i in range(struct.unpack_from("<H", data, 4)[0]):
        entry = data[6 + 16 * i:22 + 16 * i]
        size, offset = struct.unpack_from("<II", entry, 8)
        entries.append((entry[:12], data[offset:offset + size]))
    return entries


def png_entry(img):
    blob = png_bytes(img)
    return struct.pack("<BBBBHHI", img.width % 256, img.height % 256, 0, 0, 1, 32, len(blob)), blob


def write_ico(path, entries):
    data = struct.pack("<HHH", 0, 1, len(entries))
    offset = 6 + 16 * len(entries)
    for head, blob in entries:
        data += head[:8] + struct.pack("<II", len(blob), offset)
        offset += len(blob)
    with open(path, "wb") as f:
        f.write(data + b"".join(blob for _, blob in entries))


def family_elements(data):
    """(type, payload) of each element of the family at the start of `data`, walked by length."""
    assert data[:4] == b"icns", data[:4]
    total = struct.unpack_from(">I", data, 4)[0]
    at, elements = 8, []
    while at + 8 <= min(total, len(data)):
        length = struct.unpack_from(">I", data, at + 4)[0]
        elements.append((data[at:at + 4].decode("latin-1"), data[at + 8:at + length]))
        at += max(length, 8)
    return elements


def icns2png_list(path):
    """Element types in file order, as `icns2png -l` lists them."""
    out = subprocess.run(["icns2png", "-l", path], capture_output=True, text=True, check=True, timeout=60).stdout
    return re.findall(r"^\s+'(.{4})'", out, re.M)


def resource_fork(resources, pad=4000):
    """A bare resource fork holding `resources` ((type, id, name bytes or None, data), stored in
    that order; the map lists them the other way round), then `pad` zero bytes: a family is looked
    for only well before the end of the data."""
    data, offsets = b"", []
    for *_, blob in resources:
        offsets.append(len(data))
        data += struct.pack(">I", len(blob)) + blob
    types = list(dict.fromkeys(t for t, *_ in resources))
    names, refs = b"", {t: b"" for t in types}
    for (kind, number, name, _), offset in reversed(list(zip(resources, offsets))):
        name_offset = 0xFFFF
        if name is not None:
            name_offset = len(names)
            names += bytes([len(name)]) + name
        refs[kind] += struct.pack(">hHB", number, name_offset, 0) + offset.to_bytes(3, "big") + bytes(4)
    type_list, ref_lists = struct.pack(">H", len(types) - 1), b""
    for kind in types:
        type_list += kind + struct.pack(">HH", len(refs[kind]) // 12 - 1, 2 + 8 * len(types) + len(ref_lists))
        ref_lists += refs[kind]
    resource_map = (bytes(24) + struct.pack(">HH", 28, 28 + len(type_list) + len(ref_lists))
                    + type_list + ref_lists + names)
    header = struct.pack(">IIII", 256, 256 + len(data), len(data), len(resource_map))
    return header + bytes(240) + data + resource_map + bytes(pad)


def macbinary(name, data_fork=b"", resource=b"", file_type=b"icns"):
    """A MacBinary III file: 128-byte header, then each fork padded to a multiple of 128 bytes."""
    header = bytearray(128)
    header[1] = len(name)
    header[2:2 + len(name)] = name
    header[65:73] = file_type + b"Tlrn"
    header[83:91] = struct.pack(">II", len(data_fork), len(resource))
    header[102:106] = b"mBIN"
    header[122:124] = bytes([130, 129])
    header[124:126] = struct.pack(">H", binascii.crc_hqx(bytes(header[:124]), 0))
    return bytes(header) + data_fork + bytes(-len(data_fork) % 128) + resource + bytes(-len(resource) % 128)


class IcnsCase(ScratchCase):
    def extract(self, source, group=None):
        """`extract` of one file: (width, height, bpp) -> RGBA picture, for a group of a resource
        or MacBinary file when `group` names it. Checks the file names against `info`."""
        out = self.path("x-" + os.path.basename(source))
        result = run("extract", source, "-o", out)
        self.assertEqual(result.returncode, 0, result.stderr)
        listed = self.info(source)[0]
        stem = os.path.splitext(os.path.basename(source))[0]
        if group is None:
            formats, prefix = listed["formats"], stem
        else:
            formats = next(g["formats"] for g in listed["groups"] if g["name"] == group)
            prefix = f"{stem}-{re.sub(r'[^A-Za-z0-9._-]', '_', str(group))}"
        pictures = {}
        for f in formats:
            name = f"{prefix}-{f['index']}-{f['width']}x{f['height']}-{f['bpp']}.png"
            with Image.open(os.path.join(out, name)) as img:
                self.assertEqual(img.mode, "RGBA", name)
                img.load()
                pictures[f["width"], f["height"], f["bpp"]] = img
        self.assertEqual(len(pictures), len(formats), "one format per size and depth expected")
        return pictures

    def assertSamePixels(self, mine, peer, what, tolerance=0):
        """Equal RGBA pixels; with a tolerance, equal alpha, colours within it, and one colour of
        `mine` for each colour of `peer` (indexed pictures read through slightly different tables)."""
        self.assertEqual(mine.size, peer.size, what)
        peer = peer.convert("RGBA")
        if tolerance == 0:
            if mine.tobytes() != peer.tobytes():
                a, b = mine.load(), peer.load()
                wrong = [(x, y, a[x, y], b[x, y]) for y in range(mine.height) for x in range(mine.width)
                         if a[x, y] != b[x, y]]
                self.fail(f"{what}: {len(wrong)} pixels differ, first {wrong[:3]}")
            return
        pairs = set(zip(peer.getdata(), mine.getdata()))
        for theirs, ours in pairs:
            self.assertEqual(theirs[3], ours[3], what)
            self.assertTrue(all(abs(p - q) <= tolerance for p, q in zip(theirs[:3], ours[:3])), (what, theirs, ours))
        self.assertEqual(len({p for p, _ in pairs}), len(pairs), f"{what}: one peer colour became two")
        self.assertEqual(len({q for _, q in pairs}), len(pairs), f"{what}: two peer colours became one")

    def assertSamePictures(self, mine, expected, what, four_bit_tolerance=0):
        """The same formats, each of the same pixels (4-bit ones within the given tolerance)."""
        self.assertEqual(set(mine), set(expected), what)
        for key, img in mine.items():
            self.assertSamePixels(img, expected[key], f"{what} {key}", four_bit_tolerance if key[2] == 4 else 0)

    def assertElementsRead(self, family, pictures, what):
        """`info` lists a 32-bit format with alpha for each picture in turn, and `extract` writes
        its pixels; the formats listed."""
        formats = self.info(family)[0]["formats"]
        self.assertEqual([(f["width"], f["height"], f["bpp"], f["alpha"]) for f in formats],
                         [(img.width, img.height, 32, True) for img in pictures])
        out = self.path("x-" + os.path.basename(family))
        result = run("extract", family, "-o", out)
        self.assertEqual(result.returncode, 0, result.stderr)
        stem = os.path.splitext(os.path.basename(family))[0]
        for f, img, name in zip(formats, pictures, what):
            with Image.open(os.path.join(out, f"{stem}-{f['index']}-{f['width']}x{f['height']}-32.png")) as mine:
                self.assertSamePixels(mine, img, name)
        return formats

    def libicns_pictures(self, family):
        """icns2png -x of every element of 1, 4, 8 and 32 bits: (width, height, bits) -> picture."""
        out = self.path("libicns-" + os.path.basename(family))
        os.makedirs(out)
        for depth in (1, 4, 8, 32):
            tool("icns2png", "-x", "-d", depth, "-o", out, family)
        pictures = {}
        for name in os.listdir(out):
            w, h, d = map(int, re.search(r"_(\d+)x(\d+)x(\d+)\.png$", name).groups())
            with Image.open(os.path.join(out, name)) as img:
                pictures[w, h, d] = img.convert("RGBA")
        return pictures


class WriteFamily(IcnsCase):
    """A project with a format for every element Tellurine writes, and two it cannot place."""

    def setUp(self):
        super().setUp()
        big = picture(1024, soft=True)
        sized = {s: big.resize((s, s), Image.Resampling.LANCZOS) for s in (16, 32, 48, 64, 128, 256, 512)}
        sized[1024] = big
        args = []
        for w, h in ((16, 16), (32, 32), (48, 48), (16, 12)):
            for bits, colours in ((1, [0x000000, 0xFFFFFF]), (4, MAC_16), (8, MAC_256)):
                name = self.path(f"i{w}x{h}-{bits}.png")
                palette_picture(w, h, colours).save(name)
                args += ["-b", bits, name]
        sized[96] = big.resize((96, 96), Image.Resampling.LANCZOS)
        for size in (16, 32, 48, 64, 96, 128):
            sized[size].save(self.path(f"t{size}.png"))
        args += [a for s in (16, 32, 48, 64, 128, 96) for a in ("-b", 32, self.path(f"t{s}.png"))]
        tool("icotool", "-c", "-o", self.path("small.ico"), *args)
        self.source = self.path("project.ico")
        write_ico(self.source, ico_entries(self.path("small.ico")) + [png_entry(sized[s]) for s in (256, 512, 1024)])
        self.left_out = [(17, 96, 96, 32, NO_ELEMENT)]
        self.family = self.path("project.icns")
        # What the family cannot hold is listed, and nothing is written unless that is allowed.
        expected = [LEFT_OUT.format(self.family, *f) for f in self.left_out]
        result = run("convert", self.source, self.family)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.splitlines()[:-1], expected)
        self.assertIn("nothing was written", result.stderr.splitlines()[-1])
        self.assertFalse(os.path.exists(self.family))
        result = run("convert", "--allow-loss", self.source, self.family)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr.splitlines(), expected)

    def test_family_holds_every_element_and_peers_decode_it_like_tellurine(self):
        data = self.read("project.icns")
        self.assertEqual(struct.unpack_from(">I", data, 4)[0], len(data))
        types = [t for t, _ in family_elements(data)]
        self.assertEqual(icns2png_list(self.family), types)
        self.assertEqual(sorted(types), sorted([
            "ics#", "ics4", "ics8", "ICN#", "icl4", "icl8", "ich#", "ich4", "ich8", "icm#", "icm4", "icm8",
            "is32", "s8mk", "il32", "l8mk", "ih32", "h8mk", "it32", "t8mk", "ic12", "ic08", "ic09", "ic10"]))
        streams = dict(family_elements(data))
        for kind, signature in (("ic08", b"\0\0\0\x0cjP  \r\n\x87\n"), ("ic09", b"\0\0\0\x0cjP  \r\n\x87\n"),
                                ("ic10", b"\x89PNG\r\n\x1a\n"), ("ic12", b"\x89PNG\r\n\x1a\n")):
            self.assertTrue(streams[kind].startswith(signature), kind)

        mine = self.extract(self.family)
        indexed = {(w, h, b) for w, h in ((16, 16), (32, 32), (48, 48), (16, 12)) for b in (1, 4, 8)}
        true_colour = {(s, s, 32) for s in (16, 32, 48, 64, 128, 256, 512, 1024)}
        self.assertEqual(set(mine), indexed | true_colour)
        for f in self.info(self.family)[0]["formats"]:
            self.assertEqual(f["alpha"], f["bpp"] == 32, f)

        # Tellurine's 16-colour table rounds the system colours (C0C0C0 is CCCCCC, FCF305 is
        # FFFF00, ...); the indices are what must agree.
        # libicns 0.8 decodes no "ic12"; Pillow judges it below.
        older = {key: img for key, img in mine.items() if key != (64, 64, 32)}
        self.assertSamePictures(older, self.libicns_pictures(self.family), "libicns", four_bit_tolerance=32)
        with open(self.family, "rb") as f:
            pillow = IcnsFile(f)
            for size in (16, 32, 48, 64, 128, 256, 512, 1024):
                scale = 2 if size in (64, 1024) else 1
                self.assertSamePixels(mine[size, size, 32], pillow.getimage((size // scale, size // scale, scale)),
                                      f"Pillow {size}")

    def test_pixels_survive_the_round_trip_through_a_family(self):
        back = self.path("back.ico")
        result = run("convert", self.family, back)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        before = self.extract(self.source)
        for _, w, h, b, _ in self.left_out:
            del before[w, h, b]
        # 1 and 8-bit pictures use colours both tables hold; 4-bit ones go through the rounding.
        self.assertSamePictures(self.extract(back), before, "round trip", four_bit_tolerance=32)
        # Written again from what was read, the family is the same bytes.
        again = self.path("again.icns")
        self.assertEqual(run("convert", back, again).returncode, 0)
        self.assertEqual(self.read("again.icns"), self.read("project.icns"))


class RoundTrips(IcnsCase):
    def test_peer_families_keep_every_element(self):
        """A family Pillow writes from one picture (ic07 to ic14, the @2x ones PNG) and one libicns
        writes come back from convert with the same elements, and Pillow reads the same pixels."""
        big = picture(1024, soft=True)
        big.save(self.path("pillow.icns"))
        for size in (16, 32, 48, 128, 256, 512):
            big.resize((size, size), Image.Resampling.LANCZOS).save(self.path(f"p{size}.png"))
        tool("png2icns", self.path("libicns.icns"), *[self.path(f"p{s}.png") for s in (16, 32, 48, 128, 256, 512)])
        for name in ("pillow.icns", "libicns.icns"):
            source, copy = self.path(name), self.path("copy-" + name)
            result = run("convert", source, copy)
            self.assertEqual((result.returncode, result.stderr), (0, ""), name)
            before = [t for t, _ in family_elements(self.read(name)) if t != "TOC "]
            after = [t for t, _ in family_elements(self.read("copy-" + name))]
            self.assertEqual(sorted(after), sorted(before), name)
            self.assertEqual(icns2png_list(copy), after)
            listed = {(f["element"], f["scale"]) for f in self.info(copy)[0]["formats"]}
            self.assertEqual(listed, {(t, 2 if t in ("ic11", "ic12", "ic13", "ic14") else 1)
                                      for t in after if not t.endswith("mk")})
            with open(source, "rb") as a, open(copy, "rb") as b:
                theirs, ours = IcnsFile(a), IcnsFile(b)
                self.assertEqual(sorted(ours.itersizes()), sorted(theirs.itersizes()), name)
                for size in theirs.itersizes():
                    self.assertSamePixels(ours.getimage(size), theirs.getimage(size), f"{name} {size}")

    def test_icon_sets_go_both_ways(self):
        """convert writes an .iconset folder under Apple's names and reads one back."""
        big = picture(1024, soft=True)
        entries = [png_entry(big.resize((s, s), Image.Resampling.LANCZOS)) for s in (16, 32, 48, 64, 128, 256, 512)]
        write_ico(self.path("app.ico"), entries + [png_entry(big)])
        folder = self.path("App.iconset")
        result = run("convert", self.path("app.ico"), folder)
        self.assertEqual(result.returncode, 1)  # 48 x 48 has no file in a set
        result = run("convert", "--allow-loss", self.path("app.ico"), folder)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(sorted(os.listdir(folder)), sorted([
            "icon_16x16.png", "icon_32x32.png", "icon_32x32@2x.png", "icon_128x128.png", "icon_256x256.png",
            "icon_512x512.png", "icon_512x512@2x.png"]))
        for name in os.listdir(folder):
            points, scale = re.match(r"icon_(\d+)x\d+(@2x)?\.png", name).groups()
            with Image.open(os.path.join(folder, name)) as img:
                self.assertEqual(img.size, (int(points) * (2 if scale else 1),) * 2, name)
        result = run("convert", folder, self.path("back.icns"))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(sorted(t for t, _ in family_elements(self.read("back.icns"))),
                         sorted(["is32", "s8mk", "il32", "l8mk", "ic12", "it32", "t8mk", "ic08", "ic09", "ic10"]))
        self.assertEqual(self.info(folder)[0]["kind"], "iconset")


class ReadPeerFamilies(IcnsCase):
    def test_pillow_family_reads_every_size_pillow_stores(self):
        big = picture(1024, soft=True)
        big.save(self.path("pillow.icns"))
        elements = [(t, s) for t, s in family_elements(self.read("pillow.icns")) if t != "TOC "]
        self.assertEqual([t for t, _ in elements], icns2png_list(self.path("pillow.icns"))[1:])
        peer = [Image.open(io.BytesIO(stream)) for _, stream in elements]
        self.assertEqual(sorted({img.width for img in peer}), [32, 64, 128, 256, 512, 1024])
        formats = self.assertElementsRead(self.path("pillow.icns"), peer, [t for t, _ in elements])
        self.assertEqual([f["png"] for f in formats], [img.width >= 256 for img in peer])
        self.assertSamePixels(Image.open(self.path("x-pillow.icns/pillow-3-1024x1024-32.png")), big, "1024")

    def test_stream_and_argb_elements_of_every_kind_read(self):
        """icp4 to icp6, ic07 and ic11 to ic14 hold PNG or JPEG 2000 streams (here Pillow's, in a
        JP2 box or bare); ic04 and ic05 hold run-length packed ARGB planes."""
        big = picture(512, soft=True)
        kinds = [("icp4", 16, "png"), ("icp5", 32, "png"), ("icp6", 64, "png"), ("ic07", 128, "jp2"),
                 ("ic11", 32, "j2k"), ("ic12", 64, "png"), ("ic13", 256, "jp2"), ("ic14", 512, "png"),
                 ("ic04", 16, "argb"), ("ic05", 32, "argb")]
        pictures = [big.resize((s, s), Image.Resampling.LANCZOS) for _, s, _ in kinds]
        body = b""
        for (kind, _, fmt), img in zip(kinds, pictures):
            if fmt == "argb":
                stream = b"ARGB" + b"".join(pack_bits(img.getchannel(c).tobytes()) for c in "ARGB")
            elif fmt == "png":
                stream = png_bytes(img)
            else:
                stream = png_bytes(img, "JPEG2000", irreversible=False, no_jp2=fmt == "j2k")
            body += kind.encode() + struct.pack(">I", 8 + len(stream)) + stream
        family = self.write("streams.icns", b"icns" + struct.pack(">I", 8 + len(body)) + body)
        self.assertElementsRead(family, pictures, [kind for kind, _, _ in kinds])

    def test_libicns_family_reads_like_libicns(self):
        big = picture(1024, soft=True)
        names = []
        for size in (16, 32, 48, 128, 256, 512, 1024):
            names.append(self.path(f"p{size}.png"))
            big.resize((size, size), Image.Resampling.LANCZOS).save(names[-1])
        family = self.path("libicns.icns")
        tool("png2icns", family, *names)
        self.assertEqual(icns2png_list(family),
                         ["is32", "s8mk", "il32", "l8mk", "ih32", "h8mk", "it32", "t8mk", "ic08", "ic09", "ic10"])
        self.assertSamePictures(self.extract(family), self.libicns_pictures(family), "libicns")


class ResourceFiles(IcnsCase):
    def setUp(self):
        super().setUp()
        # A family of indexed formats, and one of 32-bit formats.
        names = []
        for bits, colours in ((1, [0, 0xFFFFFF]), (8, MAC_256)):
            names += ["-b", bits, self.path(f"i{bits}.png")]
            palette_picture(32, 32, colours).save(names[-1])
        tool("icotool", "-c", "-o", self.path("classic.ico"), *names)
        picture(128, soft=True).save(self.path("true.ico"), sizes=[(16, 16), (32, 32), (128, 128)])
        for stem in ("classic", "true"):
            result = run("convert", self.path(f"{stem}.ico"), self.path(f"{stem}.icns"))
            self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.classic, self.true = self.read("classic.icns"), self.read("true.icns")
        # The named family comes first in the data; the map lists the numbered one first.
        self.rsc = self.write("old.rsc", resource_fork([(b"STR ", 5, b"text", b"\x05hello"),
                                                        (b"icns", -16455, b"Map Icon", self.true),
                                                        (b"icns", 128, None, self.classic)]))

    def test_families_are_named_listed_and_extracted_by_name(self):
        files = self.info(self.rsc)
        self.assertEqual(list(files[0]), ["path", "kind", "groups"])
        self.assertEqual(files[0]["kind"], "rsrc")
        groups = files[0]["groups"]
        self.assertEqual([g["name"] for g in groups], ["Map Icon", 128])
        self.assertEqual(groups[0]["formats"], self.info(self.path("true.icns"))[0]["formats"])
        self.assertEqual(groups[1]["formats"], self.info(self.path("classic.icns"))[0]["formats"])
        result = run("info", self.rsc)
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual([line for line in lines if not line.startswith("    ")],
                         [f"{self.rsc}: rsrc, 2 icons", "  icon Map Icon, 3 formats", "  icon 128, 2 formats"])
        self.assertIn("    0: 32x32, 32 bpp, 0 colors, alpha, bitmap", lines)
        with open(self.rsc, "rb") as f:
            self.assertEqual(self.info(self.write("old.rsrc", f.read()))[0]["kind"], "rsrc")
        for group, alone in (("Map Icon", "true.icns"), (128, "classic.icns")):
            self.assertSamePictures(self.extract(self.rsc, group), self.extract(self.path(alone)), str(group))

    def test_convert_takes_the_group_asked_for(self):
        for group, expected in (("Map Icon", "true.icns"), ("128", "classic.icns"), (None, "true.icns")):
            out = self.path("chosen.icns")
            result = run("convert", self.rsc, out, *(["--group", group] if group else []))
            self.assertEqual((result.returncode, result.stderr), (0, ""), group)
            self.assertEqual(self.read("chosen.icns"), self.read(expected), group)
        result = run("convert", self.rsc, self.path("chosen.ico"), "--group", "-16455")  # named, so not by number
        self.assertEqual(result.returncode, 1)
        self.assertFalse(os.path.exists(self.path("chosen.ico")))

    def test_macbinary_files(self):
        fork = resource_fork([(b"icns", 128, None, self.classic), (b"icns", 129, b"Map Icon", self.true)])
        wrapped = self.write("forked.bin", macbinary(b"Old Icons", resource=fork, file_type=b"rsrc"))
        files = self.info(wrapped)
        self.assertEqual(files[0]["kind"], "macbinary")
        self.assertEqual([g["name"] for g in files[0]["groups"]], [128, "Map Icon"])
        # A family in the data fork belongs to no resource: it is named by its offset.
        bare = self.write("data.bin", macbinary(b"true.icns", data_fork=self.true + bytes(4000)))
        files = self.info(bare)
        self.assertEqual([(g["name"], len(g["formats"])) for g in files[0]["groups"]], [("@128", 3)])
        self.assertSamePictures(self.extract(bare, "@128"), self.extract(self.path("true.icns")), "MacBinary")


class Failures(IcnsCase):
    def test_bad_files_fail_and_the_others_are_still_processed(self):
        picture(128, soft=True).save(self.path("good.ico"), sizes=[(16, 16), (32, 32), (128, 128)])
        good = self.path("good.icns")
        self.assertEqual(run("convert", self.path("good.ico"), good).returncode, 0)
        data = self.read("good.icns")
        first = struct.unpack_from(">I", data, 12)[0]
        bad = [self.write("truncated.icns", data[:8 + first // 2]),
               self.write("toolong.icns", data[:12] + struct.pack(">I", 0x7FFFFFFF) + data[16:]),
               self.write("tooshort.icns", data[:12] + struct.pack(">I", 4) + data[16:]),
               self.write("nothing.rsc", resource_fork([(b"TEXT", 128, b"readme", b"no icons here " * 400)]))]
        expected_errors = [f"tellurine-cli: {p}: {READ_ERROR}" for p in bad]

        result = run("info", bad[0], bad[1], good, bad[2], bad[3])
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.splitlines(), expected_errors)
        self.assertEqual(result.stdout.splitlines()[0], f"{good}: icns, 3 formats")
        result = run("info", "--json", *bad, good)
        self.assertEqual((result.returncode, result.stderr.splitlines()), (1, expected_errors))
        self.assertEqual([f["path"] for f in json.loads(result.stdout)["files"]], [good])
        result = run("extract", good, *bad, "-o", self.path("out"))
        self.assertEqual((result.returncode, result.stderr.splitlines()), (1, expected_errors))
        self.assertEqual(sorted(os.listdir(self.path("out"))),
                         ["good-0-32x32-32.png", "good-1-16x16-32.png", "good-2-128x128-32.png"])
        for path in bad:
            result = run("convert", path, self.path("out.ico"))
            self.assertEqual((result.returncode, result.stderr.splitlines()), (1, [f"tellurine-cli: {path}: {READ_ERROR}"]))
            self.assertFalse(os.path.exists(self.path("out.ico")))

        # A family cut inside a later element keeps the elements before it.
        cut = self.write("cut.icns", data[:len(data) - 100])
        formats = self.info(cut)[0]["formats"]
        self.assertTrue(0 < len(formats) < 3)
        self.assertEqual(formats, self.info(good)[0]["formats"][:len(formats)])


if __name__ == "__main__":
    main()

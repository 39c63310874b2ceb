"""Writes a large icon library for the benchmarks: a 64-bit PE file (PE32+) whose resource section
holds GROUPS icon groups of 7 formats each (16, 24, 32, 48, 64 and 128 pixels in bitmap form and
256 as PNG, all 32 bits), the way a system icon library stores them.

    /usr/bin/python3 scripts/make_big_pe.py OUT.dll [GROUPS]     (GROUPS: default 300)

The output is deterministic for a given Pillow. The first tenth of the groups are named by strings
(ICON_000, ...), the others numbered from 100; icons are numbered from 1; every resource is in
language 1033. As a linker writes them, named entries come first and each kind is sorted.
"""
import io
import struct
import sys

from PIL import Image, ImageDraw, ImageFilter

from bench_inputs import bitmap_entry

SIZES = (16, 24, 32, 48, 64, 128, 256)
LANGUAGE = 1033


def picture(index, size=256):
    """An icon-like RGBA picture that differs from group to group: a shaded rounded square in
    colours drawn from the index, a disc whose place moves with it, soft edges and clear corners."""
    grad = Image.linear_gradient("L").resize((size, size))
    r, g, b = (index * 53) % 256, (index * 97 + 80) % 256, (index * 29 + 160) % 256
    body = Image.merge("RGB", (grad.point(lambda v: (v + r) % 256), Image.new("L", (size, size), g),
                               grad.rotate(90).point(lambda v: (v + b) % 256)))
    shape = Image.new("L", (size, size), 0)
    ImageDraw.Draw(shape).rounded_rectangle((16, 16, size - 16, size - 16), radius=48, fill=255)
    shape = shape.filter(ImageFilter.GaussianBlur(2))
    x = 60 + index * 7 % 80
    ImageDraw.Draw(body).ellipse((x, 72, x + 110, 182), fill=(250, 240 - index % 100, 40))
    body.putalpha(shape)
    return body


def images_of(index):
    master = picture(index)
    out = []
    for size in SIZES:
        img = master if size == 256 else master.resize((size, size), Image.Resampling.LANCZOS)
        if size == 256:
            png = io.BytesIO()
            img.save(png, "png")
            out.append(png.getvalue())
        else:
            out.append(bitmap_entry(img))
    return out


def group_data(first_icon, images):
    data = struct.pack("<HHH", 0, 1, len(images))
    for i, (size, blob) in enumerate(zip(SIZES, images)):
        data += struct.pack("<BBBBHHIH", size % 256, size % 256, 0, 0, 1, 32, len(blob), first_icon + i)
    return data


def align(buf, n):
    buf.extend(b"\0" * (-len(buf) % n))


def resource_section(types, rva):
    """The section's bytes for {type id: [(name, data)]}, each name with one language entry.
    Names are ints or strs; the caller orders them (named first)."""
    sec = bytearray()
    fixups = []  # (offset of a 32-bit field, kind, payload) filled in once the layout is known

    def directory(entries, named):
        at = len(sec)
        sec.extend(struct.pack("<IIHHHH", 0, 0, 0, 0, named, len(entries) - named))
        sec.extend(b"\0" * (8 * len(entries)))
        return at

    type_ids = sorted(types)
    root = directory(type_ids, 0)
    leaves = []  # (language-entry offset, data)
    for ti, type_id in enumerate(type_ids):
        entry = root + 16 + 8 * ti
        struct.pack_into("<I", sec, entry, type_id)
        names = types[type_id]
        named = sum(isinstance(n, str) for n, _ in names)
        name_dir = directory(names, named)
        struct.pack_into("<I", sec, entry + 4, 0x80000000 | name_dir)
        for ni, (name, data) in enumerate(names):
            name_entry = name_dir + 16 + 8 * ni
            if isinstance(name, str):
                fixups.append((name_entry, name))
            else:
                struct.pack_into("<I", sec, name_entry, name)
            lang_dir = directory([LANGUAGE], 0)
            struct.pack_into("<I", sec, name_entry + 4, 0x80000000 | lang_dir)
            struct.pack_into("<I", sec, lang_dir + 16, LANGUAGE)
            leaves.append((lang_dir + 16, data))
    data_entries = []
    for lang_entry, data in leaves:
        align(sec, 4)
        struct.pack_into("<I", sec, lang_entry + 4, len(sec))
        data_entries.append(len(sec))
        sec.extend(b"\0" * 16)
    for entry, name in fixups:
        align(sec, 2)
        struct.pack_into("<I", sec, entry, 0x80000000 | len(sec))
        text = name.encode("utf-16-le")
        sec.extend(struct.pack("<H", len(text) // 2) + text)
    for (lang_entry, data), de in zip(leaves, data_entries):
        align(sec, 8)
        struct.pack_into("<II", sec, de, rva + len(sec), len(data))
        sec.extend(data)
    return bytes(sec)


def write_pe(path, rsrc):
    headers, rva = 0x400, 0x1000
    raw_size = (len(rsrc) + 0x1FF) // 0x200 * 0x200
    pe = 0x80
    f = bytearray(headers)
    f[0:2] = b"MZ"
    struct.pack_into("<I", f, 0x3C, pe)
    f[pe:pe + 4] = b"PE\0\0"
    struct.pack_into("<HHIIIHH", f, pe + 4, 0x8664, 1, 0, 0, 0, 240, 0x2022)
    opt = pe + 24
    struct.pack_into("<H", f, opt, 0x20B)
    struct.pack_into("<QII", f, opt + 24, 0x180000000, 0x1000, 0x200)  # image base, alignments
    struct.pack_into("<HH", f, opt + 40, 6, 0)  # operating system version
    struct.pack_into("<HH", f, opt + 48, 6, 0)  # subsystem version
    struct.pack_into("<II", f, opt + 56, rva + (len(rsrc) + 0xFFF) // 0x1000 * 0x1000, headers)
    struct.pack_into("<HH", f, opt + 68, 2, 0x160)  # GUI; dynamic base, NX, high entropy
    struct.pack_into("<QQQQII", f, opt + 72, 0x100000, 0x1000, 0x100000, 0x1000, 0, 16)
    struct.pack_into("<II", f, opt + 112 + 2 * 8, rva, len(rsrc))
    section = opt + 240
    struct.pack_into("<8sIIIIIIHHI", f, section, b".rsrc", len(rsrc), rva, raw_size, headers, 0, 0, 0, 0, 0x40000040)
    with open(path, "wb") as out:
        out.write(f)
        out.write(rsrc)
        out.write(b"\0" * (raw_size - len(rsrc)))


def main():
    path = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 300
    icons, groups = [], []
    for g in range(count):
        images = images_of(g)
        first = len(icons) + 1
        icons.extend(images)
        name = f"ICON_{g:03d}" if g < count // 10 else 100 + g
        groups.append((name, group_data(first, images)))
    named = sorted((n, d) for n, d in groups if isinstance(n, str))
    numbered = sorted((n, d) for n, d in groups if not isinstance(n, str))
    rsrc = resource_section({3: [(i + 1, d) for i, d in enumerate(icons)], 14: named + numbered}, 0x1000)
    write_pe(path, rsrc)


if __name__ == "__main__":
    main()

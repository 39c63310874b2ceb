"""A small writer of 64-bit PE files whose only section holds icon resources, for the end-to-end
tests: groups (type 14) named by number or string, icons (type 3), each in one or more languages.
"""
import struct


def icon_images(ico_bytes):
    """The images of an .ico file, with the directory fields a group entry repeats."""
    _, _, count = struct.unpack_from("<HHH", ico_bytes)
    out = []
    for i in range(count):
        w, h, colours, _, planes, bits, size, offset = struct.unpack_from("<BBBBHHII", ico_bytes, 6 + 16 * i)
        out.append(((w, h, colours, planes, bits), ico_bytes[offset:offset + size]))
    return out


def group_data(entries):
    """An icon group resource: header, then (fields, icon id) per image."""
    data = struct.pack("<HHH", 0, 1, len(entries))
    for (w, h, colours, planes, bits), size, icon_id in entries:
        data += struct.pack("<BBBBHHIH", w, h, colours, 0, planes, bits, size, icon_id)
    return data


def write_pe(path, resources):
    """resources: {type: [(name, language, data)]}, name an int or a str."""
    section_rva = 0x1000
    # Directory tree first, then the strings, the data entries and the data.
    types = sorted(resources)
    tables = []  # (offset placeholder) built in two passes: sizes first

    def directory(entries):
        named = sorted((e for e in entries if isinstance(e[0], str)), key=lambda e: e[0].upper())
        numbered = sorted((e for e in entries if not isinstance(e[0], str)), key=lambda e: e[0])
        return named + numbered

    # Layout: root, then one directory per type, per (type, name), each followed by its entries.
    layout = []  # list of (key, entries) where entries are (name, child key or data index)
    data_items = []
    strings = {}
    root_entries = [(t, ("type", t)) for t in types]
    layout.append((("root",), root_entries))
    for t in types:
        names = {}
        for name, lang, data in resources[t]:
            names.setdefault(name, []).append((lang, data))
        name_entries = [(n, ("name", t, n)) for n in names]
        layout.append((("type", t), directory(name_entries)))
        for n, langs in names.items():
            if isinstance(n, str):
                strings[n] = None
            lang_entries = []
            for lang, data in sorted(langs, key=lambda x: x[0]):
                data_items.append(data)
                lang_entries.append((lang, ("data", len(data_items) - 1)))
            layout.append((("name", t, n), lang_entries))

    offsets = {}
    pos = 0
    for key, entries in layout:
        offsets[key] = pos
        pos += 16 + 8 * len(entries)
    for s in strings:
        strings[s] = pos
        pos += 2 + 2 * len(s)
    pos = (pos + 3) & ~3
    entry_offsets = []
    for _ in data_items:
        entry_offsets.append(pos)
        pos += 16
    data_offsets = []
    for d in data_items:
        pos = (pos + 7) & ~7
        data_offsets.append(pos)
        pos += len(d)
    section = bytearray(pos)

    for key, entries in layout:
        at = offsets[key]
        named = sum(1 for e in entries if isinstance(e[0], str))
        struct.pack_into("<IIHHHH", section, at, 0, 0, 0, 0, named, len(entries) - named)
        for i, (name, child) in enumerate(entries):
            name_field = (0x80000000 | strings[name]) if isinstance(name, str) else name
            target = (entry_offsets[child[1]] if child[0] == "data" else 0x80000000 | offsets[child])
            struct.pack_into("<II", section, at + 16 + 8 * i, name_field, target)
    for s, at in strings.items():
        struct.pack_into("<H", section, at, len(s))
        section[at + 2:at + 2 + 2 * len(s)] = s.encode("utf-16-le")
    for i, d in enumerate(data_items):
        struct.pack_into("<IIII", section, entry_offsets[i], section_rva + data_offsets[i], len(d), 0, 0)
        section[data_offsets[i]:data_offsets[i] + len(d)] = d

    raw_size = (len(section) + 0x1FF) & ~0x1FF
    section += bytes(raw_size - len(section))
    dos = bytearray(0x40)
    dos[0:2] = b"MZ"
    struct.pack_into("<I", dos, 0x3C, 0x40)
    coff = struct.pack("<HHIIIHH", 0x8664, 1, 0, 0, 0, 240, 0x2022)
    image_size = section_rva + ((len(section) + 0xFFF) & ~0xFFF)
    optional = struct.pack("<HBBIIIII", 0x20B, 14, 0, 0, raw_size, 0, 0, 0)
    optional += struct.pack("<QIIHHHHHHIIIIHHQQQQII", 0x180000000, 0x1000, 0x200, 6, 0, 0, 0, 6, 0, 0,
                            image_size, 0x200, 0, 3, 0, 0x100000, 0x1000, 0x100000, 0x1000, 0, 16)
    directories = [(0, 0)] * 16
    directories[2] = (section_rva, len(section))
    optional += b"".join(struct.pack("<II", *d) for d in directories)
    header = struct.pack("<8sIIIIIIHHI", b".rsrc", len(section), section_rva, raw_size, 0x200, 0, 0, 0, 0,
                         0x40000040)
    headers = bytes(dos) + b"PE\0\0" + coff + optional + header
    headers += bytes(0x200 - len(headers))
    with open(path, "wb") as f:
        f.write(headers + bytes(section))


def write_program(path, groups):
    """groups: [(name, language, ico_bytes)]; each group's images become icons numbered from 1."""
    icons, group_list, next_id = [], [], 1
    for name, language, ico in groups:
        entries = []
        for fields, image in icon_images(ico):
            icons.append((next_id, language, image))
            entries.append((fields, len(image), next_id))
            next_id += 1
        group_list.append((name, language, group_data(entries)))
    write_pe(path, {3: icons, 14: group_list})

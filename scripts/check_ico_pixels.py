#!/usr/bin/python3
"""Compares the pixels tellurine-cli reads from icon and cursor files with Pillow's.

Usage: scripts/check_ico_pixels.py TELLURINE_CLI [--rewrite] [--verbose] FILE_OR_FOLDER...

For every .ico and .cur file that Pillow opens, each image `tellurine-cli extract` writes is
compared with what Pillow decodes: for an icon every image, in directory order, as RGBA (pixels
whose alpha is 0 compare by their alpha alone); for a cursor the one image Pillow shows, its
colours only (Pillow reads a cursor's colour image without its mask). With --rewrite the file is
first rewritten by `tellurine-cli convert` and the copy is compared with Pillow's view of the
original, so that opening and saving is checked as well.

Prints one line per file that differs or that Tellurine refuses, then the counts. Exits 1 when a
file Pillow opens gives other pixels (a refused file is only listed).
"""
import io
import os
import struct
import subprocess
import sys
import tempfile

try:
    from PIL import Image, IcoImagePlugin
except ImportError:
    sys.exit("check_ico_pixels: Pillow is not installed (Debian: python3-pil)")


def pillow_icon_frames(data):
    """Pillow's RGBA images of every entry of an icon, in directory order."""
    ico = IcoImagePlugin.IcoFile(io.BytesIO(data))
    count = struct.unpack_from("<H", data, 4)[0]
    entries = []
    for i in range(count):
        w, h, colors, reserved, planes, bpp, size, offset = struct.unpack_from("<BBBBHHII", data, 6 + 16 * i)
        entries.append({"width": w or 256, "height": h or 256, "nb_color": colors, "reserved": reserved,
                        "planes": planes, "bpp": bpp, "size": size, "offset": offset})
    ico.entry = entries  # frame(i) then reads entry i of the directory, not of Pillow's sorted list
    return [ico.frame(i).convert("RGBA") for i in range(count)]


def pillow_cursor_frame(data):
    """The index of the entry Pillow shows of a cursor, and its colours."""
    im = Image.open(io.BytesIO(data))
    im.load()
    chosen, best = 0, None
    for i in range(struct.unpack_from("<H", data, 4)[0]):
        w, h = data[6 + 16 * i], data[7 + 16 * i]
        if best is None or (w > best[0] and h > best[1]):
            chosen, best = i, (w, h)
    return chosen, im.convert("RGB")


def same(ours, theirs, colours_only):
    if ours.size != theirs.size:
        return False
    if colours_only:
        return ours.convert("RGB").tobytes() == theirs.tobytes()
    a, b = ours.tobytes(), theirs.tobytes()
    if a == b:
        return True
    for i in range(0, len(a), 4):
        if a[i + 3] != b[i + 3] or (a[i + 3] != 0 and a[i:i + 3] != b[i:i + 3]):
            return False
    return True


def our_images(cli, path, work):
    """Tellurine's images of the file in directory order, or None when it refuses the file."""
    out = os.path.join(work, "out")
    os.makedirs(out, exist_ok=True)
    for name in os.listdir(out):
        os.remove(os.path.join(out, name))
    if subprocess.run([cli, "extract", "-o", out, path], capture_output=True).returncode != 0:
        return None
    images = {}
    for name in os.listdir(out):
        index = int(name.rsplit("-", 3)[1])
        with Image.open(os.path.join(out, name)) as im:
            images[index] = im.convert("RGBA")
    return [images[i] for i in sorted(images)]


def main(argv):
    rewrite = "--rewrite" in argv
    verbose = "--verbose" in argv
    args = [a for a in argv[1:] if not a.startswith("--")]
    cli, targets = args[0], args[1:]
    files = []
    for t in targets:
        if os.path.isdir(t):
            files += sorted(os.path.join(t, n) for n in os.listdir(t) if n.lower().endswith((".ico", ".cur")))
        else:
            files.append(t)

    opened = matched = refused = differ = 0
    with tempfile.TemporaryDirectory() as work:
        for path in files:
            with open(path, "rb") as f:
                data = f.read()
            cursor = len(data) >= 4 and data[2] == 2
            try:
                if cursor:
                    chosen, theirs = pillow_cursor_frame(data)
                    frames = None
                else:
                    frames = pillow_icon_frames(data)
                    Image.open(io.BytesIO(data)).load()
            except Exception as e:  # Pillow refuses the file: not judged
                if verbose:
                    print(f"pillow refuses {os.path.basename(path)}: {e}")
                continue
            opened += 1
            source = path
            if rewrite:
                source = os.path.join(work, "rewritten.ico")
                if subprocess.run([cli, "convert", path, source], capture_output=True).returncode != 0:
                    source = None
            ours = our_images(cli, source, work) if source else None
            name = os.path.basename(path)
            if ours is None:
                refused += 1
                print(f"refused  {name}")
                continue
            if rewrite:
                # Saving sorts the formats: each of Pillow's images must be one of ours.
                wanted = [(theirs, True)] if cursor else [(t, False) for t in frames]
                ok = (cursor or len(ours) == len(frames)) and all(
                    any(same(o, t, c) for o in ours) for t, c in wanted)
            elif cursor:
                ok = chosen < len(ours) and same(ours[chosen], theirs, True)
            else:
                ok = len(ours) == len(frames) and all(same(o, t, False) for o, t in zip(ours, frames))
            if ok:
                matched += 1
            else:
                differ += 1
                print(f"differs  {name}")
    print(f"{opened} files Pillow opens: {matched} give its pixels, {differ} differ, {refused} refused")
    return 1 if differ else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

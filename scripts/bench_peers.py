"""The peers' side of scripts/bench jobs that take more than a line of Python.

  bench_peers.py icons OUTDIR SIZES PICTURE...   an .ico per picture with Pillow, two processes
  bench_peers.py iconset-magick LISTING PICTURE OUTDIR SCRIPT
      a shell script of one ImageMagick command that writes every PNG file of an icon set listed by
      `tellurine-cli iconset --json` (LISTING) from PICTURE into OUTDIR: each file the picture
      resized to its picture size, centred on its canvas, flattened where the set flattens it
"""
import json
import os
import sys
from multiprocessing import Pool

from PIL import Image


def make_icon(job):
    picture, outdir, sizes = job
    name = os.path.splitext(os.path.basename(picture))[0]
    Image.open(picture).save(os.path.join(outdir, name + ".ico"), sizes=[(s, s) for s in sizes])


if __name__ == "__main__" and sys.argv[1] == "icons":
    outdir, sizes = sys.argv[2], [int(s) for s in sys.argv[3].split(",")]
    with Pool(2) as pool:
        pool.map(make_icon, [(p, outdir, sizes) for p in sys.argv[4:]])


# The files of the set whose pictures are smaller than their canvas, as a fraction of the side, and
# those that are flattened onto the background.
SAFE_ZONES = {"ic_launcher_foreground.png": 66 / 108, "icon-maskable": 0.8}
FLATTENED = ("/ios/", "apple-touch-icon", "icon-maskable", "playstore")


def iconset_magick(listing, picture, outdir, script):
    steps = []
    dirs = set()
    for f in json.load(open(listing))["files"]:
        path = f["path"]
        if not path.endswith(".png"):
            continue
        target = os.path.join(outdir, path.split("/", 1)[1])  # the path within the set's folder
        dirs.add(os.path.dirname(target))
        w, h = f["width"], f["height"]
        side = min(w, h)
        for key, share in SAFE_ZONES.items():
            if key in path:
                side = round(side * share)
        step = f"\\( -clone 0 -resize {side}x{side}"
        if (w, h) != (side, side):
            step += f" -background none -gravity center -extent {w}x{h}"
        if any(key in path for key in FLATTENED):
            step += " -background white -alpha remove -alpha off"
        steps.append(step + f" -write '{target}' +delete \\)")
    with open(script, "w") as out:
        out.write("mkdir -p " + " ".join(f"'{d}'" for d in sorted(dirs)) + "\n")
        out.write(f"/usr/bin/convert '{picture}' " + " ".join(steps) + " null:\n")


if __name__ == "__main__" and sys.argv[1] == "iconset-magick":
    iconset_magick(*sys.argv[2:6])

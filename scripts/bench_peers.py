"""The peers' side of scripts/bench jobs that take more than a line of Python.

  bench_peers.py icons OUTDIR SIZES PICTURE...   an .ico per picture with Pillow, two processes
"""
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

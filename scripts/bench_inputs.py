"""Makes the deterministic inputs of scripts/bench in the folder given."""
import os
import random
import sys

from PIL import Image, ImageDraw, ImageFilter

out = sys.argv[1]


def photo(path, size=1024):
    """A photo-like picture: smooth gradients, soft shapes and fine noise, many distinct colours."""
    if os.path.exists(path):
        return
    rng = random.Random(1234)
    base = Image.linear_gradient("L").resize((size, size))
    img = Image.merge("RGB", (base, base.rotate(90), base.transpose(Image.Transpose.FLIP_LEFT_RIGHT)))
    draw = ImageDraw.Draw(img)
    for _ in range(60):
        x, y, r = rng.randrange(size), rng.randrange(size), rng.randrange(20, 200)
        colour = tuple(rng.randrange(256) for _ in range(3))
        draw.ellipse((x - r, y - r, x + r, y + r), fill=colour)
    img = img.filter(ImageFilter.GaussianBlur(6))
    noise = Image.effect_noise((size, size), 24).convert("RGB")
    img = Image.blend(img, noise, 0.12)
    img.save(path)


photo(os.path.join(out, "photo.png"))

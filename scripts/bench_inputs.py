"""Makes the deterministic inputs of scripts/bench in the folder given."""
import io
import math
import os
import random
import struct
import sys

from PIL import Image, ImageDraw, ImageFilter



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


def icon_picture(size=256):
    """An icon-like RGBA picture: a shaded rounded square with a symbol, soft edges, clear corners."""
    k = size / 256  # the design is drawn at 256 pixels and scaled
    grad = Image.linear_gradient("L").resize((size, size))
    body = Image.merge("RGB", (grad.rotate(90), Image.new("L", (size, size), 120), grad))
    shape = Image.new("L", (size, size), 0)
    draw = ImageDraw.Draw(shape)
    draw.rounded_rectangle((16 * k, 16 * k, size - 16 * k, size - 16 * k), radius=48 * k, fill=255)
    shape = shape.filter(ImageFilter.GaussianBlur(2 * k))
    ImageDraw.Draw(body).ellipse((72 * k, 72 * k, size - 72 * k, size - 72 * k), fill=(250, 240, 40))
    body.putalpha(shape)
    return body


def bitmap_entry(img):
    """A 32-bit image in bitmap form: header (height doubled), BGRA rows bottom-up, AND mask."""
    w, h = img.size
    header = struct.pack("<IiiHHIIiiII", 40, w, 2 * h, 1, 32, 0, 0, 0, 0, 0, 0)
    rows = img.transpose(Image.Transpose.FLIP_TOP_BOTTOM).tobytes("raw", "BGRA")
    mask_stride = (w + 31) // 32 * 4
    alpha = img.transpose(Image.Transpose.FLIP_TOP_BOTTOM).getchannel("A").tobytes()
    mask = bytearray(mask_stride * h)
    for y in range(h):
        for x in range(w):
            if alpha[y * w + x] == 0:
                mask[y * mask_stride + x // 8] |= 0x80 >> (x % 8)
    return header + rows + bytes(mask)


def seven_format_icon(path):
    """16, 24, 32, 48, 64 and 128 in bitmap form and 256 as PNG, all 32 bits, like a typical icon."""
    return write_icon(path, icon_picture(), (16, 24, 32, 48, 64, 128, 256))


def write_icon(path, master, sizes):
    """An icon of 32-bit formats of the given sizes, made from the square `master` by Lanczos
    resampling (its own size as it is): bitmap form below 256 pixels, PNG from 256 up."""
    images = []
    for size in sizes:
        img = master if size == master.width else master.resize((size, size), Image.Resampling.LANCZOS)
        if size >= 256:
            png = io.BytesIO()
            img.save(png, "png")
            images.append((size, png.getvalue()))
        else:
            images.append((size, bitmap_entry(img)))
    data = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    for size, blob in images:
        data += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(blob), offset)
        offset += len(blob)
    data += b"".join(blob for _, blob in images)
    with open(path, "wb") as f:
        f.write(data)
    return data


def family_inputs():
    """For writing a Macintosh icon family: a 1024 x 1024 icon picture, an icon holding it at every
    size a family has an element for (16, 32, 48, 128, 256, 512, 1024), the same sizes as PNGs for
    png2icns, and an icon of the 256 and 512 formats alone (the JPEG 2000 elements)."""
    master = icon_picture(1024)
    master.save(os.path.join(out, "big.png"))
    sizes = (16, 32, 48, 128, 256, 512, 1024)
    write_icon(os.path.join(out, "big.ico"), master, sizes)
    write_icon(os.path.join(out, "big-jp2.ico"), master, (256, 512))
    for size in sizes:
        img = master if size == 1024 else master.resize((size, size), Image.Resampling.LANCZOS)
        img.save(os.path.join(out, f"big-{size}.png"))


def drawing(path):
    """An icon drawing of the kind applications ship: a rounded square with a gradient, a soft
    shadow (a blur filter), a shape of curves and sixty small dots."""
    dots = "".join(f'<circle cx="{128 + 90 * math.cos(i / 60 * 2 * math.pi):.2f}" '
                   f'cy="{128 + 90 * math.sin(i / 60 * 2 * math.pi):.2f}" r="4" fill="#fff" fill-opacity="0.8"/>'
                   for i in range(60))
    with open(path, "w") as f:
        f.write(f"""<svg xmlns="http://www.w3.org/2000/svg" width="256" height="256" viewBox="0 0 256 256">
  <defs>
    <linearGradient id="g" x1="0" y1="0" x2="1" y2="1">
      <stop offset="0" stop-color="#3a8ee6"/><stop offset="1" stop-color="#1b3d8f"/>
    </linearGradient>
    <filter id="shadow"><feGaussianBlur stdDeviation="6"/></filter>
  </defs>
  <rect x="20" y="26" width="216" height="216" rx="48" fill="#000" fill-opacity="0.35" filter="url(#shadow)"/>
  <rect x="16" y="16" width="216" height="216" rx="48" fill="url(#g)"/>
  <path d="M70 180 C 90 60, 166 60, 186 180 S 120 220, 70 180 Z" fill="#ffd23f" stroke="#5a3b00" stroke-width="5"/>
  {dots}
</svg>
""")


if __name__ == "__main__":
    out = sys.argv[1]
    drawing(os.path.join(out, "drawing.svg"))
    photo(os.path.join(out, "photo.png"))
    family_inputs()
    # 100 pictures to make icons from: copies of the 1024 x 1024 icon picture.
    os.makedirs(os.path.join(out, "pictures100"), exist_ok=True)
    with open(os.path.join(out, "big.png"), "rb") as f:
        big = f.read()
    for i in range(100):
        with open(os.path.join(out, "pictures100", f"picture{i:03d}.png"), "wb") as f:
            f.write(big)
    icon = seven_format_icon(os.path.join(out, "icon7.ico"))
    os.makedirs(os.path.join(out, "icons200"), exist_ok=True)
    for i in range(200):
        with open(os.path.join(out, "icons200", f"icon{i:03d}.ico"), "wb") as f:
            f.write(icon)

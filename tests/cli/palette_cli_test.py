"""End-to-end tests of tellurine-cli palette: an .ase laid out here from the format's published layout is
converted to every format and each is listed back the same; a palette a format cannot hold is refused.
GIMP: GIMP 2.10's own palette loader reads a .gpl the tool wrote, names and colours.

Run by CTest as: python3 palette_cli_test.py PATH-TO-tellurine-cli
"""
import os
import shutil
import struct
import subprocess
import json
import unittest

from cli_support import ScratchCase, main, run

GIMP = shutil.which("gimp-console-2.10") or shutil.which("gimp-console")


def ase_name(text):
    units = text.encode("utf-16-be") + b"\0\0"
    return struct.pack(">H", len(units) // 2) + units


def ase_color(name, model, values):
    body = ase_name(name) + model + b"".join(struct.pack(">f", v) for v in values) + struct.pack(">H", 2)
    return struct.pack(">HI", 1, len(body)) + body


# Red (RGB), a group "Inks" holding cyan (CMYK) and a mid grey, then a colour outside the group.
ASE = (b"ASEF" + struct.pack(">HHI", 1, 0, 6) + ase_color("Red", b"RGB ", [1, 0, 0])
       + struct.pack(">HI", 0xC001, len(ase_name("Inks"))) + ase_name("Inks")
       + ase_color("Cyan ink", b"CMYK", [1, 0, 0, 0]) + ase_color("Grey", b"Gray", [0.5])
       + struct.pack(">HI", 0xC002, 0) + ase_color("Caf\u00e9", b"RGB ", [0, 0.2, 0.4]))
COLORS = [("#FF0000", "Red"), ("#00FFFF", "Cyan ink"), ("#808080", "Grey"), ("#003366", "Caf\u00e9")]


class PaletteTest(ScratchCase):
    def info(self, path):
        r = run("palette", "info", path, "--json")
        self.assertEqual(r.returncode, 0, r.stderr)
        return json.loads(r.stdout)

    def test_converts_to_every_format(self):
        source = self.write("swatches.ase", ASE)
        listed = self.info(source)
        self.assertEqual((listed["format"], listed["count"]), ("ase", 4))
        self.assertEqual([(c["hex"], c["name"]) for c in listed["colors"]], COLORS)
        self.assertEqual([c.get("group") for c in listed["colors"]], [None, "Inks", "Inks", None])
        # format written: (name, --format, format read back, names kept)
        for name, option, read_as, names in [("p.gpl", None, "gimp", True), ("p.pal", None, "jasc", False),
                                             ("r.pal", "riff", "riff", False), ("p.aco", None, "aco", True),
                                             ("v1.aco", "aco1", "aco1", False), ("p.ase", None, "ase", True),
                                             ("p.txt", None, "paintnet", False)]:
            with self.subTest(name):
                r = run("palette", "convert", source, self.path(name), *(["--format", option] if option else []))
                self.assertEqual(r.returncode, 0, r.stderr)
                back = self.info(self.path(name))
                self.assertEqual(back["format"], read_as)
                self.assertEqual([(c["hex"], c["name"]) for c in back["colors"]],
                                 [(h, n if names else "") for h, n in COLORS])
        # The palette takes its file's name where the format keeps one.
        self.assertIn("Name: swatches\n", self.read("p.gpl").decode())
        text = run("palette", "info", self.path("p.gpl")).stdout
        self.assertTrue(text.startswith(self.path("p.gpl") + ': gimp, 4 colours, "swatches"\n  0: #FF0000 Red\n'), text)

    def test_refusals(self):
        many = self.write("many.gpl", b"GIMP Palette\n" + b"1 2 3\n" * 97)
        r = run("palette", "convert", many, self.path("many.txt"))
        self.assertEqual(r.returncode, 1)
        self.assertIn("Paint.NET palettes hold at most 96 colours; this one has 97", r.stderr)
        self.assertFalse(os.path.exists(self.path("many.txt")))
        self.assertEqual(run("palette", "convert", many, self.path("x.png")).returncode, 2)
        r = run("palette", "info", self.write("cut.ase", ASE[:-10]))
        self.assertEqual(r.returncode, 1)
        self.assertIn(".ase block 5: runs past the end of the file", r.stderr)


# Script-Fu for GIMP's batch mode (its data folders loaded, so no -d): every entry of the palette
# "Judged" as an "entry|index|name|r g b" message, which batch mode prints on its standard error.
GIMP_SCRIPT = """
(let loop ((i 0))
  (when (< i (car (gimp-palette-get-info "Judged")))
    (let ((c (car (gimp-palette-entry-get-color "Judged" i))))
      (gimp-message (string-append "entry|" (number->string i) "|"
                                   (car (gimp-palette-entry-get-name "Judged" i)) "|"
                                   (number->string (car c)) " " (number->string (cadr c)) " "
                                   (number->string (caddr c)))))
    (loop (+ i 1))))
(gimp-quit 0)
"""


@unittest.skipIf(GIMP is None, "GIMP is not installed (scripts/setup-deps --judges)")
class GimpTest(ScratchCase):
    def test_gimp_reads_our_gpl(self):
        folder = self.path("gimp")
        os.makedirs(os.path.join(folder, "palettes"))
        source = self.write("Judged.ase", ASE)
        r = run("palette", "convert", source, os.path.join(folder, "palettes", "judged.gpl"))
        self.assertEqual(r.returncode, 0, r.stderr)
        done = subprocess.run([GIMP, "-i", "-f", "-b", "-"], input=GIMP_SCRIPT, text=True, capture_output=True,
                              timeout=240, env=dict(os.environ, GIMP2_DIRECTORY=folder))
        entries = [line.split("entry|", 1)[1] for line in (done.stdout + done.stderr).splitlines() if "entry|" in line]
        want = ["%d|%s|%d %d %d" % (i, n, int(h[1:3], 16), int(h[3:5], 16), int(h[5:7], 16))
                for i, (h, n) in enumerate(COLORS)]
        self.assertEqual(entries, want, done.stderr)


if __name__ == "__main__":
    main()

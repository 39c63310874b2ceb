"""The desktops' own thumbnail makers as the judges of tellurine-thumbnailer: with the thumbnailer
entry and the project's MIME types installed under a prefix of their own, each client must find
the entry for each kind of file, run the program and get back the picture `tellurine-cli extract`
gives of the format nearest the size, scaled to fit.

- GNOME's thumbnail factory (GnomeDesktop.DesktopThumbnailFactory, the code Nautilus makes
  thumbnails with), which runs the program in its bubblewrap sandbox where bwrap is installed;
  skipped unless python3-gi and gir1.2-gnomedesktop-3.0 are installed.
- Xfce's thumbnail service, tumbler, asked over D-Bus on a session bus of its own as Thunar asks
  it, with the desktop-file thumbnailers put before its own loaders as the README tells Xfce users
  to; skipped unless tumbler and dbus-run-session are installed.

scripts/setup-deps --judges installs them.

Run by CTest as: python3 desktop_judges_test.py PATH-TO-tellurine-thumbnailer PATH-TO-tellurine-cli
"""
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from PIL import Image, ImageChops

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "cli"))
from ani_pe_cli_test import animated_cursor, cursor  # noqa: E402
from icon_cli_test import picture  # noqa: E402
from pe_writer import write_program  # noqa: E402

THUMBNAILER, CLI = None, None
GNOME_READY = subprocess.run(
    ["/usr/bin/python3", "-c", "import gi; gi.require_version('GnomeDesktop', '3.0'); "
     "from gi.repository import GnomeDesktop"], capture_output=True).returncode == 0

TUMBLERD = "/usr/lib/x86_64-linux-gnu/tumbler-1/tumblerd"
TUMBLER_READY = os.path.exists(TUMBLERD) and shutil.which("dbus-run-session") is not None and subprocess.run(
    ["/usr/bin/python3", "-c", "from gi.repository import Gio"], capture_output=True).returncode == 0

# Run in a process of its own, whose data folders are set before GLib reads them: for each
# (path, size) the type GIO gives the file and the thumbnail the factory makes, saved as PNG.
FACTORY = """
import json, sys
import gi
gi.require_version("GnomeDesktop", "3.0")
from gi.repository import Gio, GnomeDesktop
sizes = {128: GnomeDesktop.DesktopThumbnailSize.NORMAL, 256: GnomeDesktop.DesktopThumbnailSize.LARGE}
results = []
for path, size, out in json.loads(sys.argv[1]):
    factory = GnomeDesktop.DesktopThumbnailFactory.new(sizes[size])
    with open(path, "rb") as f:
        mime = Gio.content_type_guess(path, f.read(4096))[0]
    uri = "file://" + path
    result = {"mime": mime, "can": factory.can_thumbnail(uri, mime, 0)}
    try:
        factory.generate_thumbnail(uri, mime, None).savev(out, "png", [], [])
    except Exception as e:
        result["error"] = str(e)
    results.append(result)
print(json.dumps(results))
"""


# Run on a session bus of its own, where D-Bus starts tumbler when it is first asked: the files are
# queued in one request at each size, and for each (path, size) the type GIO gives the file and any
# error tumbler tells; the thumbnails are in the cache folder, named by the MD5 of the URI.
TUMBLER = """
import json, sys
from gi.repository import Gio, GLib
jobs = json.loads(sys.argv[1])
bus = Gio.bus_get_sync(Gio.BusType.SESSION)
name = "org.freedesktop.thumbnails.Thumbnailer1"
proxy = Gio.DBusProxy.new_sync(bus, 0, None, name, "/org/freedesktop/thumbnails/Thumbnailer1", name, None)
results = {}
for path, size, out in jobs:
    with open(path, "rb") as f:
        results[path + str(size)] = {"mime": Gio.content_type_guess(path, f.read(4096))[0]}
loop = GLib.MainLoop()
errors = {}
def heard(proxy, sender, signal, parameters):
    if signal == "Error":
        for uri in parameters.unpack()[1]:
            errors[uri] = parameters.unpack()[3]
    if signal == "Finished":
        loop.quit()
proxy.connect("g-signal", heard)
for size, flavor in ((128, "normal"), (256, "large")):
    chosen = [(path, results[path + str(size)]["mime"]) for path, s, _ in jobs if s == size]
    uris = ["file://" + path for path, _ in chosen]
    errors.clear()
    proxy.call_sync("Queue", GLib.Variant("(asasssu)", (uris, [m for _, m in chosen], flavor, "foreground", 0)),
                    0, 60000, None)
    GLib.timeout_add_seconds(120, loop.quit)
    loop.run()
    for path, _ in chosen:
        if "file://" + path in errors:
            results[path + str(size)]["error"] = errors["file://" + path]
print(json.dumps([results[path + str(size)] for path, size, _ in jobs]))
"""


def nearest(files, size):
    """The extracted PNG of the format a thumbnail of `size` is made from: by the longest side, the
    smallest reaching the size, else the largest; then the deepest. Names end in -WxH-BPP.png."""
    def key(name):
        w, h, bpp = map(int, re.search(r"-(\d+)x(\d+)-(\d+)\.png$", name).groups())
        side = max(w, h)
        return (0, side, -bpp) if side >= size else (1, -side, -bpp)
    return min(files, key=key)


def premultiplied(im):
    """RGBA with the colours weighted by alpha: the colour of a clear pixel does not show."""
    r, g, b, a = im.convert("RGBA").split()
    return Image.merge("RGBA", [ImageChops.multiply(c, a) for c in (r, g, b)] + [a])


class DesktopClient:
    """What both judges share: the prefix with the entry, the MIME types and the program, the
    fixtures, and the comparison of each thumbnail with the extracted format."""

    def setUp(self):
        # The prefix lies beside the program, or in the user's cache when the program is under
        # /tmp: never under /tmp, where the sandbox mounts a folder of its own over whatever is there.
        base = os.path.dirname(os.path.realpath(THUMBNAILER))
        if base == "/tmp" or base.startswith("/tmp/"):
            base = os.path.join(os.path.expanduser("~"), ".cache")
            os.makedirs(base, exist_ok=True)
        self.prefix = tempfile.mkdtemp(dir=base, prefix="tellurine-gnome-judge-")
        self.addCleanup(shutil.rmtree, self.prefix)
        self.dir = os.path.join(self.prefix, "files")
        for folder in ("bin", "files", "share/thumbnailers", "share/mime/packages"):
            os.makedirs(os.path.join(self.prefix, folder))
        shutil.copy(THUMBNAILER, os.path.join(self.prefix, "bin"))
        data = os.path.join(HERE, "..", "..", "data")
        shutil.copy(os.path.join(data, "tellurine.thumbnailer"), os.path.join(self.prefix, "share/thumbnailers"))
        shutil.copy(os.path.join(data, "tellurine-mime.xml"), os.path.join(self.prefix, "share/mime/packages"))
        subprocess.run(["update-mime-database", os.path.join(self.prefix, "share/mime")], check=True,
                       capture_output=True)
        # The sandbox shows the program only /usr: a bwrap before the real one on the PATH shows it
        # the prefix as well, as /usr/local would be, and notes what it runs.
        self.log = os.path.join(self.prefix, "sandboxed")
        self.path = os.path.join(self.prefix, "bin") + os.pathsep + os.environ["PATH"]
        if shutil.which("bwrap"):
            os.makedirs(os.path.join(self.prefix, "shim"))
            shim = os.path.join(self.prefix, "shim", "bwrap")
            with open(shim, "w") as f:
                f.write(f'#!/bin/sh\necho "$@" >>"{self.log}"\n'
                        f'exec {shutil.which("bwrap")} --ro-bind "{self.prefix}" "{self.prefix}" "$@"\n')
            os.chmod(shim, 0o755)
            self.path = os.path.dirname(shim) + os.pathsep + self.path

    def file(self, name, data):
        path = os.path.join(self.dir, name)
        with open(path, "wb") as f:
            f.write(data)
        return path

    def cli(self, *args):
        result = subprocess.run([CLI, *args], capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, 0, result.stderr)

    def fixtures(self):
        """One file of each kind, named by the type GIO must give it: an icon of 16 to 256 pixels
        (32 and 8 bits), the same as a cursor, a family, a program and a 16-bit library; an
        animated cursor of a red frame, then a blue one."""
        picture(256, soft=True).save(os.path.join(self.dir, "art.png"))
        icon = os.path.join(self.dir, "icon.ico")
        self.cli("create", os.path.join(self.dir, "art.png"), "-o", icon, "--sizes", "16,32,48,256",
                 "--depths", "8,32", "--compress-256")
        with open(icon, "rb") as f:
            data = f.read()
        files = {"image/vnd.microsoft.icon": icon, "image/x-icns": os.path.join(self.dir, "family.icns")}
        self.cli("convert", icon, files["image/x-icns"], "--allow-loss")
        # The cursor: type 2, each entry's planes and bits read as a hotspot of 0, 0.
        entries = b"".join(data[e:e + 4] + bytes(4) + data[e + 8:e + 16] for e in range(6, 6 + 16 * data[4], 16))
        files["image/x-win-bitmap"] = self.file("cursor.cur", data[:2] + b"\2\0" + data[4:6] + entries +
                                                data[6 + 16 * data[4]:])
        files["application/x-ms-dos-executable"] = os.path.join(self.dir, "app.exe")
        write_program(files["application/x-ms-dos-executable"], [(1, 1033, data)])
        files["application/x-tellurine-icl"] = os.path.join(self.dir, "library.icl")
        self.cli("convert", files["application/x-ms-dos-executable"], files["application/x-tellurine-icl"])
        frames = [cursor((255, 0, 0, 255), (1, 1)), cursor((0, 0, 255, 255), (1, 1))]
        files["application/x-navi-animation"] = self.file("spin.ani", animated_cursor(frames, 2))
        return files

    def judge(self, files, jobs, results):
        """Each thumbnail against the format `tellurine-cli extract` gives, scaled to fit."""
        for (path, size, out), result, mime in zip(jobs, results, [m for m in files for _ in (0, 1)]):
            with self.subTest(file=os.path.basename(path), size=size):
                self.assertEqual(result["mime"], mime)
                self.assertNotIn("error", result)
                extracted = os.path.join(self.dir, os.path.basename(path) + "-extracted")
                if not os.path.isdir(extracted):
                    self.cli("extract", path, "-o", extracted)
                names = sorted(os.listdir(extracted))
                if mime == "application/x-navi-animation":
                    names = [n for n in names if n.startswith("spin-0-")]  # the first step
                with Image.open(os.path.join(extracted, nearest(names, size))) as im:
                    scale = min(1.0, size / max(im.size))
                    fit = tuple(max(1, round(v * scale)) for v in im.size)
                    expected = premultiplied(im.resize(fit, Image.Resampling.LANCZOS))
                with Image.open(out) as im:
                    self.assertEqual(im.size, fit)
                    got = premultiplied(im)
                difference = ImageChops.difference(got, expected)
                mean = sum(sum(i * n for i, n in enumerate(difference.histogram()[c * 256:(c + 1) * 256]))
                           for c in range(4)) / (4 * fit[0] * fit[1])
                self.assertLess(mean, 2.0)


@unittest.skipUnless(GNOME_READY, "GNOME's thumbnail factory (gir1.2-gnomedesktop-3.0) is not installed")
class GnomeFactoryTest(DesktopClient, unittest.TestCase):
    def test_the_factory_runs_the_thumbnailer_for_each_kind_and_gets_the_nearest_format_scaled(self):
        files = self.fixtures()
        jobs = [(path, size, f"{path}-{size}.thumb.png") for path in files.values() for size in (128, 256)]
        env = dict(os.environ, HOME=self.prefix, PATH=self.path,
                   XDG_DATA_DIRS=os.path.join(self.prefix, "share") + ":/usr/share")
        env.pop("XDG_DATA_HOME", None)
        env.pop("XDG_CACHE_HOME", None)
        done = subprocess.run(["/usr/bin/python3", "-c", FACTORY, json.dumps(jobs)], env=env, capture_output=True,
                              text=True, timeout=300)
        self.assertEqual(done.returncode, 0, done.stderr)
        results = json.loads(done.stdout)
        for (path, size, _), result in zip(jobs, results):
            self.assertTrue(result["can"], f"no thumbnailer for {path} at {size}")
        self.judge(files, jobs, results)
        if os.path.exists(self.log):
            with open(self.log) as f:
                self.assertEqual(f.read().count(" tellurine-thumbnailer -s "), len(jobs))


@unittest.skipUnless(TUMBLER_READY, "Xfce's thumbnail service (tumbler, dbus) is not installed")
class TumblerTest(DesktopClient, unittest.TestCase):
    def test_tumbler_runs_the_thumbnailer_for_each_kind_and_gets_the_nearest_format_scaled(self):
        files = self.fixtures()
        cache = os.path.join(self.prefix, "cache")
        # The desktop-file thumbnailers before tumbler's own loaders (gdk-pixbuf reads some icons
        # too), in the user's own tumbler.rc.
        config = os.path.join(self.prefix, "config")
        os.makedirs(os.path.join(config, "tumbler"))
        with open(os.path.join(config, "tumbler", "tumbler.rc"), "w") as f:
            f.write("[DesktopThumbnailer]\nDisabled=false\nPriority=4\nLocations=\nExcludes=\nMaxFileSize=0\n")
        jobs = [(path, size, os.path.join(cache, "thumbnails", "normal" if size == 128 else "large",
                                          hashlib.md5(("file://" + path).encode()).hexdigest() + ".png"))
                for path in files.values() for size in (128, 256)]
        env = dict(os.environ, HOME=self.prefix, PATH=self.path, XDG_CACHE_HOME=cache, XDG_CONFIG_HOME=config,
                   XDG_DATA_DIRS=os.path.join(self.prefix, "share") + ":/usr/share")
        env.pop("XDG_DATA_HOME", None)
        env.pop("DBUS_SESSION_BUS_ADDRESS", None)
        done = subprocess.run(["dbus-run-session", "--", "/usr/bin/python3", "-c", TUMBLER, json.dumps(jobs)],
                              env=env, capture_output=True, text=True, timeout=300)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.judge(files, jobs, json.loads(done.stdout.strip().splitlines()[-1]))


def main():
    global THUMBNAILER, CLI
    THUMBNAILER, CLI = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main(verbosity=2)


if __name__ == "__main__":
    main()

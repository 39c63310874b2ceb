#!/usr/bin/env bash
# cmake --install into a fresh prefix, then what a Linux desktop reads from there to offer
# Tellurine in "Open with" for icon files: a valid .desktop file naming the types, the types known
# to the shared MIME database by name and content, and the program's icon at every theme size.
#   install_test.sh BUILD-DIR
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/tellurine bin/tellurine-cli bin/tellurine-thumbnailer share/applications/tellurine.desktop \
         share/mime/packages/tellurine.xml share/thumbnailers/tellurine.thumbnailer share/tellurine/tellurine.ico; do
  [[ -e "$prefix/$f" ]] || fail "$f not installed"
done
desktop-file-validate "$prefix/share/applications/tellurine.desktop" || fail "the .desktop file is not valid"
grep -q '^Exec=tellurine %F$' "$prefix/share/applications/tellurine.desktop" || fail "Exec line"

# The databases a desktop builds from the installed files.
update-mime-database "$prefix/share/mime" >/dev/null 2>&1 || fail "update-mime-database"
update-desktop-database "$prefix/share/applications" || fail "update-desktop-database"
for type in image/vnd.microsoft.icon image/x-win-bitmap application/x-navi-animation image/x-icns; do
  grep -q "^$type=.*tellurine.desktop" "$prefix/share/applications/mimeinfo.cache" || fail "$type does not offer Tellurine"
done
for glob in '*.ico' '*.cur' '*.ani' '*.icns' '*.icl' '*.rsrc'; do
  grep -q ":${glob//\*/\\*}" "$prefix/share/mime/globs2" || fail "no type for $glob"
done

# The icon theme holds the program's icon, made by tellurine-cli, at each size.
/usr/bin/python3 - "$prefix" <<'PY' || fail "icon theme"
import sys
from PIL import Image
for size in (16, 24, 32, 48, 64, 128, 256):
    im = Image.open(f"{sys.argv[1]}/share/icons/hicolor/{size}x{size}/apps/tellurine.png")
    assert im.size == (size, size) and im.mode == "RGBA", (size, im.size, im.mode)
    assert im.getpixel((0, 0))[3] == 0 and im.getpixel((size // 2, size // 2))[3] > 200, size
ico = Image.open(f"{sys.argv[1]}/share/tellurine/tellurine.ico")
assert (256, 256) in ico.info["sizes"], ico.info["sizes"]
PY
"$prefix/bin/tellurine-cli" info "$prefix/share/tellurine/tellurine.ico" | grep -q '256x256, 32 bpp.*png' || fail "the installed icon"
echo "1 passed, 0 failed"

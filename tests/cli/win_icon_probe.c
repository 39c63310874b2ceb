/* Asks Windows itself (run by Wine in the tests) what it makes of the icons of a program, a
 * library or an icon library, so that wine_judge_test.py can compare it with what was written.
 *
 *   win_icon_probe groups MODULE                 one line per group, in the order the loader
 *                                                enumerates them: "icon 1", "icon NAME", "cursor 7"
 *   win_icon_probe pixels MODULE GROUP SIZE OUT  the image of icon group GROUP (a number, or a name)
 *                                                that Windows picks for SIZE x SIZE, written to OUT as
 *                                                SIZE rows of 32-bit BGRA pixels, top row first, then
 *                                                SIZE rows of the AND mask, one byte a pixel (0 or 1);
 *                                                prints "picked ID WIDTH HEIGHT BITS" (the group entry)
 *   win_icon_probe extract FILE INDEX SIZE OUT   the same for the icon at INDEX of FILE as the shell
 *                                                extracts it (icon libraries too)
 *   win_icon_probe count FILE                    the number of icons the shell lists in FILE
 *
 * Built with: x86_64-w64-mingw32-gcc -municode -o win_icon_probe.exe win_icon_probe.c -lgdi32 -luser32 -lshell32
 */
#include <windows.h>
#include <shellapi.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

static int fail(const char* what, const wchar_t* detail)
{
    fprintf(stderr, "win_icon_probe: %s %ls (error %lu)\n", what, detail ? detail : L"", GetLastError());
    return 1;
}

/* Names are printed as UTF-8, numbers as decimal. */
static void print_name(const char* kind, LPCWSTR name)
{
    if (IS_INTRESOURCE(name)) {
        printf("%s %u\n", kind, (unsigned)(ULONG_PTR)name);
        return;
    }
    char utf8[1024];
    int n = WideCharToMultiByte(CP_UTF8, 0, name, -1, utf8, sizeof utf8, NULL, NULL);
    printf("%s %s\n", kind, n > 0 ? utf8 : "?");
}

static BOOL CALLBACK list_group(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR kind)
{
    (void)module;
    (void)type;
    print_name((const char*)kind, name);
    return TRUE;
}

static HMODULE load_data(const wchar_t* path)
{
    return LoadLibraryExW(path, NULL, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
}

static int groups(const wchar_t* path)
{
    HMODULE module = load_data(path);
    if (!module)
        return fail("cannot load", path);
    /* A module without a type is not an error here: it lists nothing for that type. */
    EnumResourceNamesW(module, RT_GROUP_ICON, list_group, (LONG_PTR) "icon");
    EnumResourceNamesW(module, RT_GROUP_CURSOR, list_group, (LONG_PTR) "cursor");
    FreeLibrary(module);
    return 0;
}

/* A group given on the command line: all digits is a number, anything else a name. */
static LPCWSTR group_name(const wchar_t* text)
{
    if (*text && wcsspn(text, L"0123456789") == wcslen(text))
        return MAKEINTRESOURCEW(_wtoi(text));
    return text;
}

static const void* resource_bytes(HMODULE module, LPCWSTR name, LPCWSTR type, DWORD* size)
{
    HRSRC found = FindResourceW(module, name, type);
    if (!found)
        return NULL;
    HGLOBAL loaded = LoadResource(module, found);
    *size = SizeofResource(module, found);
    return loaded ? LockResource(loaded) : NULL;
}

/* The icon's colour pixels at SIZE x SIZE as 32-bit BGRA rows, top row first, then its AND mask,
 * a byte a pixel (1 where the bit is set), written to OUT. */
static int write_icon(HICON icon, int size, const wchar_t* out)
{
    ICONINFO info;
    if (!GetIconInfo(icon, &info))
        return fail("GetIconInfo failed for", out);
    BITMAPINFO bmi;
    memset(&bmi, 0, sizeof bmi);
    bmi.bmiHeader.biSize = sizeof bmi.bmiHeader;
    bmi.bmiHeader.biWidth = size;
    bmi.bmiHeader.biHeight = -size; /* top-down */
    bmi.bmiHeader.biPlanes = 1;
    bmi.bmiHeader.biBitCount = 32;
    bmi.bmiHeader.biCompression = BI_RGB;
    size_t pixelCount = (size_t)size * (size_t)size;
    DWORD* colour = calloc(pixelCount, 4);
    DWORD* mask = calloc(pixelCount, 4);
    HDC dc = GetDC(NULL);
    int ok = colour && mask && info.hbmColor && info.hbmMask &&
             GetDIBits(dc, info.hbmColor, 0, size, colour, &bmi, DIB_RGB_COLORS) == size;
    /* GetDIBits may change the header: the mask is read as 32-bit pixels too, white where set. */
    bmi.bmiHeader.biHeight = -size;
    bmi.bmiHeader.biBitCount = 32;
    bmi.bmiHeader.biCompression = BI_RGB;
    ok = ok && GetDIBits(dc, info.hbmMask, 0, size, mask, &bmi, DIB_RGB_COLORS) == size;
    ReleaseDC(NULL, dc);
    FILE* f = ok ? _wfopen(out, L"wb") : NULL;
    if (f) {
        fwrite(colour, 4, pixelCount, f);
        for (size_t i = 0; i < pixelCount; ++i)
            fputc((mask[i] & 0xFFFFFF) ? 1 : 0, f);
        ok = fclose(f) == 0;
    }
    DeleteObject(info.hbmColor);
    DeleteObject(info.hbmMask);
    free(colour);
    free(mask);
    return ok && f ? 0 : fail("cannot read the bitmaps of the icon or write", out);
}

static int pixels(const wchar_t* path, const wchar_t* group, int size, const wchar_t* out)
{
    HMODULE module = load_data(path);
    if (!module)
        return fail("cannot load", path);
    DWORD groupSize = 0;
    const BYTE* directory = resource_bytes(module, group_name(group), RT_GROUP_ICON, &groupSize);
    if (!directory)
        return fail("no icon group", group);
    int id = LookupIconIdFromDirectoryEx((PBYTE)directory, TRUE, size, size, LR_DEFAULTCOLOR);
    if (id == 0)
        return fail("no icon picked in group", group);

    /* The group entry of the picked icon, to tell what was picked. */
    int width = 0, height = 0, bits = 0;
    WORD count = groupSize >= 6 ? *(const WORD*)(directory + 4) : 0;
    for (WORD i = 0; i < count && 6u + 14u * (i + 1u) <= groupSize; ++i) {
        const BYTE* entry = directory + 6 + 14 * i;
        if (*(const WORD*)(entry + 12) == id) {
            width = entry[0] ? entry[0] : 256;
            height = entry[1] ? entry[1] : 256;
            bits = *(const WORD*)(entry + 6);
        }
    }

    DWORD imageSize = 0;
    const BYTE* image = resource_bytes(module, MAKEINTRESOURCEW(id), RT_ICON, &imageSize);
    if (!image)
        return fail("no icon image for group", group);
    HICON icon = CreateIconFromResourceEx((PBYTE)image, imageSize, TRUE, 0x00030000, size, size, LR_DEFAULTCOLOR);
    if (!icon)
        return fail("Windows cannot make an icon of the image picked in group", group);
    int result = write_icon(icon, size, out);
    if (result == 0)
        printf("picked %d %d %d %d\n", id, width, height, bits);
    DestroyIcon(icon);
    FreeLibrary(module);
    return result;
}

/* The icon the shell extracts from FILE at INDEX (any file it reads icons from, icon libraries too). */
static int extract(const wchar_t* path, int index, int size, const wchar_t* out)
{
    HICON icon = NULL;
    UINT id = 0;
    if (PrivateExtractIconsW(path, index, size, size, &icon, &id, 1, LR_DEFAULTCOLOR) != 1 || !icon)
        return fail("the shell extracts no icon from", path);
    int result = write_icon(icon, size, out);
    DestroyIcon(icon);
    return result;
}

static int count(const wchar_t* path)
{
    UINT n = ExtractIconExW(path, -1, NULL, NULL, 0);
    printf("%u\n", n);
    return 0;
}

int wmain(int argc, wchar_t** argv)
{
    if (argc == 3 && wcscmp(argv[1], L"groups") == 0)
        return groups(argv[2]);
    if (argc == 6 && wcscmp(argv[1], L"pixels") == 0)
        return pixels(argv[2], argv[3], _wtoi(argv[4]), argv[5]);
    if (argc == 6 && wcscmp(argv[1], L"extract") == 0)
        return extract(argv[2], _wtoi(argv[3]), _wtoi(argv[4]), argv[5]);
    if (argc == 3 && wcscmp(argv[1], L"count") == 0)
        return count(argv[2]);
    fprintf(stderr, "usage: win_icon_probe groups MODULE | pixels MODULE GROUP SIZE OUT | "
                    "extract FILE INDEX SIZE OUT | count FILE\n");
    return 2;
}

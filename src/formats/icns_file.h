// Macintosh icon families: ".icns" files, and the families inside Macintosh resource files and
// MacBinary files. A family becomes one icon group whose formats are its images; an icon project
// is written as one family.
//
// Family layout (integers big-endian): "icns" (or "odrp"), the total length including this
// 8-byte header, then elements: a 4-character type, a length including the element's 8-byte
// header, and the data.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "icon/icon_doc.h"
#include "icon/icon_group.h"

namespace tellurine {

// Largest family and largest element that are read.
inline constexpr std::uint32_t kMaxIcnsLength = 4194304;
// The most elements walked in one family (real ones hold a few dozen), and the most families
// read from one resource or MacBinary file.
inline constexpr int kMaxIcnsElements = 16384;
inline constexpr std::size_t kMaxMacFamilies = 1024;
// Largest picture a PNG or JPEG 2000 element may decode to, and the most pixel bytes one family,
// or all the families of one resource or MacBinary file, may decode to in all.
inline constexpr std::int64_t kMaxIcnsStreamPixels = std::int64_t{4096} * 4096;
inline constexpr std::size_t kMaxIcnsDecodedBytes = std::size_t{128} * 1024 * 1024;

// Where the family of a ".icns" file starts: at 0 when the file starts with "icns"; otherwise at
// the first "icns" found scanning forward one byte at a time, from 128 when the file starts with
// four zero bytes (a MacBinary header), else from 0. Nothing when there is none.
std::optional<std::size_t> LocateIcnsFamily(std::span<const std::uint8_t> file);

// Every family start in a resource or MacBinary file, in file order. When the 4 bytes at offset
// 102 are "mBIN" (MacBinary III) the data starts at 128. The data is scanned in blocks of
// 524,288 bytes for "icns" and "odrp"; an occurrence that straddles two blocks is not found, and
// only positions below the data length minus 3,072 count. Offsets are from the start of `file`.
std::vector<std::size_t> FindIcnsFamilies(std::span<const std::uint8_t> file);

// The number of pictures a family holds, counting elements the way the reader walks them: the
// classic colour elements, the later elements, and any other element whose data is a PNG or
// JPEG 2000 stream (masks are not counted).
int CountIcnsImages(std::span<const std::uint8_t> family);

// Why an element that holds a picture gave no image.
enum class IcnsSkipReason {
    Damaged,      // its data has neither the size nor the form its type holds
    NoMask,       // it needs a mask element that the family lacks (or holds damaged)
    BadStream,    // its PNG or JPEG 2000 stream cannot be decoded
    UnknownData,  // neither a stream nor any other form its type can hold
    TooLarge,     // over the limits on one picture or on what a family may decode to
};

// An element left out of a family, and why. Mask elements are listed when their data is damaged.
struct IcnsSkippedElement {
    std::uint32_t type = 0;
    std::size_t offset = 0;  // of the element's 8-byte header, from the start of what was read
    IcnsSkipReason reason = IcnsSkipReason::Damaged;
};

// A few words for the reason: "damaged data", "no mask element", "undecodable stream",
// "unknown data", "over the size limit".
const char* IcnsSkipReasonText(IcnsSkipReason reason);

// Reads the family that starts at the first byte of `family` and appends one image per element
// that holds a picture and decodes; the elements that do not are skipped one by one and, when
// `skipped` is given, listed there in file order (offsets from the start of `family`).
//  - Classic colour elements need their mask, except the 32-bit ones stored unpacked: "is32",
//    "il32", "ih32", "it32" whose data is exactly width x height x 4 bytes, a padding byte and
//    red, green, blue for each pixel; their alpha comes from the 8-bit mask when the family holds
//    it, else they are opaque.
//  - Later elements: a PNG or JPEG 2000 stream, "ARGB" and four packed planes, or (up to 128
//    pixels, "icp4" and "icp5" as some tools wrote them) three packed planes like "is32" with the
//    8-bit mask of their size.
//  - Any element whose data is a PNG or JPEG 2000 stream is read as that stream, whatever its
//    type ("il32", "is32", or a type of no table at all), at the stream's own size.
// True when at least one image was made; the group is unchanged otherwise.
bool ReadIcnsFamily(std::span<const std::uint8_t> family, CIconGroup& group,
                    std::vector<IcnsSkippedElement>* skipped = nullptr);

// How new large elements are stored: by default "ic08", "ic09", "ic13" and "ic14" are JPEG 2000
// streams; current Mac tools write PNG, which `pngStreams` asks for.
struct IcnsWriteOptions {
    bool pngStreams = false;
};

// The element each format of the project is written as, in the project's order; 0 for a format
// that a family cannot hold. A format keeps the element it was read from, or that the user chose,
// while that element fits its size and depth and no earlier format keeps it; every other format
// takes the first free element that fits it (see MacElementsFor): so the first 32 x 32 true-colour
// format becomes "il32", a second one "ic11" (16 @2x), and a 64 x 64 one "ic12" (32 @2x).
std::vector<std::uint32_t> AssignMacElements(const CIconDoc& doc);
// The scale of the element a format of a Macintosh project is written as (2 for "@2x"); 1 for
// any other format and for any format of a Windows project.
int MacScaleOf(const CIconDoc& doc, int index);
// Gives a format of the project the element the user chose for it; a format that held that
// element lets it go (and takes another that fits when the family is written).
void ChooseMacElement(CIconDoc& doc, int index, std::uint32_t type);
// An element for a choice of elements: "ic13 (128 x 128 @2x)", "il32 (32 x 32)".
std::string MacElementText(std::uint32_t type);
// The size a format list shows: "W x H", or for a format of a Macintosh project written as an
// "@2x" element its size in points and "@2x" ("32 x 32 @2x" for a 64 x 64 format in "ic12").
std::string FormatSizeText(const CIconDoc& doc, int index);

// Writes the project's formats as one family, each as the element AssignMacElements gives it:
//  - 1 bit: the 1-bit element, image and mask; 4 and 8 bits: indexed through the system palette
//    of the depth, their 1-bit mask in the 1-bit element when the project has a 1-bit format of
//    that size, else in the mask-only element ("ICNm", "icsm", "icmm", "ichm");
//  - true colour up to 128 pixels in a classic element: three packed planes with the 8-bit mask
//    element of the size ("it32" after four zero bytes);
//  - "ic04", "ic05": "ARGB" and four packed planes; "icp4".."icp6", "ic07", "ic11", "ic12" and
//    "ic10": PNG; "ic08", "ic09", "ic13", "ic14": JPEG 2000, or PNG when the picture was read from
//    a PNG stream or `options` ask for it.
// A picture unchanged since it was read from a stream is written as that stream, byte for byte.
// Elements go in the table's order, then the true-colour elements smallest first. The indices of
// the formats left out are put in `leftOut`. False, with `out` empty, when no format could be
// written or memory runs out.
bool WriteIcnsFamily(const CIconDoc& doc, std::vector<std::uint8_t>& out, std::vector<int>* leftOut = nullptr,
                     const IcnsWriteOptions& options = {});

// A family found in a resource or MacBinary file. Its name is the resource's name when it has
// one, else its resource number; a family that no resource map accounts for is named after its
// offset in the file ("@" and the decimal offset).
struct MacIconFamily {
    std::string name;
    std::optional<std::int32_t> number;  // the resource number, when the name is one
    std::size_t offset = 0;
    CIconGroup group;
    std::vector<IcnsSkippedElement> skipped;  // offsets from the start of the file
};

// The families of a resource or MacBinary file that hold at least one image, in file order (of
// the first kMaxMacFamilies found).
std::vector<MacIconFamily> ReadMacResourceFamilies(std::span<const std::uint8_t> file);

// Reads a ".icns" file's family into the document's formats and sets its Macintosh flag. False
// (document emptied) when no family is found or it holds no image. `skipped`, when given, lists
// the elements of the family read that were left out (offsets from the start of the file); it is
// emptied on failure.
bool ReadIcnsFile(std::span<const std::uint8_t> file, CIconDoc& doc, std::vector<IcnsSkippedElement>* skipped = nullptr);

// One picture of a family as a listing tells it: its element and the format it reads as.
struct IcnsPictureFormat {
    std::uint32_t type = 0;
    std::size_t offset = 0;  // of the element's 8-byte header, from the start of the family
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::uint32_t colors = 0;  // colour-table entries; 0 for true colour
    bool alpha = false;
    std::size_t blockSize = 0;  // of the image it reads as
};

// The pictures ReadIcnsFamily reads, in the same order, without decoding a PNG or JPEG 2000
// stream: such an element is listed at its header's size (PNG's IHDR; JPEG 2000's "ihdr" box or
// codestream size marker), 32 bits with alpha, so a stream damaged past its header is listed here
// and only found to fail when it is decoded. Every other picture (packed planes, indexed and 1-bit
// elements) is small, and made to learn its format. False when ReadIcnsFamily would be.
bool DescribeIcnsFamily(std::span<const std::uint8_t> family, std::vector<IcnsPictureFormat>& formats);
// The same for the family ReadIcnsFile reads: where it starts in the file, or nothing.
std::optional<std::size_t> DescribeIcnsFile(std::span<const std::uint8_t> file,
                                             std::vector<IcnsPictureFormat>& formats);

// A family of a resource or MacBinary file as listed (see MacIconFamily and DescribeIcnsFamily).
struct MacFamilyListing {
    std::string name;
    std::optional<std::int32_t> number;
    std::size_t offset = 0;
    std::vector<IcnsPictureFormat> formats;  // offsets from the family's start
};
// The families ReadMacResourceFamilies reads, listed as DescribeIcnsFamily lists them.
std::vector<MacFamilyListing> DescribeMacResourceFamilies(std::span<const std::uint8_t> file);

// Decodes the one picture of the family whose element starts at `offset` (as listed), to the image
// ReadIcnsFamily makes of it, reading only that element and the masks. False when it gives none.
// With `atLeast`, the picture is only to be looked at (a tile, a fingerprint): a JPEG 2000 element
// may then be decoded smaller, its sides at least that, and keeps no stream.
bool ReadIcnsPicture(std::span<const std::uint8_t> family, std::size_t offset, CKvIcon& icon, std::int32_t atLeast = 0);

}  // namespace tellurine

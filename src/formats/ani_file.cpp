#include "formats/ani_file.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <new>
#include <utility>

#include "icon/kv_icon.h"
#include "image/bytes.h"
#include "image/dib_block.h"
#include "image/file_io.h"

namespace tellurine {

namespace {

constexpr std::size_t kChunkHeaderSize = 8;
constexpr std::uint32_t kAnihSize = 36;
constexpr std::uint32_t kFramesAreIcons = 1;  // anih flag bit 0
constexpr std::uint32_t kMaxInfoText = 80;
constexpr std::size_t kIconDirHeaderSize = 6;
constexpr std::size_t kIconDirEntrySize = 16;

constexpr std::uint32_t FourCc(const char (&id)[5]) {
    return std::uint32_t{static_cast<std::uint8_t>(id[0])} | (std::uint32_t{static_cast<std::uint8_t>(id[1])} << 8) |
           (std::uint32_t{static_cast<std::uint8_t>(id[2])} << 16) |
           (std::uint32_t{static_cast<std::uint8_t>(id[3])} << 24);
}

constexpr std::uint32_t kRiff = FourCc("RIFF");
constexpr std::uint32_t kAcon = FourCc("ACON");
constexpr std::uint32_t kAnih = FourCc("anih");
constexpr std::uint32_t kRate = FourCc("rate");
constexpr std::uint32_t kSeq = FourCc("seq ");
constexpr std::uint32_t kList = FourCc("LIST");
constexpr std::uint32_t kFram = FourCc("fram");
constexpr std::uint32_t kInfo = FourCc("INFO");
constexpr std::uint32_t kIcon = FourCc("icon");
constexpr std::uint32_t kInam = FourCc("INAM");
constexpr std::uint32_t kIart = FourCc("IART");

// One "icon" sub-chunk of the frame list: a complete icon or cursor file, left in the input.
struct AniFrameBlock {
    std::array<char, 4> tag{'i', 'c', 'o', 'n'};
    std::span<const std::uint8_t> data;
    std::uint32_t size = 0;
    std::uint32_t byteSum = 0;  // 32-bit sum of the data bytes; informative only
};

// What one walk over the file found. The rate and sequence tables hold only the entries the file
// gave (at most one per step); a step past them takes the defaults: the header's rate, and its
// own number as its frame index. Nothing here is sized from a declared count.
struct AniParse {
    bool haveHeader = false;
    std::uint32_t frameCount = 0;
    std::uint32_t stepCount = 0;
    std::uint32_t defaultRate = 0;
    std::vector<std::uint32_t> rates;
    std::vector<std::uint32_t> sequence;
    std::vector<AniFrameBlock> frames;  // frames read, in file order, at most frameCount
    std::string title;
    std::string author;

    [[nodiscard]] std::uint32_t Rate(std::uint32_t step) const {
        return step < rates.size() ? rates[step] : defaultRate;
    }
    [[nodiscard]] std::uint32_t FrameIndex(std::uint32_t step) const {
        return step < sequence.size() ? sequence[step] : step;
    }
    // The step's frame, or nothing when its index points past the frames read. Resolving here,
    // after the walk, links steps the same whether "seq " comes before or after the frames.
    [[nodiscard]] const AniFrameBlock* Frame(std::uint32_t step) const {
        const std::uint32_t index = FrameIndex(step);
        return index < frames.size() ? &frames[index] : nullptr;
    }
};

std::uint64_t Padded(std::uint32_t size) { return std::uint64_t{size} + (size & 1); }

// The entries of a "rate" or "seq " chunk: one per step, as many as the chunk holds whole.
void ReadTable(std::span<const std::uint8_t> data, std::uint32_t steps, std::vector<std::uint32_t>& table) {
    const std::size_t count = std::min<std::size_t>(data.size() / 4, steps);
    table.assign(count, 0);
    for (std::size_t i = 0; i < count; ++i) table[i] = LoadU32(data.data() + 4 * i);
}

// The text of an "INAM" or "IART" sub-chunk in UTF-8: its bytes up to the first zero, without the
// spaces around them, kept when they are UTF-8 and otherwise read as Latin-1.
std::string InfoText(std::span<const std::uint8_t> data) {
    const auto isSpace = [](std::uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    auto begin = data.begin(), end = std::find(data.begin(), data.end(), std::uint8_t{0});
    while (begin != end && isSpace(*begin)) ++begin;
    while (end != begin && isSpace(end[-1])) --end;
    std::string text(begin, end);
    if (IsUtf8(text)) return text;
    std::string latin;
    for (const std::uint8_t c : text) AppendUtf8(latin, c);
    return latin;
}

bool ReadHeader(std::span<const std::uint8_t> data, AniParse& p) {
    if (p.haveHeader || data.size() < kAnihSize) return false;
    const std::uint8_t* h = data.data();
    p.frameCount = LoadU32(h + 4);
    p.stepCount = LoadU32(h + 8);
    p.defaultRate = LoadU32(h + 28);
    const std::uint32_t flags = LoadU32(h + 32);
    if (p.frameCount == 0 || p.frameCount > kMaxAniFrames || p.stepCount == 0 || p.stepCount > kMaxAniSteps ||
        (flags & kFramesAreIcons) == 0)
        return false;
    p.haveHeader = true;
    return true;
}

// Walks the sub-chunks of a "fram" or "INFO" list whose data (after the list type) starts at
// `pos` and spans `left` bytes, counting the list's pad byte.
bool WalkList(std::span<const std::uint8_t> bytes, std::uint32_t type, std::uint64_t pos, std::int64_t left,
              AniParse& p) {
    const std::uint64_t end = bytes.size();
    while (left >= static_cast<std::int64_t>(kChunkHeaderSize)) {
        if (pos > end || end - pos < kChunkHeaderSize) return false;
        const std::uint32_t id = LoadU32(bytes.data() + pos);
        const std::uint32_t size = LoadU32(bytes.data() + pos + 4);
        const std::uint64_t data = pos + kChunkHeaderSize;
        const std::int64_t room = left - static_cast<std::int64_t>(kChunkHeaderSize);

        if (type == kFram && id == kIcon) {
            // The frame must be in the file; it may run past its list, which only ends the walk.
            if (size > end - data) return false;
            if (p.frames.size() < p.frameCount) {
                AniFrameBlock frame;
                frame.data = bytes.subspan(data, size);
                frame.size = size;
                for (const std::uint8_t b : frame.data) frame.byteSum += b;
                p.frames.push_back(frame);
            }
        } else if (type == kInfo && (id == kInam || id == kIart)) {
            // The text must lie in its list and in the file: a list may claim more than the file holds.
            if (size > kMaxInfoText || static_cast<std::int64_t>(size) > room || size > end - data) return false;
            (id == kInam ? p.title : p.author) = InfoText(bytes.subspan(data, size));
        }
        left = room - static_cast<std::int64_t>(Padded(size));
        pos = data + Padded(size);
    }
    return true;
}

// The walk over the top-level chunks. Afterwards the file must have had a header and at least one
// frame that some step shows.
bool Parse(std::span<const std::uint8_t> bytes, AniParse& p) {
    if (bytes.size() < 12 || LoadU32(bytes.data()) != kRiff || LoadU32(bytes.data() + 8) != kAcon) return false;
    // The RIFF size is not consulted: chunks are read up to the end of the input.
    const std::uint64_t end = bytes.size();
    std::uint64_t pos = 12;
    while (pos <= end && end - pos >= kChunkHeaderSize) {
        const std::uint32_t id = LoadU32(bytes.data() + pos);
        const std::uint32_t size = LoadU32(bytes.data() + pos + 4);
        const std::uint64_t at = pos + kChunkHeaderSize;
        if (size > end - at) return false;
        const std::span<const std::uint8_t> data = bytes.subspan(at, size);

        if (id == kAnih) {
            if (!ReadHeader(data, p)) return false;
        } else if (id == kRate || id == kSeq) {
            // Before the header the step count is unknown: the table is skipped.
            if (p.haveHeader) ReadTable(data, p.stepCount, id == kRate ? p.rates : p.sequence);
        } else if (id == kList) {
            if (size < 4) return false;
            const std::uint32_t type = LoadU32(data.data());
            const auto left = static_cast<std::int64_t>(Padded(size)) - 4;
            // Frames before the header cannot be known to be icon files: that list is skipped.
            if (((type == kFram && p.haveHeader) || type == kInfo) && !WalkList(bytes, type, at + 4, left, p))
                return false;
        }
        pos = at + Padded(size);
    }

    if (!p.haveHeader || p.frames.empty()) return false;
    for (std::uint32_t step = 0; step < p.stepCount; ++step)
        if (p.Frame(step) != nullptr) return true;
    return false;
}

// A frame turned into a step's picture, kept while steps still show it.
struct DecodedFrame {
    Block dib;  // 32 bits with alpha
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bitDepth = 0;
    std::uint32_t hotspotX = 0;
    std::uint32_t hotspotY = 0;
    std::uint32_t usesLeft = 0;
    bool decoded = false;
};

// Sets the alpha of a 32-bit picture from the icon's AND mask: 0 where the bit is set, else 255.
void AlphaFromMask(const CKvIcon& icon, const IconImageLayout& l, Block& dib) {
    const auto to = GetDibLayout(dib);
    if (!to) return;
    const std::uint8_t* base = icon.GetBlock().data();
    for (std::int32_t row = 0; row < to->height; ++row) {
        const std::uint8_t* andRow = base + l.maskOffset + l.maskStride * static_cast<std::size_t>(row);
        std::uint8_t* d = dib.data() + to->RowOffset(row);
        for (std::int32_t x = 0; x < to->width; ++x) d[4 * x + 3] = ReadIndex(andRow, x, 1) != 0 ? 0 : 255;
    }
}

// Bytes one step's picture of this size takes: the 32-bit bitmap and the step's object.
std::uint64_t StepBytes(std::uint32_t width, std::uint32_t height) {
    return std::uint64_t{width} * height * 4 + kInfoHeaderSize + sizeof(CAniObject);
}

// Reads the first image of a frame's icon or cursor file. Only the first directory entry is
// looked at, so damage in the others does not matter. The pictures of all `out.usesLeft` steps
// that show the frame are charged to `total` before the first one is made.
AniReadStatus DecodeFrame(const AniFrameBlock& frame, DecodedFrame& out, std::uint64_t& total) {
    const std::span<const std::uint8_t> file = frame.data;
    if (file.size() < kIconDirHeaderSize + kIconDirEntrySize) return AniReadStatus::NotReadable;
    const std::uint16_t type = LoadU16(file.data() + 2);
    const std::uint16_t count = LoadU16(file.data() + 4);
    if ((type != 1 && type != 2) || count == 0) return AniReadStatus::NotReadable;
    const std::uint8_t* entry = file.data() + kIconDirHeaderSize;
    const std::uint32_t byteCount = LoadU32(entry + 8);
    const std::uint32_t offset = LoadU32(entry + 12);
    if (offset >= file.size()) return AniReadStatus::NotReadable;

    // A PNG image is decoded at 32 bits: in a cursor the entry's bit count field is the
    // hotspot's y, so it says nothing about the depth.
    CKvIcon icon;
    if (!icon.ReadImage(file.subspan(offset), byteCount, 0)) return AniReadStatus::NotReadable;
    IconImageLayout l;
    if (!icon.GetLayout(l) || (l.bits != 1 && l.bits != 4 && l.bits != 8 && l.bits != 24 && l.bits != 32))
        return AniReadStatus::NotReadable;
    // Sizes are at most 32768 x 32768 and uses at most kMaxAniSteps: the product fits in 64 bits.
    total += StepBytes(icon.Width(), icon.Height()) * out.usesLeft;
    if (total > kMaxAniDecodedBytes) return AniReadStatus::NotReadable;

    std::uint32_t depth = 32;
    if (!icon.IsCompressed()) {
        const std::uint8_t* header = icon.GetBlock().data();
        depth = std::uint32_t{LoadU16(header + 12)} * LoadU16(header + 14);
    }
    Block dib = icon.To32BitDib();
    if (!dib) return AniReadStatus::OutOfMemory;
    // A 32-bit image keeps its own alpha only when the header says 32 bits in all (planes x bit
    // count); otherwise, as for every lower depth, the mask decides.
    if (l.bits == 32 && depth != 32) AlphaFromMask(icon, l, dib);

    out.dib = std::move(dib);
    out.width = icon.Width();
    out.height = icon.Height();
    out.bitDepth = depth;
    out.hotspotX = LoadU16(entry + 4);
    out.hotspotY = LoadU16(entry + 6);
    out.decoded = true;
    return AniReadStatus::Ok;
}

AniReadStatus BuildSteps(const AniParse& p, std::vector<CAniObject>& steps) {
    std::vector<DecodedFrame> decoded(p.frames.size());
    std::size_t shown = 0;
    for (std::uint32_t step = 0; step < p.stepCount; ++step)
        if (p.Frame(step) != nullptr) {
            ++decoded[p.FrameIndex(step)].usesLeft;
            ++shown;
        }
    steps.reserve(shown);

    std::uint64_t total = 0;
    for (std::uint32_t step = 0; step < p.stepCount; ++step) {
        const AniFrameBlock* frame = p.Frame(step);
        if (frame == nullptr) continue;  // its index points past the frames read
        DecodedFrame& d = decoded[p.FrameIndex(step)];
        if (!d.decoded) {
            const AniReadStatus status = DecodeFrame(*frame, d, total);
            if (status != AniReadStatus::Ok) return status;
        }

        CAniObject object;
        // Every step owns its picture; the frame's last step takes the decoded one itself.
        if (--d.usesLeft == 0) object.image.Attach(std::move(d.dib));
        else if (!object.image.CopyFromBlock(d.dib)) return AniReadStatus::OutOfMemory;
        object.width = d.width;
        object.height = d.height;
        object.bitDepth = d.bitDepth;
        object.hotspotX = d.hotspotX;
        object.hotspotY = d.hotspotY;
        object.rate = p.Rate(step) & 0xFFFF;
        steps.push_back(std::move(object));
    }
    return steps.empty() ? AniReadStatus::NotReadable : AniReadStatus::Ok;
}

}  // namespace

std::uint32_t CountAniFrames(std::span<const std::uint8_t> bytes) {
    try {
        AniParse p;
        return Parse(bytes, p) ? static_cast<std::uint32_t>(p.frames.size()) : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

AniReadStatus ReadAniSteps(std::span<const std::uint8_t> bytes, std::vector<CAniObject>& steps, AniFileInfo* info) {
    AniReadStatus status = AniReadStatus::NotReadable;
    try {
        AniParse p;
        if (Parse(bytes, p)) {
            std::vector<CAniObject> read;
            status = BuildSteps(p, read);
            if (status == AniReadStatus::Ok) {
                steps.reserve(steps.size() + read.size());
                std::move(read.begin(), read.end(), std::back_inserter(steps));
                if (info != nullptr) {
                    info->frameCount = static_cast<std::uint32_t>(p.frames.size());
                    info->title = std::move(p.title);
                    info->author = std::move(p.author);
                }
            }
        }
    } catch (const std::bad_alloc&) {
        status = AniReadStatus::OutOfMemory;
    }
    if (status != AniReadStatus::Ok && info != nullptr) *info = AniFileInfo{};
    return status;
}

AniReadStatus LoadAniFile(const std::string& path, std::vector<CAniObject>& steps, std::string& error,
                          AniFileInfo* info) {
    std::vector<std::uint8_t> bytes;
    if (!ReadFileBytes(path, bytes, kMaxAniFileBytes, error)) {
        if (info != nullptr) *info = AniFileInfo{};
        return AniReadStatus::NotReadable;
    }
    const AniReadStatus status = ReadAniSteps(bytes, steps, info);
    if (status == AniReadStatus::NotReadable) error = "not a valid animated cursor file: " + path;
    else if (status == AniReadStatus::OutOfMemory) error = "Out of memory to perform operation.";
    return status;
}

}  // namespace tellurine

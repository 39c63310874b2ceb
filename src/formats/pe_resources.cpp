#include "formats/pe_resources.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <utility>

#include "formats/ne_resources.h"
#include "image/bytes.h"
#include "image/file_io.h"
#include "image/threads.h"
#include "imaging/codecs.h"

namespace tellurine {

namespace {

constexpr std::uint32_t kHighBit = 0x80000000u;
constexpr std::size_t kDirectoryHeaderSize = 16;
constexpr std::size_t kDirectoryEntrySize = 8;
constexpr std::size_t kDataEntrySize = 16;
constexpr std::size_t kSectionHeaderSize = 40;
constexpr std::size_t kCoffHeaderSize = 20;
constexpr std::size_t kResourceDirectoryIndex = 2;

// Icon group data: a 6-byte header (reserved, type, count) and 14-byte entries whose last two
// bytes are the icon's identifier.
constexpr std::size_t kGroupHeaderSize = 6;
constexpr std::size_t kGroupEntrySize = 14;
constexpr std::size_t kGroupEntryIdOffset = 12;

struct Section {
    std::uint32_t virtualAddress = 0;
    std::uint32_t virtualSize = 0;  // the extent of the section in memory (raw size when 0)
    std::uint32_t rawOffset = 0;
    std::uint32_t rawSize = 0;
};

// The parts of a PE file that resource reading needs: its sections, and the bytes of the
// resource directory from the root to the end of the raw data of the section that holds it.
struct PeView {
    std::span<const std::uint8_t> bytes;
    std::vector<Section> sections;
    bool hasResources = false;
    std::span<const std::uint8_t> resources;

    // Where rva lies in the file: the first section (in table order) whose memory range holds it
    // gives the file offset, and the bytes present from there to the end of the section's raw
    // data or of the file, whichever comes first (memory past the raw data is zero-filled by a
    // loader, not stored). Nothing when no section holds rva or nothing of it is in the file.
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> MapToSectionEnd(std::uint32_t rva) const {
        for (const Section& s : sections) {
            const std::uint64_t extent = s.virtualSize != 0 ? s.virtualSize : s.rawSize;
            if (rva < s.virtualAddress || rva - s.virtualAddress >= extent) continue;
            const std::uint64_t delta = rva - s.virtualAddress;
            const std::uint64_t present = std::min<std::uint64_t>(s.rawSize, extent);
            const std::uint64_t offset = std::uint64_t{s.rawOffset} + delta;
            if (delta > present || offset > bytes.size()) return std::nullopt;
            const std::uint64_t length = std::min<std::uint64_t>(present - delta, bytes.size() - offset);
            return bytes.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
        }
        return std::nullopt;
    }

    // The file bytes of [rva, rva + size), when all of them are present (see MapToSectionEnd).
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> Map(std::uint32_t rva,
                                                                   std::uint32_t size) const {
        const auto rest = MapToSectionEnd(rva);
        if (!rest || size > rest->size()) return std::nullopt;
        return rest->first(size);
    }
};

// Where a PE file's headers lie, once checked.
struct PeHeaders {
    std::size_t sectionCount = 0;
    std::size_t optional = 0;      // offset of the optional header
    std::size_t optionalSize = 0;
};

// Checks the headers of a file of `size` bytes: "MZ", the "PE\0\0" signature where e_lfanew
// points, a COFF header and an optional header that fit the file, and a PE32 or PE32+ magic.
// `read(offset, count, out)` copies `count` bytes of the file at `offset` (all of them lie
// inside it), so that a file need not be read whole to be judged.
template <typename Read>
std::optional<PeHeaders> CheckPeHeaders(std::uint64_t size, Read&& read) {
    std::uint8_t dos[64];
    if (size < 64 || !read(0, 64, dos) || dos[0] != 'M' || dos[1] != 'Z') return std::nullopt;
    const std::uint64_t pe = LoadU32(dos + 0x3C);
    std::uint8_t headers[4 + kCoffHeaderSize + 2];
    if (pe > size || sizeof headers > size - pe || !read(pe, sizeof headers, headers)) return std::nullopt;
    if (LoadU32(headers) != 0x00004550u) return std::nullopt;  // "PE\0\0"
    const std::uint8_t* coff = headers + 4;
    PeHeaders h;
    h.sectionCount = LoadU16(coff + 2);
    h.optionalSize = LoadU16(coff + 16);
    h.optional = static_cast<std::size_t>(pe) + 4 + kCoffHeaderSize;
    if (h.optionalSize < 2 || h.optionalSize > size - h.optional) return std::nullopt;
    const std::uint16_t magic = LoadU16(headers + 4 + kCoffHeaderSize);
    if (magic != 0x10b && magic != 0x20b) return std::nullopt;  // PE32, PE32+
    return h;
}

// Reads the headers. Nothing when the bytes are not a PE file (no "MZ", no "PE\0\0" signature
// where e_lfanew points, headers cut short, an optional header that is neither PE32 nor PE32+)
// or when the resource directory's root does not map to bytes of the file. A file whose optional
// header has no resource directory entry, or whose entry is empty (RVA 0), has no resources.
std::optional<PeView> OpenPe(std::span<const std::uint8_t> bytes) {
    PeView view;
    view.bytes = bytes;
    const std::size_t size = bytes.size();
    const std::optional<PeHeaders> headers =
        CheckPeHeaders(size, [bytes](std::uint64_t offset, std::size_t count, std::uint8_t* out) {
            std::memcpy(out, bytes.data() + offset, count);
            return true;
        });
    if (!headers) return std::nullopt;
    const std::size_t sectionCount = headers->sectionCount;
    const std::size_t optionalSize = headers->optionalSize;
    const std::size_t optional = headers->optional;
    const std::uint8_t* opt = bytes.data() + optional;

    // The data directory follows the fixed fields, whose length differs between the two forms.
    std::size_t countOffset = 0;
    switch (LoadU16(opt)) {
        case 0x10b: countOffset = 92; break;   // PE32
        case 0x20b: countOffset = 108; break;  // PE32+
        default: return std::nullopt;
    }
    const std::size_t entryOffset = countOffset + 4 + kResourceDirectoryIndex * 8;
    std::uint32_t resourceRva = 0;
    if (entryOffset + 8 <= optionalSize && LoadU32(opt + countOffset) > kResourceDirectoryIndex)
        resourceRva = LoadU32(opt + entryOffset);
    // The directory's size field is not used: the root's section bounds the directory, and a
    // wrong size (common in altered files) does not hide resources that are there.

    // Section headers that lie in the file; a table cut short by the file's end keeps the
    // complete ones.
    const std::size_t table = optional + optionalSize;
    const std::size_t present = (size - table) / kSectionHeaderSize;
    const std::size_t count = std::min(sectionCount, present);
    view.sections.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* s = bytes.data() + table + i * kSectionHeaderSize;
        view.sections.push_back({LoadU32(s + 12), LoadU32(s + 8), LoadU32(s + 20), LoadU32(s + 16)});
    }

    if (resourceRva == 0) return view;
    const auto resources = view.MapToSectionEnd(resourceRva);
    if (!resources || resources->size() < kDirectoryHeaderSize) return std::nullopt;
    view.hasResources = true;
    view.resources = *resources;
    return view;
}

// A directory's entries that are present: the named and numbered counts added (at most
// 2 x 65,535), fewer when the section ends first.
struct Directory {
    std::size_t first = 0;  // offset of the first entry in the resource bytes
    std::size_t count = 0;
};

std::optional<Directory> ReadDirectory(std::span<const std::uint8_t> res, std::size_t offset) {
    if (offset > res.size() || kDirectoryHeaderSize > res.size() - offset) return std::nullopt;
    const std::size_t stated =
        std::size_t{LoadU16(res.data() + offset + 12)} + LoadU16(res.data() + offset + 14);
    const std::size_t fits = (res.size() - offset - kDirectoryHeaderSize) / kDirectoryEntrySize;
    return Directory{offset + kDirectoryHeaderSize, std::min(stated, fits)};
}

// A name string: a 16-bit length in UTF-16 units, then the units; lone surrogates become U+FFFD.
// Nothing when the string runs off the resource bytes.
std::optional<std::string> ReadName(std::span<const std::uint8_t> res, std::size_t offset) {
    if (offset > res.size() || 2 > res.size() - offset) return std::nullopt;
    const std::size_t units = LoadU16(res.data() + offset);
    if (units * 2 > res.size() - offset - 2) return std::nullopt;
    const std::uint8_t* p = res.data() + offset + 2;
    return Utf8FromUtf16(units, [p](std::size_t i) { return char32_t{LoadU16(p + 2 * i)}; }, false);
}

std::optional<std::vector<ResourceRecord>> List(std::span<const std::uint8_t> bytes, std::uint16_t type) {
    if (IsNeFile(bytes)) return ListNeResources(bytes, type);
    const std::optional<PeView> view = OpenPe(bytes);
    if (!view) return std::nullopt;
    std::vector<ResourceRecord> records;
    if (!view->hasResources) return records;
    const std::span<const std::uint8_t> res = view->resources;
    const auto root = ReadDirectory(res, 0);
    if (!root) return std::nullopt;

    std::size_t visits = 0;
    std::size_t nameBytes = 0;

    // Level 1: the first entry of the wanted type. A platform's lookup finds one entry per type;
    // a repeated type (only in damaged files) is not read again.
    std::optional<std::size_t> typeDirectory;
    for (std::size_t i = 0; i < root->count && !typeDirectory; ++i) {
        ++visits;
        const std::uint8_t* e = res.data() + root->first + i * kDirectoryEntrySize;
        const std::uint32_t name = LoadU32(e), target = LoadU32(e + 4);
        if ((name & kHighBit) != 0 || (name & 0xFFFF) != type || (target & kHighBit) == 0) continue;
        typeDirectory = target & ~kHighBit;
    }
    if (!typeDirectory) return records;
    const auto names = ReadDirectory(res, *typeDirectory);
    if (!names) return std::nullopt;

    // Level 2: names, in directory order; level 3: languages, in directory order. Only three
    // levels are read, so a subdirectory offset that leads back to an ancestor is read once more
    // as the next level down and cannot make a loop; a level-3 entry that points at a directory
    // is not data and is ignored, as is a level-1 or level-2 entry that points at data.
    for (std::size_t n = 0; n < names->count; ++n) {
        if (++visits > kMaxResourceEntriesVisited) return records;
        const std::uint8_t* e = res.data() + names->first + n * kDirectoryEntrySize;
        const std::uint32_t nameField = LoadU32(e), target = LoadU32(e + 4);
        if ((target & kHighBit) == 0) continue;
        ResourceName name;
        if ((nameField & kHighBit) != 0) {
            std::optional<std::string> text = ReadName(res, nameField & ~kHighBit);
            if (!text) continue;
            name.text = std::move(*text);
        } else {
            name.id = static_cast<std::uint16_t>(nameField & 0xFFFF);
        }
        const auto languages = ReadDirectory(res, target & ~kHighBit);
        if (!languages) continue;
        for (std::size_t l = 0; l < languages->count; ++l) {
            if (++visits > kMaxResourceEntriesVisited) return records;
            const std::uint8_t* le = res.data() + languages->first + l * kDirectoryEntrySize;
            const std::uint32_t language = LoadU32(le), dataEntry = LoadU32(le + 4);
            if ((language & kHighBit) != 0 || (dataEntry & kHighBit) != 0) continue;
            if (dataEntry > res.size() || kDataEntrySize > res.size() - dataEntry) continue;
            const std::uint8_t* d = res.data() + dataEntry;
            const auto data = view->Map(LoadU32(d), LoadU32(d + 4));
            if (!data) continue;
            nameBytes += name.text.size();
            if (nameBytes > kMaxResourceNameBytes) return records;
            records.push_back({name, static_cast<std::uint16_t>(language & 0xFFFF), *data});
            if (records.size() == kMaxResourceRecords) return records;
        }
    }
    return records;
}

// Reads the images of one group; stops early (returning false) when a file-wide limit is hit.
// One image to read: the group it belongs to and its bytes.
struct ImageTask {
    std::size_t group;
    std::span<const std::uint8_t> data;
    Hotspot hotspot{};
    bool cursor = false;
};

// The bytes an image will take once read, from its own header (a PNG's size, a bitmap's
// header); 0 when the header says nothing sensible, in which case the read fails anyway.
std::size_t ExpectedImageBytes(std::span<const std::uint8_t> data) {
    IconImageLayout layout;
    std::int32_t width = 0, height = 0;
    if (IsPngStream(data)) {
        if (PngDimensions(data, width, height) && CKvIcon::ComputeLayout(width, height, 0, true, layout))
            return layout.blockSize;
        return 0;
    }
    if (data.size() < 40) return 0;
    width = static_cast<std::int32_t>(LoadU32(data.data() + 4));
    height = static_cast<std::int32_t>(LoadU32(data.data() + 8)) / 2;
    const int bits = LoadU16(data.data() + 14);
    const std::uint32_t colours = bits <= 8 ? 1u << bits : 0;
    if (bits < 1 || bits > 32 || !CKvIcon::ComputeLayout(width, height, colours, bits == 32, layout)) return 0;
    return layout.blockSize;
}

// The images of one group, in its directory's order: each entry's icon in the group's language,
// else the first icon of that number. Stops, returning false, when the file's image reads or
// expected image bytes would pass their limits.
// Where each numbered icon's records are, so that a group entry is found in one look-up however
// many languages repeat its number.
struct IconIndex {
    static std::uint32_t Key(std::uint16_t id, std::uint16_t language) {
        return std::uint32_t{id} << 16 | language;
    }
    std::unordered_map<std::uint16_t, std::size_t> byId;
    std::unordered_map<std::uint32_t, std::size_t> byIdAndLanguage;
};

bool PlanGroup(std::size_t groupIndex, std::span<const std::uint8_t> data, std::uint16_t language, bool cursor,
               bool padded, const std::vector<ResourceRecord>& icons, const IconIndex& index,
               std::vector<ImageTask>& tasks, std::size_t& expectedBytes) {
    if (data.size() < kGroupHeaderSize) return true;
    const std::size_t count =
        std::min<std::size_t>(LoadU16(data.data() + 4), (data.size() - kGroupHeaderSize) / kGroupEntrySize);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t id =
            LoadU16(data.data() + kGroupHeaderSize + i * kGroupEntrySize + kGroupEntryIdOffset);
        const auto sameLanguage = index.byIdAndLanguage.find(IconIndex::Key(id, language));
        const auto anyLanguage = index.byId.find(id);
        if (anyLanguage == index.byId.end()) continue;
        const std::size_t pick = sameLanguage != index.byIdAndLanguage.end() ? sameLanguage->second : anyLanguage->second;
        // A 16-bit file stores whole units of its alignment: the group's entry tells how many of
        // those bytes are the image. A cursor's image follows its hotspot; one too short for it
        // has no image.
        std::span<const std::uint8_t> image = icons[pick].data;
        const std::uint32_t stated = LoadU32(data.data() + kGroupHeaderSize + i * kGroupEntrySize + 8);
        if (padded && stated < image.size()) image = image.first(stated);
        Hotspot hotspot;
        if (cursor) {
            if (image.size() < 4) continue;
            hotspot = {LoadU16(image.data()), LoadU16(image.data() + 2)};
            image = image.subspan(4);
        }
        if (tasks.size() >= kMaxExeImageReads) return false;
        expectedBytes += ExpectedImageBytes(image);
        if (expectedBytes > kMaxExeDecodedBytes) return false;
        tasks.push_back({groupIndex, image, hotspot, cursor});
    }
    return true;
}

// Runs `each(i)` for every task index, on several threads when there are many (a large library
// holds thousands of images): one thread for each `perThread` tasks, at most one per core and 8.
// Lack of memory in any of them is thrown again here.
template <typename Each>
void ForEachTask(std::size_t count, std::size_t perThread, const Each& each) {
    std::atomic<std::size_t> next{0};
    std::atomic<bool> outOfMemory{false};
    const auto work = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            try {
                each(i);
            } catch (const std::bad_alloc&) {
                outOfMemory = true;
                return;
            }
        }
    };
    const auto threads = static_cast<unsigned>(
        std::min<std::size_t>({std::max(1u, std::thread::hardware_concurrency()), 8, 1 + count / perThread}));
    RunOnThreads(threads, work);
    if (outOfMemory) throw std::bad_alloc();
}

// Reads every image; images that cannot be read stay empty.
void ReadImages(const std::vector<ImageTask>& tasks, std::vector<CKvIcon>& images) {
    images.resize(tasks.size());
    ForEachTask(tasks.size(), 64, [&](std::size_t i) {
        CKvIcon icon;
        if (icon.ReadImage(tasks[i].data, static_cast<std::uint32_t>(tasks[i].data.size()), 0)) {
            images[i] = std::move(icon);
            if (tasks[i].cursor) images[i].SetPoint(tasks[i].hotspot.x, tasks[i].hotspot.y);
        }
    });
}

// Tells every image's format from its header (see DescribeStoredImage). Images that cannot be
// read are left without one. Most images are told from their headers alone (PNG streams are
// inflated to be checked), so each thread takes more of them.
void DescribeImages(const std::vector<ImageTask>& tasks, std::vector<std::optional<StoredImageFormat>>& formats) {
    formats.assign(tasks.size(), std::nullopt);
    ForEachTask(tasks.size(), 256, [&](std::size_t i) { formats[i] = DescribeStoredImage(tasks[i].data); });
}

// The groups of one kind (icons: group type 14 with images of type 3; cursors: 12 and 1) added
// to `out` with their images' tasks; false when a file-wide limit stopped the planning.
bool PlanKind(std::span<const std::uint8_t> bytes, bool cursor, std::vector<StoredExeIconGroup>& out,
              std::vector<ImageTask>& tasks, std::size_t& expectedBytes, bool& readable) {
    const bool padded = IsNeFile(bytes);
    const auto groups = List(bytes, cursor ? 12 : 14);
    const auto images = groups ? List(bytes, cursor ? 1 : 3) : std::nullopt;
    if (!images) return true;
    readable = true;

    // Images are found by number only: the first record of that number in the group's language,
    // else the first of that number in any language.
    IconIndex index;
    for (std::size_t i = 0; i < images->size(); ++i) {
        if (!(*images)[i].name.id) continue;
        const std::uint16_t id = *(*images)[i].name.id;
        index.byId.emplace(id, i);
        index.byIdAndLanguage.emplace(IconIndex::Key(id, (*images)[i].language), i);
    }
    for (const ResourceRecord& record : *groups) {
        const std::size_t g = out.size();
        out.push_back({record.name, record.language, cursor, {}, {}});
        // A group cut short by a limit keeps the images planned before it.
        if (!PlanGroup(g, record.data, record.language, cursor, padded, *images, index, tasks, expectedBytes))
            return false;
    }
    return true;
}

// Icon groups first, then cursor groups, each kind in enumeration order.
std::vector<StoredExeIconGroup> StoredGroups(std::span<const std::uint8_t> bytes, bool& readable) {
    readable = false;
    std::vector<StoredExeIconGroup> out;
    std::vector<ImageTask> tasks;
    std::size_t expectedBytes = 0;
    // A file whose icon listings cannot be read is not read at all; one whose cursor listings
    // cannot be read has no cursors.
    if (PlanKind(bytes, false, out, tasks, expectedBytes, readable) && readable) {
        bool cursorsReadable = false;
        PlanKind(bytes, true, out, tasks, expectedBytes, cursorsReadable);
    }
    for (const ImageTask& task : tasks) {
        out[task.group].images.push_back(task.data);
        out[task.group].hotspots.push_back(task.hotspot);
    }
    return out;
}

std::vector<ImageTask> TasksOf(const std::vector<StoredExeIconGroup>& stored) {
    std::vector<ImageTask> tasks;
    for (std::size_t g = 0; g < stored.size(); ++g)
        for (std::size_t i = 0; i < stored[g].images.size(); ++i)
            tasks.push_back({g, stored[g].images[i], stored[g].hotspots[i], stored[g].cursor});
    return tasks;
}

std::optional<std::vector<ExeIconGroup>> ReadIcons(std::span<const std::uint8_t> bytes) {
    bool readable = false;
    const std::vector<StoredExeIconGroup> stored = StoredGroups(bytes, readable);
    if (!readable) return std::nullopt;

    // The reading, which is most of the work, all at once; then the groups in order, each with
    // the images that could be read.
    const std::vector<ImageTask> tasks = TasksOf(stored);
    std::vector<CKvIcon> images;
    ReadImages(tasks, images);

    std::vector<ExeIconGroup> out;
    std::size_t task = 0;
    for (std::size_t g = 0; g < stored.size(); ++g) {
        ExeIconGroup entry;
        entry.name = stored[g].name;
        entry.language = stored[g].language;
        entry.cursor = stored[g].cursor;
        entry.group.name = stored[g].name.Display();
        for (; task < tasks.size() && tasks[task].group == g; ++task)
            if (!images[task].IsEmpty() && !entry.group.AppendFormat(std::move(images[task]))) throw std::bad_alloc();
        if (entry.group.FormatCount() > 0) out.push_back(std::move(entry));
    }
    return out;
}

std::optional<std::vector<ExeIconGroupListing>> DescribeIcons(std::span<const std::uint8_t> bytes) {
    bool readable = false;
    const std::vector<StoredExeIconGroup> stored = StoredGroups(bytes, readable);
    if (!readable) return std::nullopt;

    const std::vector<ImageTask> tasks = TasksOf(stored);
    std::vector<std::optional<StoredImageFormat>> formats;
    DescribeImages(tasks, formats);

    std::vector<ExeIconGroupListing> out;
    std::size_t task = 0;
    for (std::size_t g = 0; g < stored.size(); ++g) {
        ExeIconGroupListing entry;
        for (; task < tasks.size() && tasks[task].group == g; ++task) {
            if (!formats[task]) continue;
            entry.images.push_back(tasks[task].data);
            entry.formats.push_back(*formats[task]);
            entry.hotspots.push_back(tasks[task].hotspot);
        }
        if (entry.images.empty()) continue;
        entry.name = stored[g].name;
        entry.language = stored[g].language;
        entry.cursor = stored[g].cursor;
        out.push_back(std::move(entry));
    }
    return out;
}

}  // namespace

std::optional<std::vector<ExeIconGroupListing>> DescribeExeIcons(std::span<const std::uint8_t> bytes) {
    try {
        return DescribeIcons(bytes);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<std::vector<ResourceRecord>> ListResources(std::span<const std::uint8_t> bytes,
                                                         std::uint16_t type) {
    try {
        return List(bytes, type);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<std::vector<StoredExeIconGroup>> ListExeIconGroups(std::span<const std::uint8_t> bytes) {
    try {
        bool readable = false;
        std::vector<StoredExeIconGroup> groups = StoredGroups(bytes, readable);
        if (!readable) return std::nullopt;
        return groups;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<std::vector<ExeIconGroup>> ReadExeIcons(std::span<const std::uint8_t> bytes) {
    try {
        return ReadIcons(bytes);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

bool CFileExeDoc::Load(const std::string& path, std::string& error) {
    groups_.clear();
    std::vector<std::uint8_t> bytes;
    if (!ReadFileBytes(path, bytes, kMaxExeFileBytes, error)) return false;
    if (!Read(bytes)) {
        error = "not a readable program or library file: " + path;
        return false;
    }
    return true;
}

bool CFileExeDoc::Read(std::span<const std::uint8_t> bytes) {
    groups_.clear();
    std::optional<std::vector<ExeIconGroup>> groups = ReadExeIcons(bytes);
    if (!groups) return false;
    groups_ = std::move(*groups);
    return true;
}

bool LooksLikeProgramFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(path, ec);
    if (!file || ec || size > kMaxExeFileBytes) return false;
    const auto read = [&file](std::uint64_t offset, std::size_t count, std::uint8_t* out) {
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        return static_cast<bool>(file.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(count)));
    };
    if (CheckPeHeaders(size, read)) return true;
    // A 16-bit program: its DOS header and the NE header it points at are enough to judge it.
    std::uint8_t dos[64], signature[2];
    if (size < 64 || !read(0, 64, dos) || dos[0] != 'M' || dos[1] != 'Z') return false;
    const std::uint64_t ne = LoadU32(dos + 0x3C);
    return ne <= size && size - ne >= 64 && read(ne, 2, signature) && signature[0] == 'N' && signature[1] == 'E';
}

}  // namespace tellurine

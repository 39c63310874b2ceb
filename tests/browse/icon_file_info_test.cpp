#include "browse/icon_file_info.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "browse/likeness.h"
#include "formats/format_test_support.h"
#include "formats/icon_project.h"

namespace tellurine {
namespace {

// Every icon container of the development corpus that a full read takes sums up, from its
// catalog and one decoded format, to the full read's icon count and fingerprint (the formats
// themselves are the catalog's, checked against the full read with the formats).
TEST(IconFileInfo, CorpusFingerprintsAreTheFullReadsOnes) {
    const std::filesystem::path corpus = format_test::CorpusDir();
    if (!std::filesystem::is_directory(corpus)) GTEST_SKIP() << "no development corpus at " << corpus;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
        const std::string path = entry.path().string();
        IconFileContents contents;
        std::string error;
        IconFileInfo info;
        if (!IconFileKindOfPath(path) || !LoadIconContainer(path, contents, error)) continue;
        SCOPED_TRACE(path);
        ASSERT_TRUE(ReadIconFileInfo(path, info, true)) << info.error;
        EXPECT_EQ(info.icons, static_cast<int>(contents.icons.size()));
        const CIconDoc& first = contents.icons.front().doc;
        const std::vector<FormatSummary> own(info.formats.begin(), info.formats.begin() + first.GetFormatCount());
        const CKvIcon& nearest = first.GetFormat(NearestFormat(own, 32))->Icon();
        const std::uint64_t full = LikenessHash(nearest.To32BitDib());
        // A JPEG 2000 picture of 128 pixels or more is looked at through a lower resolution level
        // of its stream, which may move a bit or two of the fingerprint; every other one is the
        // full read's.
        if (nearest.Width() >= 128) EXPECT_LE(LikenessDistance(info.likeness, full), 2);
        else EXPECT_EQ(info.likeness, full);
    }
}

}  // namespace
}  // namespace tellurine

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
        EXPECT_EQ(info.likeness, LikenessHash(first.GetFormat(NearestFormat(own, 32))->Icon().To32BitDib()));
    }
}

}  // namespace
}  // namespace tellurine

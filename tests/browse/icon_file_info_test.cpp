#include "browse/icon_file_info.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "browse/likeness.h"
#include "formats/format_test_support.h"
#include "formats/icon_project.h"

namespace tellurine {
namespace {

// Every icon container of the development corpus sums up, from the listing and one decoded
// format, as it does from a full read: the same icons, formats and fingerprint.
TEST(IconFileInfo, CorpusSumsUpAsAFullReadDoes) {
    const std::filesystem::path corpus = format_test::CorpusDir();
    if (!std::filesystem::is_directory(corpus)) GTEST_SKIP() << "no development corpus at " << corpus;
    int compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(corpus)) {
        const std::string path = entry.path().string();
        const auto kind = IconFileKindOfPath(path);
        if (!entry.is_regular_file() || !kind || *kind == IconFileKind::Picture || *kind == IconFileKind::Vector)
            continue;
        SCOPED_TRACE(path);
        IconFileContents contents;
        std::string error;
        IconFileInfo info;
        const bool summed = ReadIconFileInfo(path, info, true);
        if (!LoadIconContainer(path, contents, error)) continue;  // a listing may take a file a full read refuses
        ASSERT_TRUE(summed) << info.error;
        ++compared;
        std::vector<FormatSummary> formats;
        for (const NamedIcon& icon : contents.icons)
            for (int i = 0; i < icon.doc.GetFormatCount(); ++i)
                formats.push_back({icon.doc.GetFormat(i)->Width(), icon.doc.GetFormat(i)->Height(),
                                   icon.doc.GetFormat(i)->BitCount()});
        EXPECT_EQ(info.icons, static_cast<int>(contents.icons.size()));
        EXPECT_EQ(info.formats, formats);
        const CIconDoc& first = contents.icons.front().doc;
        const std::vector<FormatSummary> own(formats.begin(), formats.begin() + first.GetFormatCount());
        EXPECT_EQ(info.likeness, LikenessHash(first.GetFormat(NearestFormat(own, 32))->Icon().To32BitDib()));
    }
    EXPECT_GT(compared, 0);
}

}  // namespace
}  // namespace tellurine

#include "formats/icon_set.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "formats/format_test_support.h"
#include "formats/ico_file.h"
#include "icon/format_maker.h"
#include "imaging/codecs.h"
#include "imaging/resample.h"
#include "test_support.h"

namespace tellurine {
namespace {

using format_test::Bytes;
using test::At;
using test::MakeDib;
using test::Px;

std::vector<IconSetFile> FullPlan(bool drawing = false) {
    IconSetRequest request;
    request.platforms.assign(kIconSetPlatforms.begin(), kIconSetPlatforms.end());
    request.name = "My App";
    request.background = {0x10, 0x20, 0x30};
    request.drawing = drawing;
    return PlanIconSet(request);
}

const IconSetFile* Find(const std::vector<IconSetFile>& plan, const std::string& path) {
    const auto at =
        std::find_if(plan.begin(), plan.end(), [&](const IconSetFile& f) { return f.path == path; });
    return at == plan.end() ? nullptr : &*at;
}

// Equal 32-bit pictures of one size.
bool SamePixels(const Block& a, const Block& b) {
    return DibBitCount(a) == 32 && DibBitCount(b) == 32 && DibWidth(a) == DibWidth(b) &&
           format_test::PictureOf(a) == format_test::PictureOf(b);
}

TEST(IconSetPlan, EveryPlatformsFilesHaveTheirDocumentedSizes) {
    const std::vector<IconSetFile> plan = FullPlan();
    struct Expected {
        const char* path;
        int width, height, picture;
    };
    const Expected table[] = {
        {"android/res/mipmap-mdpi/ic_launcher.png", 48, 48, 48},
        {"android/res/mipmap-hdpi/ic_launcher.png", 72, 72, 72},
        {"android/res/mipmap-xhdpi/ic_launcher_round.png", 96, 96, 96},
        {"android/res/mipmap-xxhdpi/ic_launcher.png", 144, 144, 144},
        {"android/res/mipmap-xxxhdpi/ic_launcher_round.png", 192, 192, 192},
        {"android/res/mipmap-mdpi/ic_launcher_foreground.png", 108, 108, 66},
        {"android/res/mipmap-hdpi/ic_launcher_foreground.png", 162, 162, 99},
        {"android/res/mipmap-xxxhdpi/ic_launcher_foreground.png", 432, 432, 264},
        {"android/ic_launcher-playstore.png", 512, 512, 512}, {"msix/Images/StoreLogo.scale-125.png", 63, 63, 63},
        {"msix/Images/Square44x44Logo.scale-125.png", 55, 55, 55},
        {"msix/Images/Square44x44Logo.scale-400.png", 176, 176, 176},
        {"msix/Images/Square44x44Logo.targetsize-30_altform-unplated.png", 30, 30, 30},
        {"msix/Images/Square150x150Logo.scale-125.png", 188, 188, 188},
        {"msix/Images/Wide310x150Logo.scale-125.png", 388, 188, 188},
        {"msix/Images/Wide310x150Logo.scale-400.png", 1240, 600, 600},
        {"ios/AppIcon.appiconset/Icon-App-83.5x83.5@2x.png", 167, 167, 167},
        {"ios/AppIcon.appiconset/Icon-App-1024x1024@1x.png", 1024, 1024, 1024},
        {"macos/My_App.iconset/icon_32x32@2x.png", 64, 64, 64}, {"linux/hicolor/22x22/apps/My_App.png", 22, 22, 22},
        {"web/apple-touch-icon.png", 180, 180, 180}, {"web/icon-maskable-192.png", 192, 192, 154},
        {"web/icon-maskable-512.png", 512, 512, 410},
    };
    for (const Expected& e : table) {
        const IconSetFile* f = Find(plan, e.path);
        ASSERT_NE(f, nullptr) << e.path;
        EXPECT_EQ(f->kind, IconSetFileKind::Png) << e.path;
        EXPECT_EQ((std::array{f->width, f->height, f->picture}), (std::array{e.width, e.height, e.picture}))
            << e.path;
    }
    EXPECT_EQ(Find(plan, "windows/My_App.ico")->sizes, (std::vector<int>{16, 20, 24, 32, 40, 48, 64, 256}));
    EXPECT_EQ(Find(plan, "web/favicon.ico")->sizes, (std::vector<int>{16, 32, 48}));
    EXPECT_EQ(Find(plan, "macos/My_App.icns")->sizes,
              (std::vector<int>{16, 32, 32, 64, 128, 256, 256, 512, 512, 1024}));

    // Each path once; the opaque files are exactly iOS's, the touch icon, the store icon and the
    // maskable ones, on the colour asked; only Android's round icons are circles.
    std::set<std::string> paths;
    for (const IconSetFile& f : plan) {
        EXPECT_TRUE(paths.insert(f.path).second) << f.path;
        const bool opaque = f.platform == IconSetPlatform::Ios ||
                            f.path.find("maskable") != std::string::npos ||
                            f.path.ends_with("apple-touch-icon.png") || f.path.ends_with("playstore.png");
        EXPECT_EQ(f.ground.has_value(), opaque && f.kind == IconSetFileKind::Png) << f.path;
        EXPECT_EQ(f.ground.value_or(IconSetColour{0x10, 0x20, 0x30}), (IconSetColour{0x10, 0x20, 0x30}));
        EXPECT_EQ(f.circle, f.path.ends_with("ic_launcher_round.png")) << f.path;
    }
    // The sides of the Linux theme folders and of the target-size app list icons, from the paths.
    std::vector<int> linux, targets;
    for (const IconSetFile& f : plan) {
        if (f.path.starts_with("linux/hicolor/") && f.kind == IconSetFileKind::Png) {
            linux.push_back(std::stoi(f.path.substr(14)));
            EXPECT_EQ(f.width, linux.back()) << f.path;
        }
        if (const auto at = f.path.find("targetsize-"); at != std::string::npos) {
            targets.push_back(std::stoi(f.path.substr(at + 11)));
            EXPECT_EQ(f.width, targets.back()) << f.path;
        }
    }
    EXPECT_EQ(linux, (std::vector<int>{16, 22, 24, 32, 48, 64, 128, 256, 512}));
    EXPECT_EQ(targets, (std::vector<int>{16, 16, 20, 20, 24, 24, 30, 30, 32, 32, 36, 36, 40,  40,
                                         48, 48, 60, 60, 64, 64, 72, 72, 80, 80, 96, 96, 256, 256}));
    // The drawing's copy only from a drawing.
    EXPECT_EQ(Find(plan, "linux/hicolor/scalable/apps/My_App.svg"), nullptr);
    EXPECT_EQ(Find(FullPlan(true), "linux/hicolor/scalable/apps/My_App.svg")->kind,
              IconSetFileKind::DrawingCopy);
}

TEST(IconSetPlan, TextFilesNameWhatTheSetHolds) {
    const std::vector<IconSetFile> plan = FullPlan();
    // Every image of Contents.json is a file of the set of size points x scale; every iPhone and
    // iPad size is listed.
    const auto contents = nlohmann::json::parse(Find(plan, "ios/AppIcon.appiconset/Contents.json")->text);
    std::set<std::string> listed;
    for (const auto& image : contents["images"]) {
        const IconSetFile* f = Find(plan, "ios/AppIcon.appiconset/" + image["filename"].get<std::string>());
        ASSERT_NE(f, nullptr) << image;
        const double points = std::stod(image["size"].get<std::string>());
        EXPECT_EQ(f->width, points * (image["scale"].get<std::string>()[0] - '0')) << image;
        listed.insert(image["idiom"].get<std::string>() + " " + image["size"].get<std::string>() + " " +
                      image["scale"].get<std::string>());
    }
    EXPECT_EQ(listed,
              (std::set<std::string>{
                  "iphone 20x20 2x", "iphone 20x20 3x", "iphone 29x29 2x", "iphone 29x29 3x",
                  "iphone 40x40 2x", "iphone 40x40 3x", "iphone 60x60 2x", "iphone 60x60 3x", "ipad 20x20 1x",
                  "ipad 20x20 2x", "ipad 29x29 1x", "ipad 29x29 2x", "ipad 40x40 1x", "ipad 40x40 2x",
                  "ipad 76x76 1x", "ipad 76x76 2x", "ipad 83.5x83.5 2x", "ios-marketing 1024x1024 1x"}));
    EXPECT_EQ(contents["info"]["version"], 1);

    const auto manifest = nlohmann::json::parse(Find(plan, "web/site.webmanifest")->text);
    EXPECT_EQ(manifest["name"], "My App");
    EXPECT_EQ(manifest["icons"].size(), 4u);
    for (const auto& icon : manifest["icons"]) {
        const IconSetFile* f = Find(plan, "web/" + icon["src"].get<std::string>());
        ASSERT_NE(f, nullptr) << icon;
        EXPECT_EQ(icon["sizes"], std::to_string(f->width) + "x" + std::to_string(f->height));
        EXPECT_EQ(icon.value("purpose", ""), f->picture < f->width ? "maskable" : "") << icon;
    }
    // A name with quotes and control characters stays one JSON string.
    IconSetRequest odd;
    odd.platforms = {IconSetPlatform::Web};
    odd.name = "Say \"hi\"\t\x01\\";
    const std::vector<IconSetFile> web = PlanIconSet(odd);
    EXPECT_EQ(nlohmann::json::parse(Find(web, "web/site.webmanifest")->text)["name"], odd.name);
    EXPECT_NE(Find(plan, "android/res/values/ic_launcher_background.xml")->text.find(">#102030</color>"),
              std::string::npos);
    EXPECT_NE(Find(plan, "android/res/mipmap-anydpi-v26/ic_launcher_round.xml")
                  ->text.find("@mipmap/ic_launcher_foreground"),
              std::string::npos);
}

TEST(IconSetPlan, ColoursAndPlatformNames) {
    // The hex forms are imaging's ParseHexColor, whose own tests go through them; the names are the
    // icon set's own. The colour's text shows in Android's background resource.
    const std::pair<const char*, std::optional<IconSetColour>> colours[] = {
        {"#1a2B3c", IconSetColour{0x1A, 0x2B, 0x3C}},
        {"Black", IconSetColour{0, 0, 0}},
        {"WHITE", IconSetColour{255, 255, 255}},
        {"red", std::nullopt},
    };
    for (const auto& [text, colour] : colours) EXPECT_EQ(ParseIconSetColour(text), colour) << text;
    EXPECT_EQ(FindIconSetPlatform("MacOS"), IconSetPlatform::Macos);
    EXPECT_EQ(FindIconSetPlatform("mac"), std::nullopt);
}

// A pattern no scaling makes: every other pixel pure red or pure blue, opaque.
Block Checkerboard(int side) {
    return MakeDib(side, side, 32, [](int x, int y) {
        return (x + y) % 2 ? Px{255, 0, 0, 255} : Px{0, 0, 255, 255};
    });
}

Block Smooth(int side) {
    return MakeDib(side, side, 32, [side](int x, int y) {
        return Px{static_cast<std::uint8_t>(255 * x / side), static_cast<std::uint8_t>(255 * y / side), 90,
                  255};
    });
}

CKvIcon Format(const Block& picture, int bits) {
    CKvIcon icon;
    EXPECT_TRUE(FormatFromPicture(picture, bits, icon));
    return icon;
}

Block DecodedFile(const std::vector<IconSetFile>& plan, const std::vector<Bytes>& files,
                  const std::string& path) {
    const IconSetFile* f = Find(plan, path);
    return f == nullptr ? Block{} : DecodePng(files[static_cast<std::size_t>(f - plan.data())], 32);
}

TEST(IconSet, HandTunedSizesOfAProjectAreKeptAndOnlyMissingSizesScaled) {
    // 0 and 1 smooth at 32 bits, 2 and 3 the pattern at 8 and 32, 4 green at 4 bits, 5 smooth at 24.
    CIconDoc doc = format_test::DocOf({Format(Smooth(256), 32), Format(Smooth(32), 32), Format(Checkerboard(16), 8),
                                       Format(Checkerboard(16), 32),
                                       Format(MakeDib(24, 24, 32, [](int, int) { return Px{0, 128, 0, 255}; }), 4),
                                       Format(Smooth(48), 24)});
    const Block exact16 = doc.GetFormat(3)->Icon().To32BitDib();

    // The exact size (of two, the 32-bit one), else the smallest larger one, else the largest.
    const std::pair<int, std::pair<int, bool>> choices[] = {
        {16, {3, true}},  {24, {4, true}},  {48, {5, true}},    {20, {4, false}},
        {40, {5, false}}, {64, {0, false}}, {1024, {0, false}}, {8, {3, false}},
    };
    for (const auto& [side, expected] : choices) {
        bool exact = false;
        EXPECT_EQ(IconSetFormatFor(doc, side, exact), expected.first) << side;
        EXPECT_EQ(exact, expected.second) << side;
    }

    IconSetSource source;
    ASSERT_TRUE(source.SetProject(std::move(doc)));
    IconSetRequest request;
    request.platforms = {IconSetPlatform::Windows, IconSetPlatform::Macos, IconSetPlatform::Linux};
    request.name = "tuned";
    const std::vector<IconSetFile> plan = PlanIconSet(request);
    std::vector<Bytes> files;
    std::string error;
    ASSERT_TRUE(MakeIconSetFiles(source, plan, 2, files, error)) << error;

    // Every 16-pixel PNG is the hand-tuned pattern itself.
    for (const char* path : {"linux/hicolor/16x16/apps/tuned.png", "macos/tuned.iconset/icon_16x16.png"})
        EXPECT_TRUE(SamePixels(DecodedFile(plan, files, path), exact16)) << path;
    // In the .ico: 16 the pattern, 24 the 4-bit format at its depth, 48 the 24-bit one, and 20
    // scaled from the 24-pixel format (the smallest larger one).
    CIconDoc ico;
    IconFileType type = IconFileType::Cursor;
    ASSERT_TRUE(ReadIconFile(files[0], ico, &type));
    std::map<int, const CIconObject*> bySide;
    for (int i = 0; i < ico.GetFormatCount(); ++i) bySide[ico.GetFormat(i)->Width()] = ico.GetFormat(i);
    ASSERT_EQ(bySide.size(), 8u);
    EXPECT_TRUE(SamePixels(bySide[16]->Icon().To32BitDib(), exact16));
    // An icon file, not a cursor; the depths as said; the 256-pixel format stored as PNG, a smaller not.
    EXPECT_EQ(std::tuple(type, bySide[24]->BitCount(), bySide[48]->BitCount(), bySide[20]->BitCount(),
                         bySide[256]->Icon().IsCompressed(), bySide[64]->Icon().IsCompressed()),
              std::tuple(IconFileType::Icon, 4, 24, 32, true, false));
    const Block green24 = source.Project()->GetFormat(4)->Icon().To32BitDib();
    EXPECT_TRUE(SamePixels(bySide[20]->Icon().To32BitDib(), ResampleDib(green24, 20, 20)));
    EXPECT_TRUE(SamePixels(bySide[64]->Icon().To32BitDib(),
                           ResampleDib(source.Project()->GetFormat(0)->Icon().To32BitDib(), 64, 64)));
}

TEST(IconSet, PicturesArePlacedFlattenedAndMaskedAsEachFileWants) {
    IconSetSource source;
    ASSERT_TRUE(source.SetPicture(MakeDib(40, 20, 32, [](int, int) { return Px{0, 0, 255, 255}; })));  // red, wide
    IconSetRequest request;
    request.platforms = {IconSetPlatform::Windows, IconSetPlatform::Msix, IconSetPlatform::Android,
                         IconSetPlatform::Ios, IconSetPlatform::Web};
    request.background = {0, 0, 200};
    const std::vector<IconSetFile> plan = PlanIconSet(request);
    std::vector<Bytes> files;
    std::string error;
    ASSERT_TRUE(MakeIconSetFiles(source, plan, 2, files, error)) << error;
    const Px clear{0, 0, 0, 0}, red{0, 0, 255, 255}, ground{200, 0, 0, 255};
    struct Probe {
        const char* path;
        int x, y;  // from the top
        Px pixel;
    };
    const Probe probes[] = {
        // The wide picture was centred on a clear square: its top and bottom quarters are clear.
        {"android/res/mipmap-mdpi/ic_launcher.png", 24, 5, clear},
        {"android/res/mipmap-mdpi/ic_launcher.png", 24, 24, red},
        {"android/res/mipmap-mdpi/ic_launcher_round.png", 24, 24, red},
        {"android/res/mipmap-mdpi/ic_launcher_round.png", 1, 13, clear},  // outside the circle, inside the picture
        {"android/res/mipmap-mdpi/ic_launcher_foreground.png", 54, 54, red},
        {"android/res/mipmap-mdpi/ic_launcher_foreground.png", 20, 54, clear},  // outside the safe zone
        {"msix/Images/Wide310x150Logo.scale-100.png", 155, 75, red},
        {"msix/Images/Wide310x150Logo.scale-100.png", 70, 75, clear},
        {"ios/AppIcon.appiconset/Icon-App-20x20@1x.png", 10, 10, red},
        {"ios/AppIcon.appiconset/Icon-App-20x20@1x.png", 10, 1, ground},
        {"web/icon-maskable-192.png", 10, 96, ground},  // outside the safe zone, on the ground
        {"web/icon-maskable-192.png", 96, 96, red},
        {"web/icon-192.png", 96, 10, clear},
    };
    for (const Probe& p : probes) {
        const Block png = DecodedFile(plan, files, p.path);
        ASSERT_FALSE(png.empty()) << p.path;
        // A clear pixel's colour does not matter.
        const Px got = At(png, p.x, DibHeight(png) - 1 - p.y);
        EXPECT_EQ(got[3] == 0 ? clear : got, p.pixel) << p.path << " " << p.x << "," << p.y;
    }
    // The scaled 256-pixel picture of the .ico is stored as PNG, the smaller ones as bitmaps.
    CIconDoc ico;
    ASSERT_TRUE(ReadIconFile(files[0], ico));
    for (int i = 0; i < ico.GetFormatCount(); ++i)
        EXPECT_EQ(ico.GetFormat(i)->Icon().IsCompressed(), ico.GetFormat(i)->Width() == 256) << i;
    // The flattened files have no alpha channel at all (colour type 2); the others keep theirs (6).
    for (std::size_t i = 0; i < plan.size(); ++i) {
        if (plan[i].kind == IconSetFileKind::Png) {
            ASSERT_GT(files[i].size(), 26u);
            EXPECT_EQ(files[i][25], plan[i].ground ? 2 : 6) << plan[i].path;
        }
    }
}

const std::string kDrawing = R"svg(<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64">
  <rect x="4" y="4" width="56" height="56" rx="10" fill="#2060c0"/>
  <path d="M16 48 L32 12 L48 48 Z" fill="#ffcc00" stroke="#000" stroke-width="1"/>
</svg>)svg";

TEST(IconSet, DrawingsAreRenderedAtEverySizeAndCopied) {
    auto drawing = std::make_unique<SvgDrawing>();
    std::string error;
    const Bytes bytes(kDrawing.begin(), kDrawing.end());
    ASSERT_TRUE(drawing->Load(bytes, error)) << error;
    const Block at16 = drawing->Render(16, 16), at22 = drawing->Render(22, 22);
    IconSetSource source;
    source.SetDrawing(std::move(drawing), bytes);
    IconSetRequest request;
    request.platforms = {IconSetPlatform::Linux};
    request.name = "art";
    request.drawing = true;
    const std::vector<IconSetFile> plan = PlanIconSet(request);
    format_test::ScratchDir dir;
    format_test::WriteBytes(dir / "linux-notes.txt", bytes);
    ASSERT_TRUE(WriteIconSet(source, plan, dir.path().string(), 2, error)) << error;

    EXPECT_TRUE(
        SamePixels(DecodePng(format_test::ReadBytes(dir / "linux/hicolor/16x16/apps/art.png"), 32), at16));
    EXPECT_TRUE(
        SamePixels(DecodePng(format_test::ReadBytes(dir / "linux/hicolor/22x22/apps/art.png"), 32), at22));
    EXPECT_EQ(format_test::ReadBytes(dir / "linux/hicolor/scalable/apps/art.svg"), bytes);
    // A file the set does not name stays; one in the way of a folder the set needs fails the write.
    EXPECT_EQ(format_test::ReadBytes(dir / "linux-notes.txt"), bytes);
    format_test::WriteBytes(dir / "blocked", bytes);
    EXPECT_FALSE(WriteIconSet(source, plan, (dir / "blocked").string(), 2, error));
    EXPECT_NE(error.find("blocked"), std::string::npos) << error;
    // A source of nothing makes no picture: nothing is written.
    error.clear();
    EXPECT_FALSE(WriteIconSet(IconSetSource(), plan, (dir / "none").string(), 2, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(std::filesystem::exists(dir / "none"));
}

TEST(IconSet, SourcesAreReadByWhatTheyHold) {
    format_test::ScratchDir dir;
    const Bytes drawing(kDrawing.begin(), kDrawing.end());
    format_test::WriteBytes(dir / "art.svg", drawing);
    format_test::WriteBytes(dir / "art-without-extension", drawing);
    Bytes png;
    ASSERT_TRUE(EncodePng(Smooth(40), png));
    format_test::WriteBytes(dir / "picture.png", png);
    format_test::WriteBytes(dir / "project.ico",
                            format_test::IconFileOf({Format(Checkerboard(16), 32), Format(Smooth(32), 8)}));
    format_test::WriteBytes(dir / "junk.png", Bytes{1, 2, 3});
    enum class Kind { Drawing, Project, Picture, None };
    const std::pair<const char*, Kind> table[] = {
        {"art.svg", Kind::Drawing},     {"art-without-extension", Kind::Drawing},
        {"picture.png", Kind::Picture}, {"project.ico", Kind::Project},
        {"junk.png", Kind::None},       {"missing.png", Kind::None},
    };
    for (const auto& [name, kind] : table) {
        IconSetSource source;
        std::string error;
        const bool read = LoadIconSetSource((dir / name).string(), source, error);
        EXPECT_EQ(std::tuple(read, source.IsDrawing(), source.IsProject()),
                  std::tuple(kind != Kind::None, kind == Kind::Drawing, kind == Kind::Project))
            << name << ": " << error;
        if (kind == Kind::None) {
            EXPECT_FALSE(error.empty()) << name;
        }
        if (kind == Kind::Drawing) {
            EXPECT_EQ(std::vector(source.DrawingBytes().begin(), source.DrawingBytes().end()), drawing);
        }
        if (kind == Kind::Project) {
            EXPECT_EQ(source.Project()->GetFormatCount(), 2) << name;
        }
    }
}

}  // namespace
}  // namespace tellurine

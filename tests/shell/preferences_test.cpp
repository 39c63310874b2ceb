#include "shell/preferences.h"
#include "shell/new_formats.h"
#include "shell/preference_pages.h"
#include "shell/texts.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <vector>

namespace tellurine::shell {
namespace {

// One value of each kind: the defaults themselves are the table's.
TEST(Preferences, AnEmptyProfileGivesEveryDefault) {
    MemoryProfile empty;
    Preferences prefs;
    prefs.JpegQuality = 5;  // whatever was there before is replaced
    prefs.CreateFormatFromImage.fill(7);
    LoadPreferences(empty, prefs);
    EXPECT_EQ(std::tuple(prefs.JpegQuality, prefs.AddTextFont), std::tuple(80, std::string("MS Sans Serif")));
    EXPECT_EQ(ProfileColour(prefs.TransparentColor1, 0xEBEBEB), 0xEBEBEBu);  // empty: the default
    EXPECT_EQ(prefs.CreateFormatFromImage, Preferences{}.CreateFormatFromImage);
    EXPECT_EQ(empty.size(), 0u);  // reading writes nothing
}

TEST(Preferences, EveryValueIsReadAndWrittenUnderItsOwnSectionAndName) {
    const std::vector<PreferenceName> names = AllPreferenceNames();
    std::set<std::pair<std::string, std::string>> unique;
    for (const auto& n : names) EXPECT_TRUE(unique.insert({n.section, n.name}).second) << n.section << "/" << n.name;
    // The names people's profiles already hold, odd spellings included.
    for (const auto& [section, name] : {std::pair<std::string, std::string>{"prefs", "TransparencyColorSheme"},
                                        {"prefs", "CompressVista256x256NewIcon"}, {"specs", "ReorganiseAuto"},
                                        {"specs", "AddTextFont"}, {"folders", "ActualDir"},
                                        {"Settings", "PreviewPages"}, {"prefs", "CreateFormatFromImage00"},
                                        {"prefs", "CreateFormatFromImageMac15"}, {"colors", "CustColor15"},
                                        {"specs", "News9"}, {"colors", "1bppSavedFgIndex"},
                                        {"colors", "8bppSavedBkIndex"}, {"prefs", "GridStrongerPixelCount"},
                                        {"colors", "PreviewColor"}})
        EXPECT_TRUE(unique.count({section, name})) << section << "/" << name;

    // Saving writes exactly those values; a profile holding other values reads them back.
    MemoryProfile profile;
    Preferences prefs;
    prefs.JpegQuality = -3;  // no range checks either way
    prefs.TransparencyColorSheme = 9;
    prefs.AddTextFont = "Noto Sans";
    prefs.CreateFormatFromImageMac[15] = 1;
    prefs.News[9] = "hello";
    SavePreferences(profile, prefs);
    EXPECT_EQ(profile.size(), names.size());
    for (const auto& n : names) EXPECT_TRUE(profile.Has(n.section, n.name)) << n.section << "/" << n.name;

    Preferences back;
    LoadPreferences(profile, back);
    EXPECT_EQ(std::tuple(back.JpegQuality, back.TransparencyColorSheme, back.AddTextFont,
                         back.CreateFormatFromImageMac[15], back.News[9]),
              std::tuple(-3, 9, std::string("Noto Sans"), 1, std::string("hello")));
}

TEST(Preferences, IntegersStoredAsTextReadAsTheirLeadingNumber) {
    const std::pair<const char*, int> cases[] = {{"42", 42}, {"  -7", -7}, {"+3x", 3}, {"abc", 0}, {"", 0},
                                                 {"99999999999", 2147483647}, {"-99999999999", -2147483647 - 1}};
    for (const auto& [textValue, expected] : cases) EXPECT_EQ(ProfileTextToInt(textValue), expected) << textValue;
    MemoryProfile profile;
    profile.WriteString("prefs", "JpegQuality", "65 percent");
    Preferences prefs;
    LoadPreferences(profile, prefs);
    EXPECT_EQ(prefs.JpegQuality, 65);
}

TEST(Preferences, ColoursAreDecimalTextsOfTheirValue) {
    // The second is the transparent colour; what is no number gives the default.
    for (const auto& [text, colour] :
         {std::pair{"15461355", 15461355u}, {"4043309056", 0xF1000000u}, {"", 7u}, {"red", 7u}})
        EXPECT_EQ(ProfileColour(text, 7), colour) << text;
    EXPECT_EQ(ProfileColourText(0xA0A0A0), "10526880");
}

TEST(Preferences, ColourListsSkipWhatIsNoColourAndKeepEachOnceMostRecentFirst) {
    using Colours = std::vector<std::uint32_t>;
    const std::pair<const char*, Colours> lists[] = {
        {"", {}},
        {"255,65280", {255, 65280}},
        {" 16777215 ,0", {0xFFFFFF, 0}},
        {"1,,x,-2,+3,4.5,16777216,99999999999,5", {1, 5}},
        {"7,8,7", {7, 8}},
        {"1,2,3,4", {1, 2, 3}},  // the first `limit`
    };
    for (const auto& [text, colours] : lists) EXPECT_EQ(ProfileColourList(text, 3), colours) << text;
    EXPECT_EQ(ProfileColourListText({255, 0, 0xFFFFFF}), "255,0,16777215");
    EXPECT_EQ(ProfileColourListText({}), "");

    // A new colour goes first and the oldest falls off; one already there moves to the front.
    Colours recent{1, 2, 3};
    for (const auto& [colour, after] : {std::pair{4u, Colours{4, 1, 2}}, {2u, Colours{2, 4, 1}}, {2u, Colours{2, 4, 1}}}) {
        PutColourFirst(recent, colour, 3);
        EXPECT_EQ(recent, after) << colour;
    }
}

TEST(NewFormats, ListsHoldEverySizeAndDepthOnce) {
    ASSERT_EQ(WindowsNewFormats().size(), kWindowsNewFormatCount);
    ASSERT_EQ(MacNewFormats().size(), kMacNewFormatCount);
    std::set<std::pair<int, int>> windows;
    for (const NewFormat& f : WindowsNewFormats()) windows.insert({f.size, f.bits});
    EXPECT_EQ(windows.size(), kWindowsNewFormatCount);
    for (const int size : {16, 24, 32, 48, 64, 128, 256})
        for (const int bits : {1, 4, 8, 24, 32}) EXPECT_TRUE(windows.count({size, bits})) << size << " " << bits;
    // A family's large elements exist only in full colour.
    for (const NewFormat& f : MacNewFormats()) EXPECT_TRUE(f.size <= 48 || f.bits == 32) << f.size;
    EXPECT_EQ(NewFormatText({48, 8, false}), "48 x 48, 8 bits (256 colors)");
    EXPECT_EQ(NewFormatText({16, 1, false}), "16 x 16, 1 bit (2 colors)");
    EXPECT_EQ(NewFormatText({64, 32, true, 2}), "32 x 32 @2x, 32 bits (true color with alpha)");
    // The depth menu's places, and the colours each depth holds as the canvas's title says them.
    for (const auto& [bits, index, plain, alpha] : {std::tuple{1, 0, "2", "2"}, std::tuple{4, 1, "16", "16"},
                                                    std::tuple{8, 2, "256", "256"},
                                                    std::tuple{24, 3, "16.7 million", "16.7 million"},
                                                    std::tuple{32, 4, "16.7 million", "16.7 million + alpha"}}) {
        EXPECT_EQ(std::tuple(DepthIndex(bits), ColourCountText(bits, false), ColourCountText(bits, true)),
                  std::tuple(index, std::string(plain), std::string(alpha)))
            << bits;
    }
    EXPECT_EQ(DepthIndex(16), 4);
    // The status bar's and the printed page's lines for a format.
    EXPECT_EQ(FormatLine(text::kFormatStatus, 256, 256, 32, true), "256 x 256, 32 bits, PNG-compressed");
    EXPECT_EQ(FormatLine(text::kFormatStatus, 16, 32, 1), "16 x 32, 1 bit");
    EXPECT_EQ(FormatLine(text::kPrintFooter, 48, 48, 8, true), "48 x 48, 8 bits");
    // A current Mac icon at first: every size from 16 to 1024 pixels but 48, at 32 bits.
    std::vector<int> chosen;
    for (const NewFormat& f : MacNewFormats())
        if (f.chosenByDefault) chosen.push_back(f.bits == 32 ? f.size : -f.size);
    EXPECT_EQ(chosen, (std::vector<int>{16, 32, 64, 128, 256, 512, 1024}));
}

// A format added to a project: the picture given, else the current format's picture at the new size
// and depth, else nothing; PNG-compressed from 256 pixels in a family, in an icon only as the
// preferences say.
TEST(NewFormats, AddedFormatsComeFromThePictureTheCurrentFormatOrNothing) {
    Preferences prefs;
    const CDIB picture = test::Attached(test::MakeDib(64, 64, 32, [](int, int) { return test::Px{0, 0, 200, 255}; }));
    CIconObject current;
    CKvIcon icon;
    ASSERT_TRUE(MakeAddedFormat(false, &picture, nullptr, 32, 32, 32, prefs, icon));
    current.AttachIcon(std::move(icon));
    const auto centre = [](const CKvIcon& made) { return test::TopDown(made.To32BitDib(), made.Width() / 2, made.Height() / 2); };
    EXPECT_EQ(centre(current.Icon()), (test::Px{0, 0, 200, 255}));
    for (const auto& [mac, compressNew, size, source, pixel, compressed] :
         {std::tuple{false, 0, 256, &current, test::Px{0, 0, 200, 255}, false}, {false, 1, 256, nullptr, test::Px{}, true},
          {true, 0, 256, nullptr, test::Px{}, true}, {true, 1, 128, &current, test::Px{0, 0, 200, 255}, false}}) {
        prefs.AutoEnableVistaCompression = compressNew;
        ASSERT_TRUE(MakeAddedFormat(mac, nullptr, source, size, size, 32, prefs, icon));
        EXPECT_EQ(std::tuple(icon.Width(), centre(icon), icon.IsCompressed()), std::tuple(size, pixel, compressed)) << size;
    }
}

// The dialog's pages reach each value by its name: a misspelt name would show nothing and lose
// what the user set.
TEST(PreferencePages, EveryFieldIsAValueOfItsKindOnAPage) {
    Preferences prefs;
    std::set<std::string> names;
    for (const PreferenceName& n : AllPreferenceNames()) names.insert(n.name);
    std::set<std::string> pagesUsed;
    for (const PrefField& field : PreferenceFields()) {
        SCOPED_TRACE(field.name);
        EXPECT_TRUE(names.count(field.name));
        EXPECT_TRUE(std::find(PreferencePages().begin(), PreferencePages().end(), std::string_view(field.page)) !=
                    PreferencePages().end());
        pagesUsed.insert(field.page);
        if (field.control == PrefControl::Folder) {
            EXPECT_NE(StringPreference(prefs, field.name), nullptr);
            EXPECT_EQ(IntPreference(prefs, field.name), nullptr);
        } else {
            int* value = IntPreference(prefs, field.name);
            ASSERT_NE(value, nullptr);
            EXPECT_LE(field.minimum, *value);  // the default is in range
            EXPECT_LE(*value, field.maximum);
        }
    }
    EXPECT_EQ(pagesUsed.size(), PreferencePages().size());
    // The accessors reach the variable itself, names with digits first included.
    *IntPreference(prefs, "ShowSplashScreen") = 0;
    *IntPreference(prefs, "8bppSavedFgIndex") = 7;
    *StringPreference(prefs, "ActualDir") = "/x";
    EXPECT_EQ(std::tuple(prefs.ShowSplashScreen, prefs.SavedFgIndex8bpp, prefs.ActualDir),
              std::tuple(0, 7, std::string("/x")));
    EXPECT_EQ(IntPreference(prefs, "NoSuchValue"), nullptr);
}

}  // namespace
}  // namespace tellurine::shell

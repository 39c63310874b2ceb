// The preference table: every value the program keeps in its profile, in the order it is read,
// with its section, its value name (odd spellings kept, they are what existing profiles hold) and
// its default. Included by preferences.h/.cpp with the macros defined:
//   PREF_INT(section, Name, default)     an integer value
//   PREF_STRING(section, Name, default)  a string value (colours: the decimal text of 0x00BBGGRR,
//                                        empty for the default colour; lists of colours, such as
//                                        RecentColors and SavedSwatches: those texts separated by
//                                        commas, "255,65280")
//   PREF_INT_AS(section, member, "Name", default)  an integer whose name is no C++ identifier
#define TELLURINE_PREFERENCE_TABLE(PREF_INT, PREF_STRING, PREF_INT_AS)         \
    PREF_INT("prefs", ExcludeTempFilesNetwork, 0)                              \
    PREF_INT("prefs", UseTempFiles, 1)                                         \
    PREF_INT("prefs", TempSpace, 11)                                           \
    PREF_INT("prefs", MultiMonitorFullScreen, 0)                               \
    PREF_INT("prefs", JpegQuality, 80)                                         \
    PREF_INT("prefs", PhotoCDSize, 2)                                          \
    PREF_INT("prefs", LibrarianAskDeletion, 1)                                 \
    PREF_INT("prefs", LibrarianConfirmSave, 1)                                 \
    PREF_INT("prefs", LibrarianItemInformation, 1)                             \
    PREF_INT("prefs", DefaultImageSize, 0)                                     \
    PREF_INT("prefs", DefaultWmfCX, 512)                                       \
    PREF_INT("prefs", DefaultWmfCY, 512)                                       \
    PREF_INT("prefs", SaveBmp32V4Header, 0)                                    \
    PREF_INT("prefs", NewFileBrowserAtStartup, 0)                              \
    PREF_INT("prefs", NewIcoDocAtStartup, 0)                                   \
    PREF_INT("prefs", ShowSplashScreen, 1)                                     \
    PREF_INT("prefs", ShowWarnComponents, 1)                                   \
    PREF_INT("prefs", UseExternalBrowser, 0)                                   \
    PREF_INT("prefs", ShowExplorerToolBar, 1)                                  \
    PREF_INT("prefs", ShowImageToolBar, 1)                                     \
    PREF_INT("prefs", ShowBrowserToolBar, 1)                                   \
    PREF_INT("prefs", ShowSearchToolBar, 1)                                    \
    PREF_INT("prefs", MaximizeOnOpen, 0)                                       \
    PREF_INT("prefs", ShowIcoFormatBar, 1)                                     \
    PREF_INT("prefs", ShowIcoLayerBar, 0)                                      \
    PREF_INT("prefs", PosIcoFormatBar, 0)                                      \
    PREF_INT("prefs", PosIcoLayerBar, 1)                                       \
    PREF_INT("prefs", ChooseInitialIconSystem, 1)                              \
    PREF_INT("prefs", PosDibLayersBar, 0)                                      \
    PREF_INT("prefs", AskOpenImageStrip, 1)                                    \
    PREF_INT("prefs", ChooseInitialWinIconFormat, 1)                           \
    PREF_INT("prefs", ChooseInitialMacIconFormat, 1)                           \
    PREF_INT("prefs", TransparencyStyle, 1)                                    \
    PREF_INT("prefs", TransparencyColorSheme, 2)                               \
    PREF_INT("prefs", ShowWarnTypes, 1)                                        \
    PREF_INT("prefs", TypesAutoCorrect, 0)                                     \
    PREF_INT("prefs", TypesTypeICO, 1)                                         \
    PREF_INT("prefs", TypesTypeICL, 1)                                         \
    PREF_INT("prefs", TypesTypeICN, 1)                                         \
    PREF_INT("prefs", WinExplorerCompatibleOrder, 0)                           \
    PREF_INT("prefs", AutoEnableVistaCompression, 1)                           \
    PREF_INT("prefs", MacPngElements, 0)                                       \
    PREF_INT("prefs", CompressVista256x256NewIcon, 1)                          \
    PREF_STRING("prefs", TransparentColor1, "")                                \
    PREF_STRING("prefs", TransparentColor2, "")                                \
    PREF_INT("prefs", GridStyle, 1)                                            \
    PREF_STRING("prefs", GridColor, "")                                        \
    PREF_INT("prefs", GridStrongerLine, 1)                                     \
    PREF_INT("prefs", GridStrongerPixelCount, 8)                               \
    PREF_INT("specs", ItemListViewStyle, 0)                                    \
    PREF_INT("specs", RenameAddZeros, 1)                                       \
    PREF_INT("specs", OpenDlgShowPreview, 1)                                   \
    PREF_INT("specs", DefaultAnimationSpeed, 9)                                \
    PREF_INT("specs", ReorganiseAuto, 1)                                       \
    PREF_STRING("specs", EmailFrom, "")                                        \
    PREF_INT("specs", ComputerSearchTypes, 0)                                  \
    PREF_INT("specs", PrintHeaderFooter, 1)                                    \
    PREF_INT("specs", ExplorerSeparatorPos, 250)                               \
    PREF_INT("specs", ExplorerShowToolTips, 1)                                 \
    PREF_INT("specs", ExplorerSortBy, 0)                                       \
    PREF_INT("specs", ExplorerSortOrder, 0)                                    \
    PREF_INT("specs", ExplorerShowImageFiles, 1)                               \
    PREF_INT("specs", ExplorerShowProgramFiles, 1)                             \
    PREF_INT("specs", ExplorerRemoveNoIconFiles, 0)                            \
    PREF_INT("specs", LibrarianSortBy, 0)                                      \
    PREF_INT("specs", LibrarianSortOrder, 0)                                   \
    PREF_INT("specs", LibrarianVisible, 1)                                     \
    PREF_INT("specs", LibrarianAutoPreview, 1)                                 \
    PREF_INT("specs", LibrarianThumbnailSize, 0)                               \
    PREF_INT("specs", LibrarianAutoFullScreen, 0)                              \
    PREF_INT("specs", LibrarianShowGrid, 1)                                    \
    PREF_INT("specs", LibrarianAddDir, 1)                                      \
    PREF_INT("specs", LibrarianShowToolTips, 1)                                \
    PREF_INT("specs", LibrarianSeparatorH, 300)                                \
    PREF_INT("specs", LibrarianSeparatorV, 300)                                \
    PREF_INT("specs", FullScreenAnimation, 1)                                  \
    PREF_INT("specs", IndexOfTheTip, 0)                                        \
    PREF_INT("specs", ShowOpenDlgPreview, 1)                                   \
    PREF_INT("specs", ApplyFilterToCreateIconFromImageValue, 10)               \
    PREF_INT("specs", HighQualityResample, 0)                                  \
    PREF_INT("specs", UseTransparentColorToCreateIconFromImage, 0)             \
    PREF_INT("specs", NewPicPreset, 4)                                         \
    PREF_INT("specs", NewPicWidth, 256)                                        \
    PREF_INT("specs", NewPicBpp, 32)                                           \
    PREF_INT("specs", NewPicCustomHeight, 32)                                  \
    PREF_INT("specs", NewPicCustomWidth, 32)                                   \
    PREF_INT("specs", LibBarSizeV, 288)                                        \
    PREF_INT("specs", ExeDisplaySize, 3)                                       \
    PREF_INT("specs", ExeShowInfo, 1)                                          \
    PREF_INT("specs", ExeDisplayColor, 3)                                      \
    PREF_INT("specs", IclDisplaySize, 2)                                       \
    PREF_INT("specs", IclShowInfo, 1)                                          \
    PREF_INT("specs", IclDisplayColor, 3)                                      \
    PREF_INT("specs", LibrarianDisplaySize, 1)                                 \
    PREF_INT("specs", LibrarianShowInfo, 1)                                    \
    PREF_INT("specs", LibrarianDisplayColor, 3)                                \
    PREF_STRING("specs", AddTextFont, "MS Sans Serif")                         \
    PREF_INT("specs", ShowGrid, 1)                                             \
    PREF_INT("specs", DefaultZoomAuto, 1)                                      \
    PREF_INT("specs", TransparentCopy, 1)                                      \
    PREF_INT("specs", Smooth32BppDraw, 1)                                      \
    PREF_INT("specs", iGaussianBlurRadius, 8)                                  \
    PREF_STRING("colors", PreviewColor, "")                                    \
    PREF_STRING("colors", SavedFgRGBColor, "")                                 \
    PREF_STRING("colors", SavedBkRGBColor, "")                                 \
    PREF_INT("colors", SavedFgIndex, 0)                                        \
    PREF_INT("colors", SavedBkIndex, 65535)                                    \
    PREF_INT_AS("colors", SavedFgIndex1bpp, "1bppSavedFgIndex", 0)             \
    PREF_INT_AS("colors", SavedBkIndex1bpp, "1bppSavedBkIndex", 65535)         \
    PREF_INT_AS("colors", SavedFgIndex8bpp, "8bppSavedFgIndex", 0)             \
    PREF_INT_AS("colors", SavedBkIndex8bpp, "8bppSavedBkIndex", 65535)         \
    PREF_INT("colors", FgOpacity, 255)                                         \
    PREF_INT("colors", BkOpacity, 255)                                         \
    PREF_STRING("colors", RecentColors, "")                                    \
    PREF_STRING("colors", SavedSwatches, "")                                   \
    PREF_STRING("colors", SavedGradient, "")                                   \
    PREF_STRING("folders", ActualDir, "")                                      \
    PREF_STRING("folders", LibrarianLocation, "")                              \
    PREF_STRING("folders", PreviewTempDir, "")                                 \
    PREF_INT("Settings", PreviewPages, 0)

// Every text the program and tellurine-cli show, in one place. The messages whose wording users
// and other tools know are kept exactly as they have always read, spelling included. Plain
// strings with Qt's %1 place markers, so the command-line tool shares them without Qt.
#pragma once

namespace tellurine::text {

inline constexpr const char* kAppTitle = "Tellurine";
inline constexpr const char* kSplashVersion = "Icon editor %1";  // under the name on the splash

// Opening.
inline constexpr const char* kIconReadError =
    "Error while reading the specified icon file. The file does not contains icons, has an invalid format or is "
    "corrupted.";
inline constexpr const char* kImageReadError =
    "Error while reading the specified image file. The file has an invalid format or is corrupted.";
inline constexpr const char* kOutOfMemory = "Out of memory to perform operation.";
inline constexpr const char* kOutOfMemoryTitle = "Fatal error";
// %1: the file's name; %2: the kind of document ("Icon Library", "EXE File", ...).
inline constexpr const char* kCannotOpenYet =
    "%1 is a file of the kind \"%2\", which this version of Tellurine cannot open yet.";
// A picture shaped like a strip of equal pictures (AskOpenImageStrip): %1 the file's name; the
// strip's choice %1 pictures of %2 x %3 pixels.
inline constexpr const char* kStripQuestion =
    "%1 may be a strip of several pictures. Open it as (or type a cell size, such as 24x24):";
inline constexpr const char* kOpenAsPicture = "One picture";
inline constexpr const char* kOpenAsStrip = "An icon of %1 pictures of %2 x %3";
inline constexpr const char* kStripCellError = "%1 is not a cell size that fits %2: give WIDTHxHEIGHT, at most the picture's size.";
// An error's detail line: the file, then the reason.
inline constexpr const char* kErrorDetail = "%1: %2";
inline constexpr const char* kFileNotFound = "The file %1 cannot be opened: %2";
// %1: the file's name, while it is read (shown only if that takes long).
inline constexpr const char* kOpeningFile = "Opening %1...";
inline constexpr const char* kSavingFile = "Saving %1...";
inline constexpr const char* kCancel = "Cancel";

// Saving.
inline constexpr const char* kSaveChanges = "Save changes to %1?";
inline constexpr const char* kSaveFailed = "The file %1 could not be saved: %2";
inline constexpr const char* kNoMacElement = "no format of the icon has a Macintosh element";
inline constexpr const char* kFormatNotWritten = "a format could not be written";
// Asked before a file is written that cannot hold the whole project: %1 the file's name, %2 the
// formats, one a line, each followed by kLeftOut or kSavedChanged.
inline constexpr const char* kFormatsLeftOutQuestion =
    "%1 cannot hold all of the project; these formats will be left out or changed:\n%2\n\nSave anyway?";
inline constexpr const char* kLeftOut = "left out";
inline constexpr const char* kSavedChanged = "saved with other colors or transparency";
inline constexpr const char* kNoIconsetPicture = "no format of the icon has a picture an icon set can hold";

// Overwrite prompt.
inline constexpr const char* kOverwriteTitle = "Replace Existing File";
inline constexpr const char* kOverwriteQuestion = "The file %1 already exists. Do you want to replace it?";
inline constexpr const char* kOverwriteMacQuestion =
    "The Macintosh icon file %1 already exists. Do you want to replace it?";
inline constexpr const char* kExistingFile = "Existing file";
inline constexpr const char* kThisProject = "This project";
inline constexpr const char* kSizeLine = "Size:";
inline constexpr const char* kDateLine = "Date Modified:";
inline constexpr const char* kReplace = "&Replace";
inline constexpr const char* kDontReplace = "&Don't Replace";

// New icon.
inline constexpr const char* kNewIconTitle = "New Icon";
inline constexpr const char* kWindowsSystem = "&Windows icon";
inline constexpr const char* kMacSystem = "M&acintosh icon";
inline constexpr const char* kFormatsToCreate = "&Formats to create:";
inline constexpr const char* kPresetLabel = "&Preset:";
inline constexpr const char* kPresetAsChosen = "The formats chosen below";
inline constexpr const char* kCompressVista256 = "Co&mpress 256x256 formats for Windows Vista";
inline constexpr const char* kNoFormatChosen = "Choose at least one format.";

// New format.
inline constexpr const char* kNewFormatTitle = "New Format";
inline constexpr const char* kFormatWidth = "&Width:";
inline constexpr const char* kFormatHeight = "&Height:";
inline constexpr const char* kFormatDepth = "&Colors:";
inline constexpr const char* kDepthNames[] = {"Monochrome (1 bit)", "16 colors (4 bits)", "256 colors (8 bits)",
                                              "True color (24 bits)", "True color with alpha (32 bits)"};
// %3: the depth, "1 bit" or "8 bits".
inline constexpr const char* kFormatExists = "The icon already has a %1 x %2 format at %3.";

// Menus and commands.
inline constexpr const char* kMenuFile = "&File";
inline constexpr const char* kMenuEdit = "&Edit";
inline constexpr const char* kMenuView = "&View";
inline constexpr const char* kMenuWindow = "&Window";
inline constexpr const char* kMenuHelp = "&Help";
inline constexpr const char* kNewIcon = "&New Icon...";
inline constexpr const char* kOpen = "&Open...";
inline constexpr const char* kClose = "&Close";
inline constexpr const char* kSave = "&Save";
inline constexpr const char* kSaveAs = "Save &As...";
inline constexpr const char* kRecentFiles = "Recent &Files";
inline constexpr const char* kMoreRecentFiles = "&More Recent Files";
inline constexpr const char* kNoRecentFile = "(none)";
inline constexpr const char* kPrint = "&Print...";
inline constexpr const char* kPrintPreview = "Print Pre&view...";
inline constexpr const char* kPrintFooter = "%1 x %2, %3";  // %3: "1 bit", "8 bits"
inline constexpr const char* kExit = "E&xit";
inline constexpr const char* kNewFormat = "&New Format...";
inline constexpr const char* kDeleteFormat = "&Delete Format";
inline constexpr const char* kToolBar = "&Toolbar";
inline constexpr const char* kStatusBar = "&Status Bar";
inline constexpr const char* kFormatBar = "&Format Bar";
inline constexpr const char* kCascade = "&Cascade";
inline constexpr const char* kTile = "&Tile";
inline constexpr const char* kCloseAll = "Close &All";
inline constexpr const char* kMoreWindows = "&More Windows...";
inline constexpr const char* kSelectWindowTitle = "Select Window";
inline constexpr const char* kSelectWindow = "&Select a window:";
inline constexpr const char* kToolPalette = "Tool &Palette";
inline constexpr const char* kToolPaletteTitle = "Tools";
inline constexpr const char* kWhatsNew = "&What's New";
inline constexpr const char* kAbout = "&About Tellurine...";
inline constexpr const char* kAboutText =
    "<b>Tellurine</b> %1<br>An editor of Windows icons and cursors, animated cursors and Macintosh icon "
    "families.";
inline constexpr const char* kReady = "Ready";
inline constexpr const char* kFormatStatus = "%1 x %2, %3%4";  // %3: "1 bit", "8 bits"
inline constexpr const char* kCompressedSuffix = ", PNG-compressed";

// The canvas.
inline constexpr const char* kCanvasTitle = "%d x %d - %s colors - Zoom %d %%";
inline constexpr const char* kTrueColourCount = "16.7 million";
inline constexpr const char* kTrueColourAlphaCount = "16.7 million + alpha";
inline constexpr const char* kPointerPane = "@0  %d,%d";
inline constexpr const char* kSelectionPane = "@1  %dx%d";
inline constexpr const char* kZoomIn = "Zoom in";
inline constexpr const char* kZoomOut = "Zoom out";
inline constexpr const char* kFitToWindow = "Fit to window zoom";
inline constexpr const char* kDisplayGrid = "Display &Grid";
inline constexpr const char* kProperties = "&Properties...";
inline constexpr const char* kPropertiesTitle = "Format Properties";
inline constexpr const char* kPropertiesSize = "Size:";
inline constexpr const char* kPropertiesDepth = "Colors:";
inline constexpr const char* kPropertiesCompressed = "&Compressed (stored as PNG)";
inline constexpr const char* kPropertiesMacElement = "Macintosh &element:";
inline constexpr const char* kBrowse = "Browse...";

// The colour bar.
inline constexpr const char* kColorBar = "&Color Bar";
inline constexpr const char* kColorBarTitle = "Colors";
inline constexpr const char* kForegroundOpacity = "Opacity of the foreground colour";
inline constexpr const char* kBackgroundOpacity = "Opacity of the background colour";
inline constexpr const char* kForegroundOpacityLabel = "Foreground:";
inline constexpr const char* kBackgroundOpacityLabel = "Background:";
inline constexpr const char* kChooseColour = "Choose a Color";

// The colour dialog.
inline constexpr const char* kColourRed = "&Red:";
inline constexpr const char* kColourGreen = "&Green:";
inline constexpr const char* kColourBlue = "&Blue:";
inline constexpr const char* kColourHue = "&Hue:";
inline constexpr const char* kColourSaturation = "&Saturation:";
inline constexpr const char* kColourValue = "&Value:";
inline constexpr const char* kColourAlpha = "&Alpha:";
inline constexpr const char* kColourHex = "He&x:";
inline constexpr const char* kColourPickerHelp =
    "Click or drag in the square for the saturation (left to right) and value (bottom to top), in the strip "
    "for the hue.";
inline constexpr const char* kColourPreviewHelp = "The color before (left) and the color chosen (right)";
inline constexpr const char* kRecentColours = "Recent colors:";
inline constexpr const char* kSavedSwatches = "Swatches:";
inline constexpr const char* kSavedSwatchesHelp = "Click a swatch to take its color; right-click it to remove it.";
inline constexpr const char* kAddToSwatches = "Add to S&watches";
inline constexpr const char* kPickColour = "&Pick";
inline constexpr const char* kPickColourHelp =
    "Takes the color of a pixel of the program's windows (of the whole screen where the system allows): click "
    "it, or press Esc to give up.";

// Preferences.
inline constexpr const char* kPreferences = "&Preferences...";
inline constexpr const char* kPreferencesTitle = "Preferences";
inline constexpr const char* kCanvasPage = "Canvas";
inline constexpr const char* kTransparencyStyle = "&Transparency:";
inline constexpr const char* kTransparencyStyles[] = {"Plain colour",           "Checkerboard of 4 pixels",
                                                      "Checkerboard of 8 pixels", "Checkerboard of 16 pixels",
                                                      "Checkerboard of 32 pixels", "Checkerboard of 1 pixel"};
inline constexpr const char* kColourScheme = "Colour &scheme:";
inline constexpr const char* kTransparentColour1 = "First colour:";
inline constexpr const char* kTransparentColour2 = "Second colour:";
inline constexpr const char* kGridStyle = "&Grid:";
inline constexpr const char* kGridStyles[] = {"Solid lines", "Dotted lines", "Dots at the crossings"};
inline constexpr const char* kGridColour = "Grid colour:";
inline constexpr const char* kStrongerLines = "Stronger line every";
inline constexpr const char* kPreviewColour = "Preview background:";
inline constexpr const char* kShowGridNewViews = "Show the grid in new windows";
inline constexpr const char* kAutoZoomNewViews = "Fit new windows to their size (auto zoom)";

// Undo and the drawing tools.
inline constexpr const char* kUndo = "Undo (Ctrl+Z)";
inline constexpr const char* kRedo = "Redo (Ctrl+Y)";
inline constexpr const char* kMenuTools = "&Tools";
inline constexpr const char* kSelectionTool = "Selection (A)";
// The tools in the order of editor::ToolKind.
inline constexpr const char* kToolNames[] = {kSelectionTool,      "Color Picker (C)",     "Color Replacer",
                                             "Pencil (P)",        "Brush (J)",            "Flood Fill (Q)",
                                             "Line (L)",          "Rectangle (M)",        "Filled Rectangle (N)",
                                             "Ellipse (X)",       "Filled Ellipse (Y)",   "3D Frame tool (3)"};
inline constexpr const char* kPreserveTransparency = "Preserve Transparency  (T)";
inline constexpr const char* kPreserveTransparencyHelp = "Preserves Tranparency when moving or copying image selection";
inline constexpr const char* kCut = "Cu&t";
inline constexpr const char* kCopy = "&Copy";
inline constexpr const char* kPaste = "&Paste";
inline constexpr const char* kPasteAsFormat = "Paste as &New Format";
inline constexpr const char* kPasteAsNewIcon = "Paste as New &Icon";
inline constexpr const char* kDelete = "&Delete";
inline constexpr const char* kSelectAll = "Select &All";
inline constexpr const char* kFloatingBehind = "Set Floating Selection to Background/Foreground (End/Home)";
inline constexpr const char* kBrushShapes = "Brush &Shape";
inline constexpr const char* kSmoothEdges = "Smooth Edges (E)";
inline constexpr const char* kGradients = "&Gradient";
inline constexpr const char* kGradientNames[] = {"Solid", "Horizontal gradient", "Vertical gradient", "Radial gradient",
                                                 "Angle gradient"};
inline constexpr const char* kReflectedGradient = "Reflected gradient effect";
inline constexpr const char* kEditGradient = "&Edit Gradient...";
inline constexpr const char* kGradientTitle = "Edit Gradient";
inline constexpr const char* kGradientNote =
    "Click the bar to add a stop, drag a stop to move it, double-click it to choose its colour.";
inline constexpr const char* kGradientRemoveStop = "&Remove Stop";
inline constexpr const char* kGradientLoad = "&Load...";
inline constexpr const char* kGradientSave = "&Save...";
inline constexpr const char* kGradientFilter = "GIMP Gradients (*.ggr);;All Files (*)";
inline constexpr const char* kGradientReadError = "The gradient could not be read: %1";
inline constexpr const char* kGradientWriteError = "The gradient could not be written: %1";
inline constexpr const char* kBrushShapeNames[] = {"Fine",          "Square (medium)", "Square (large)", "Square (extra large)",
                                                   "Circle (small)", "Circle (medium)", "Circle (large)",
                                                   "Circle (extra large)", "Diamond (large)", "Diamond (large)",
                                                   "Oblique (right)", "Oblique (left)"};

// Recovery after a crash.
inline constexpr const char* kRestoreTitle = "Restore Unsaved Work";
inline constexpr const char* kRestoreQuestion =
    "Tellurine did not close properly last time. Restore the icons that had changes not yet saved?\n\n%1";

// Windows and dialogs.
inline constexpr const char* kWhatsNewTitle = "What's New";
inline constexpr const char* kOpenTitle = "Open";
inline constexpr const char* kSaveAsTitle = "Save As";

// ---- Animated cursors.
inline constexpr const char* kAniPlay = "Play";
inline constexpr const char* kAniPause = "Pause";
inline constexpr const char* kAniPreviousStep = "Previous Step";
inline constexpr const char* kAniNextStep = "Next Step";
inline constexpr const char* kAniNewIconFromStep = "New Icon from Step";
// A step's row: %1 its number, %2 x %3 its size, %4 its depth, %5 its rate, %6 the rate in
// milliseconds, %7,%8 its hotspot.
inline constexpr const char* kAniStepRow = "Step %1: %2 x %3, %4\n%5 (%6 ms), hotspot %7,%8";
inline constexpr const char* kAniOneBit = "1 bit";
inline constexpr const char* kAniBits = "%1 bits";
inline constexpr const char* kAniOneJiffy = "1 jiffy";
inline constexpr const char* kAniJiffies = "%1 jiffies";
inline constexpr const char* kAniStepOf = "Step %1 of %2";
inline constexpr const char* kAniTitle = "Title: %1";
inline constexpr const char* kAniAuthor = "Author: %1";
// The name of an icon made from a step: %1 the animation's name, %2 the step's number.
inline constexpr const char* kAniStepProject = "%1 step %2";

// ---- Programs and libraries.
inline constexpr const char* kExeLoading = "Loading ...";
inline constexpr const char* kExeNoIcons = "This file contains no icons.";
inline constexpr const char* kExeOneFormat = "1 format";
inline constexpr const char* kExeFormatCount = "%1 formats";
// A cursor group's line: %1 its formats ("1 format").
inline constexpr const char* kExeCursorInfo = "cursor, %1";
// %1: the group's name; %2: its formats; %3 x %4: the size of the format shown.
inline constexpr const char* kExeTileToolTip = "%1: %2 format(s), shown at %3 x %4";
inline constexpr const char* kExeOpenAsProject = "&Open as Icon Project";
inline constexpr const char* kExeOpenAsLibrary = "Open as Icon &Library";
inline constexpr const char* kExeSaveAsIco = "Save as .&ico...";
inline constexpr const char* kExeSaveAll = "Save &All...";
inline constexpr const char* kExeSaveAllTitle = "Save Every Icon in a Folder";
inline constexpr const char* kExeIcoFilter = "ICO Files (*.ico)";
// %1: how many; %2: the folder; %3: their names, one a line.
inline constexpr const char* kExeReplaceFiles =
    "%1 of the files already exist in %2:\n%3\nDo you want to replace them?";
inline constexpr const char* kExeSaveAllFailed = "Some icons could not be saved in %1:\n%2";
inline constexpr const char* kExeSavedAll = "%1 icons saved in %2";
inline constexpr const char* kExeReplaceIcon = "&Replace Icon...";
inline constexpr const char* kExeAddIcon = "A&dd Icon...";
inline constexpr const char* kExeSaveAsPng = "Save as &PNG...";
inline constexpr const char* kExeChooseIconTitle = "Choose the Icon";
inline constexpr const char* kExeSignedTitle = "Signed Program";
inline constexpr const char* kExeRemoveSignature =
    "%1 is signed. Setting its icon removes the signature, and Windows will no longer show who published "
    "it.\n\nSet the icon anyway?";
inline constexpr const char* kExeSetIconFailed = "The icon of %1 could not be set:\n%2";
inline constexpr const char* kExeIconSet = "The icon of %1 was set; the program as it was is kept as %2";
inline constexpr const char* kExePngFolderTitle = "Save the Group's Formats as PNG Files";
inline constexpr const char* kExeSavedPngs = "%1 PNG files saved in %2";

// ---- Icon libraries.
inline constexpr const char* kNewIconLibrary = "New Icon &Library";
// The folder explorer and search windows.
inline constexpr const char* kBrowseFolder = "&Browse Folder...";
inline constexpr const char* kFindIcons = "&Find Icons...";
inline constexpr const char* kBrowseFolderTitle = "Browse Folder";
inline constexpr const char* kFindIconsTitle = "Find Icons in Folder";
inline constexpr const char* kExplorerSubfolders = "Su&bfolders";
inline constexpr const char* kExplorerAllKinds = "All kinds";
inline constexpr const char* kExplorerKindNames[] = {"Icons",    "Cursors",   "Animated cursors", "Macintosh icons",
                                                     "Programs", "Libraries", "Pictures",         "Drawings"};
inline constexpr const char* kExplorerAllSizes = "All sizes";
inline constexpr const char* kExplorerAllDepths = "All depths";
inline constexpr const char* kExplorerDepthItem = "%1 bits";
inline constexpr const char* kExplorerAnyAlpha = "With or without alpha";
inline constexpr const char* kExplorerWithAlpha = "With alpha";
inline constexpr const char* kExplorerWithoutAlpha = "Without alpha";
inline constexpr const char* kExplorerSortNames[] = {"By name", "By date", "By size"};
inline constexpr const char* kExplorerDescending = "&Descending";
inline constexpr const char* kExplorerName = "&Name:";
inline constexpr const char* kExplorerLike = "&Like...";
inline constexpr const char* kExplorerLikeNone = "(no icon)";
inline constexpr const char* kExplorerStop = "&Stop";
inline constexpr const char* kExplorerOpen = "&Open";
inline constexpr const char* kExplorerReading = "Reading %1 of %2 files...";
inline constexpr const char* kExplorerListing = "Looking for files...";
inline constexpr const char* kExplorerStopped = "Stopped: %1 of %2 files read, %3 shown";
inline constexpr const char* kExplorerDone = "%1 files, %2 shown";
inline constexpr const char* kExplorerNoFiles = "No file here holds icons.";
inline constexpr const char* kExplorerNoneShown = "No file meets the conditions.";
inline constexpr const char* kExplorerUnreadable = "cannot be read";
inline constexpr const char* kExplorerFormats = "%1 formats";
inline constexpr const char* kExplorerOneFormat = "1 format";
inline constexpr const char* kExplorerFilter = "Explorer Files (*.exp)";
inline constexpr const char* kSearchFilter = "Recherche (*.sea)";
inline constexpr const char* kExplorerNotReadable = "The explorer file could not be read.";
// The librarian's collections and their dock.
inline constexpr const char* kCollectionsTitle = "Collections";
inline constexpr const char* kCollections = "&Collections";
inline constexpr const char* kCollectionNew = "&New Collection...";
inline constexpr const char* kCollectionRename = "Re&name Collection...";
inline constexpr const char* kCollectionDelete = "&Delete Collection";
inline constexpr const char* kCollectionExportLibrary = "Export as &Library...";
inline constexpr const char* kCollectionExportFolder = "Export as &Folder of Icons...";
inline constexpr const char* kCollectionRemoveIcon = "&Remove from Collection";
inline constexpr const char* kCollectionAdd = "Add to Co&llection";
inline constexpr const char* kCollectionAddTip = "Adds the icons of the active window, or the files chosen in it, to the collection shown";
inline constexpr const char* kCollectionNameLabel = "Name of the collection:";
inline constexpr const char* kCollectionFirstName = "My Icons";
inline constexpr const char* kCollectionNone = "(no collection)";
inline constexpr const char* kCollectionEmpty = "Drop icons here, or use Add to Collection in any window.";
// %1: the collection's name.
inline constexpr const char* kCollectionDeleteAsk = "Delete the collection \"%1\" and every icon in it?";
// %1: how many icons; %2: the collection's name.
inline constexpr const char* kCollectionRemoveAsk = "Remove %1 icons from the collection \"%2\"? Their files are deleted.";
inline constexpr const char* kCollectionExists = "A collection named \"%1\" already exists.";
inline constexpr const char* kCollectionNameEmpty = "A collection needs a name.";
inline constexpr const char* kCollectionNameLong = "The name is too long.";
inline constexpr const char* kCollectionNameBad =
    "A name may not start with a dot or hold a control character or any of / \\ : * ? \" < > |.";
inline constexpr const char* kCollectionNoIcon = "The file holds no icon.";
inline constexpr const char* kCollectionIconGone = "The icon's file is no longer there.";
// %1: the icon's file name.
inline constexpr const char* kCollectionIconUnreadable = "%1 is not an icon or cursor file.";
inline constexpr const char* kCollectionNoFit = "The icons do not fit a library of that kind.";
inline constexpr const char* kCollectionAdding = "Adding icons to the collection...";
// %1: the files that were not added, one a line.
inline constexpr const char* kCollectionNotAdded = "These files gave no icon:\n%1";
// %1: the file names, one a line.
inline constexpr const char* kCollectionReplaceAsk = "These files are in the folder already:\n%1\nReplace them?";
inline constexpr const char* kCollectionNotSaved = "The collection could not be exported.";
inline constexpr const char* kLibraryAddIcons = "A&dd Icons...";
inline constexpr const char* kLibraryAddOpen = "Add &Open Icon";
inline constexpr const char* kLibraryRemove = "&Remove";
inline constexpr const char* kLibraryRename = "Re&name";
inline constexpr const char* kLibraryMoveEarlier = "Move &Earlier";
inline constexpr const char* kLibraryMoveLater = "Move &Later";
inline constexpr const char* kLibrarySaveFolder = "Save as Icons in &Folder...";
inline constexpr const char* kLibrarySaveFolderTitle = "Save Every Icon of the Library in a Folder";
inline constexpr const char* kLibraryEmpty = "This library holds no icons yet. Add icons with Add Icons, or drop icon files here.";
inline constexpr const char* kLibraryNoOpenIcons = "No icon is open";
// %1: the files that were not added, one a line.
inline constexpr const char* kLibraryNotAdded = "These files hold no icon that a library can take:\n%1";
// %1: the name typed; %2: why it cannot be used.
inline constexpr const char* kLibraryBadName = "The icon cannot be named \"%1\": %2.";
inline constexpr const char* kLibraryIclFilter = "Icon Library (*.icl)";
inline constexpr const char* kLibraryDll64Filter = "Resource Library, 64-bit (*.dll)";
inline constexpr const char* kLibraryDll32Filter = "Resource Library, 32-bit (*.dll)";
inline constexpr const char* kLibraryDoesNotFit = "the icons do not fit a file of this kind";

// ---- Image commands.
inline constexpr const char* kMenuImage = "&Image";
inline constexpr const char* kMenuFilters = "&Filters";
inline constexpr const char* kResizeImageItem = "Resi&ze Image...";
inline constexpr const char* kRotateImageItem = "&Rotate Image...";
inline constexpr const char* kFlipHorizontal = "Flip &Horizontal";
inline constexpr const char* kFlipVertical = "Flip &Vertical";
inline constexpr const char* kColorDepthMenu = "Color &Depth";
inline constexpr const char* kGaussianBlurItem = "&Gaussian Blur...";
inline constexpr const char* kInvertColors = "&Invert colors";
inline constexpr const char* kLastFilter = "Last Filter";
inline constexpr const char* kWorking = "Working on the image...";
inline constexpr const char* kMakingIcon = "Making the icon...";
inline constexpr const char* kCommandFailed = "The image could not be changed: there is not enough memory.";
inline constexpr const char* kNewIconFromImage = "New Icon from Ima&ge...";
inline constexpr const char* kNewFormatFromImage = "New Format from &Image...";
inline constexpr const char* kBatchItem = "&Batch...";
inline constexpr const char* kNewIconFromImageTitle = "New Icon from Image";
inline constexpr const char* kUseTransparentColor = "Make the color of the top-left pixel &transparent";
inline constexpr const char* kFilterAfterResize = "Filter after resi&ze:";
inline constexpr const char* kFilterSmooth = "Smooth";
inline constexpr const char* kFilterNone = "None";
inline constexpr const char* kFilterSharpen = "Sharpen";
inline constexpr const char* kCannotMakeIcon = "The icon could not be made from %1: %2";
inline constexpr const char* kPictureFilter =
    "Pictures (*.png *.bmp *.jpg *.jpeg *.gif *.tif *.tiff *.psd *.ora *.xcf *.ico *.icns *.svg *.svgz)";
inline constexpr const char* kBatchTitle = "Batch";
inline constexpr const char* kBatchPictures = "&Pictures:";
inline constexpr const char* kBatchAdd = "&Add...";
inline constexpr const char* kBatchRemove = "&Remove";
inline constexpr const char* kBatchFolder = "&Folder:";
inline constexpr const char* kBatchBrowse = "B&rowse...";
inline constexpr const char* kBatchSizes = "&Sizes:";
inline constexpr const char* kBatchDepths = "&Depths:";
inline constexpr const char* kBatchMac = "&Macintosh icon families (.icns)";
inline constexpr const char* kBatchProgress = "Making icons...";
// File > Export Icon Set...
inline constexpr const char* kExportIconSetItem = "E&xport Icon Set...";
inline constexpr const char* kExportIconSetTitle = "Export Icon Set";
inline constexpr const char* kIconSetPlatforms = "Platforms:";
// The platforms' check boxes, in the order of kIconSetPlatforms.
inline constexpr const char* kIconSetPlatformNames[] = {"&Windows (.ico)", "&macOS (.icns, .iconset)",
                                                        "&Linux (hicolor)", "MSI&X (Windows Store)",
                                                        "&Android (mipmap, adaptive)", "i&OS (AppIcon.appiconset)",
                                                        "W&eb (favicon, manifest)"};
inline constexpr const char* kIconSetName = "Application &name:";
inline constexpr const char* kIconSetBackground = "&Background of opaque icons:";
inline constexpr const char* kIconSetNoPlatform = "Choose at least one platform.";
inline constexpr const char* kIconSetBadColour = "The background must be a colour such as #FFFFFF, white or black.";
inline constexpr const char* kIconSetNoFolder = "Choose the folder the icon set is written to.";
inline constexpr const char* kIconSetProgress = "Making the icon set...";
// %1: the number of files; %2: the folder.
inline constexpr const char* kIconSetDone = "%1 files were written to %2.";
// %1: the reason.
inline constexpr const char* kIconSetFailed = "The icon set could not be made: %1";
inline constexpr const char* kBatchBadList = "The sizes must be numbers from 1 to 1024 and the depths among 1, 4, 8, 24 and 32.";
inline constexpr const char* kBatchNothing = "Choose the pictures and the folder the icons go to.";
inline constexpr const char* kBatchDone = "%1 of %2 icons made in %3.";
inline constexpr const char* kBatchCancelled = "Cancelled: %1 of %2 icons made in %3.";

// Dialog texts. A text that starts with "$" titles a group of controls and one that starts with
// "*" is the dialog's note; the marks are not shown.
inline constexpr const char* kGaussianBlurTitle = "Gaussian Blur";
inline constexpr const char* kGaussianBlurText =
    "This will create a Gaussian Blur effect of the current image image (or a portion of it if selected). ";
inline constexpr const char* kRadiusGroup = "$Radius";
inline constexpr const char* kPreview = "Preview";
inline constexpr const char* kPaletteItem = "&Palette...";
inline constexpr const char* kPaletteTitle = "Palette";
inline constexpr const char* kPaletteNote =
    "Double-click a color to change it, drag it to move it: the pixels that use it follow. A loaded "
    "palette, or a reduced one, is mapped onto the picture.";
inline constexpr const char* kPaletteReduce = "&Reduce to";
inline constexpr const char* kPaletteReduceColors = "colors";
inline constexpr const char* kPaletteAllFormats = "Apply to every indexed &format of the icon";
inline constexpr const char* kPaletteLoad = "&Load...";
inline constexpr const char* kPaletteSave = "&Save...";
inline constexpr const char* kPaletteSort = "Sort by &Brightness";
inline constexpr const char* kPaletteDither = "&Dither when mapping";
inline constexpr const char* kPaletteFilter =
    "Palettes (*.gpl *.pal *.aco *.ase *.txt);;GIMP Palette (*.gpl);;JASC Palette (*.pal);;"
    "Adobe Color Swatches (*.aco);;Adobe Swatch Exchange (*.ase);;Paint.NET Palette (*.txt)";
inline constexpr const char* kPaletteReadError = "The palette could not be read: %1";
inline constexpr const char* kPaletteWriteError = "The palette could not be written: %1";
inline constexpr const char* kDropShadowItem = "Drop &Shadow...";
inline constexpr const char* kDropShadowTitle = "Drop Shadow";
inline constexpr const char* kShadowOffset = "&Offset (right, down):";
inline constexpr const char* kShadowRadius = "&Blur radius:";
inline constexpr const char* kShadowOpacity = "O&pacity:";
inline constexpr const char* kShadowColor = "&Color...";
inline constexpr const char* kShadowNote = "The shadow is cut at the format's edges; formats of 32 bits only.";
inline constexpr const char* kAdjustColorsItem = "Adjust &Colors...";
inline constexpr const char* kAdjustColorsTitle = "Adjust Colors";
inline constexpr const char* kAdjustBrightness = "&Brightness:";
inline constexpr const char* kAdjustContrast = "C&ontrast:";
inline constexpr const char* kAdjustHue = "&Hue:";
inline constexpr const char* kAdjustSaturation = "&Saturation:";
inline constexpr const char* kAdjustLightness = "&Lightness:";
inline constexpr const char* kAdjustGamma = "&Gamma:";
inline constexpr const char* kAdjustLevels = "Le&vels (input black, white, gamma; output black, white):";
inline constexpr const char* kAdjustColorize = "Colori&ze with hue and saturation:";
inline constexpr const char* kAdjustInvert = "&Invert colors";
inline constexpr const char* kAdjustAllFormats = "Every &format of the icon";
inline constexpr const char* kAdjustReset = "&Reset";
inline constexpr const char* kAdjustIndexedNote =
    "Formats of 256 colors or fewer are adjusted through their palette: every pixel keeps its index.";
inline constexpr const char* kTick2 = "2";
inline constexpr const char* kTick25 = "25";
inline constexpr const char* kTick50 = "50";

inline constexpr const char* kResizeTitle = "Resize Image";
inline constexpr const char* kResizeText = "This will resize the actual image (or a portion of it, if selected):";
inline constexpr const char* kNewSizeGroup = "$New Size";
inline constexpr const char* kResizeWidth = "Width:";
inline constexpr const char* kResizeHeight = "Height:";
inline constexpr const char* kPixels = "pixels";
inline constexpr const char* kKeepAspectRatio = "Keep Aspect Ratio";
inline constexpr const char* kResizeNote =
    "*This operation will change the size of the image (or a selected portion of it) but not the icon format size. "
    "To create a new icon size, you must add a new image format to the icon.";

inline constexpr const char* kRotateTitle = "Rotate Image";
inline constexpr const char* kRotateText = "This will rotate the actual image (or a portion of it, if selected):";
inline constexpr const char* kDirectionGroup = "$Direction";
inline constexpr const char* kLeft = "Left";
inline constexpr const char* kRight = "Right";
inline constexpr const char* kAngleGroup = "$Angle (degree)";
inline constexpr const char* kAngle90 = "90\u00B0";
inline constexpr const char* kAngle180 = "180\u00B0 ";
inline constexpr const char* kAngle270 = "270\u00B0";
inline constexpr const char* kAngleFree = "Free:";
inline constexpr const char* kAngleRange = "(1 - 359\u00B0)";
inline constexpr const char* kRotateNote =
    "*First, select the direction of rotation: Right is clockwise; Left is counter-clockwise. Then, specify the "
    "rotation angle in degrees. Choose 90\u00B0, 180\u00B0 or 270\u00B0 to rotate in quarter-circle increments or a "
    "free angle. Valid values are in range 1-359\u00B0";

}  // namespace tellurine::text

// The eleven document types, in the order they are registered, each with its resource number,
// its classes and its template string of seven fields separated by line feeds (window title,
// document name, file-type name, filter name, extension, registry file type, registry file-type
// name), kept as data exactly as the program has always had them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/icon_project.h"

namespace tellurine::shell {

struct DocTemplateInfo {
    int resource = 0;
    const char* document = "";
    const char* frame = "";
    const char* view = "";
    const char* templateString = nullptr;  // null: no string resource
};

// What the program does with a document type today.
enum class DocKind {
    IconProject,  // CIconDoc: Windows icons and cursors, Macintosh families
    Image,        // CDibDoc: an ordinary image
    Vector,       // CDibDoc: an SVG drawing rasterised
    WebPage,      // CBrowserDoc
    Animation,    // CIconDoc of an animated cursor's steps, shown by its player
    Program,      // CFileExeDoc: the icon groups of a program or library
    IconLibrary,  // CFileIclDoc: the named icons of an .icl library, edited
    Explorer,     // CExplorerDoc: the files holding icons under a folder, browsed or searched
    NotYet,       // registered, but its subsystem comes later
};

inline constexpr int kTemplateIco = 101;
inline constexpr int kTemplateIcns = 113;
inline constexpr int kTemplateIconLibrary = 104;
inline constexpr int kTemplateExplorer = 110;
inline constexpr int kTemplateBrowser = 112;
inline constexpr int kTemplateSearch = 111;
inline constexpr int kTemplateExe = 105;
inline constexpr int kTemplateDib = 109;
inline constexpr int kTemplateImage = 114;
inline constexpr int kTemplateToolbarStrip = 121;
inline constexpr int kTemplateVector = 122;

std::span<const DocTemplateInfo> DocTemplates();
// The template of a resource number; null when there is none.
const DocTemplateInfo* FindDocTemplate(int resource);
DocKind DocKindOf(int resource);

// Field `index` (0..6) of a template string; empty when the template has no string or the field
// is missing.
std::string DocString(const DocTemplateInfo& info, int index);
enum DocStringIndex { kWindowTitle = 0, kDocName, kFileNewName, kFilterName, kFilterExt, kRegFileTypeId, kRegFileTypeName };

// A file-dialog filter: its name and its patterns ("*.ico").
struct FileFilter {
    std::string name;
    std::vector<std::string> patterns;
    // "NAME (*.a *.b)" as Qt's file dialogs take it (the name itself when it already lists them).
    [[nodiscard]] std::string QtFilter() const;
};
// The template's filter: its filter name with the extension field's pattern, or, when that field
// is empty, the pattern that the filter name itself shows in parentheses. None for a template
// without a filter name.
bool TemplateFilter(const DocTemplateInfo& info, FileFilter& filter);
// The open dialog's filters: every file the program opens first, then each template's own, the
// other containers read, and all files.
std::vector<FileFilter> OpenFileFilters();
// The save dialog's filters for an icon project: Windows (icon, cursor) or Macintosh.
std::vector<FileFilter> SaveFileFilters(bool macintosh);
// Filters as one string of Qt's file dialogs, separated by ";;".
std::string QtFilterList(const std::vector<FileFilter>& filters);
// A project's save dialog: its own system's filters, then the other's, with the first filter
// whose first pattern ends in the project's `extension` chosen.
struct SaveDialogFilters {
    std::string filters;
    std::string selected;
};
SaveDialogFilters ProjectSaveFilters(bool macintosh, const std::string& extension);
// The file a save writes: the chosen path when it ends in an extension a save writes (.ico, .cur,
// .icns, .iconset), else that path with the extension of the chosen filter (".ico" when it shows
// none).
std::string WithSaveExtension(const std::string& path, const std::string& selectedFilter);
// The file a recovered project saves back to in place: its own kind for the files a save writes,
// Unknown (saved under a new name) for any other, such as an animated cursor or a resource file.
IconContainer RecoveredSaveKind(const std::string& originalPath);

// The template a file opens through. The extension decides for files whose first bytes cannot
// (".rsc", ".rsrc", ".bin", ".icl", ".htm"); otherwise the first bytes decide where they are
// known (icon, cursor, animated cursor, family, program, PNG, BMP, JPEG, GIF, TIFF, SVG), and the
// extension where they are not. Files of no known kind go to the image template, whose reader
// says whether it can decode them.
int ChooseDocTemplate(const std::string& path, std::span<const std::uint8_t> head);

}  // namespace tellurine::shell

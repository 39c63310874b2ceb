#include "shell/doc_templates.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "formats/icon_project.h"
#include "formats/iconset.h"
#include "formats/svg_file.h"
#include "image/file_io.h"

namespace tellurine::shell {

namespace {

constexpr std::array<DocTemplateInfo, 11> kTemplates = {{
    {101, "CIconDoc", "CIconDocMDI", "CIconView",
     "\nICO File\nICO File\nICO Files (*.ICO)\n\nICO.Document\nICO File"},
    {113, "CIconDoc", "CIconDocMDI", "CIconView",
     "\nICNS File\nICNS File\nICNS Files (*.ICNS)\n\nICNS.Document\nICNS File"},
    {104, "CFileIclDoc", "CFileIclMDI", "CFileIclView", "\nLibrary \nIcon Library\n\n.icl\nICL.Document\nIcon Library"},
    {110, "CExplorerDoc", "CExplorerMDI", "CExplorerView",
     "\nBrowse Explorer\nBrowse Explorer\nExplorer Files (*.exp)\n.exp\nExplorer.Document\nExplorer Document"},
    {112, "CBrowserDoc", "CBrowserDocMDI", "CBrowserView",
     "\nBrowser\nDocument HTM\nHtml page\n.htm\nHTM.Document\nDocument HTM"},
    {111, "CSearchDoc", "CSearchMDI", "CSearchView",
     "\nFound Media Files \nDocument Recherche\nRecherche\n.sea\nSEA.Document\nDocument Recherche"},
    {105, "CFileExeDoc", "CFileExeMDI", "CFileExeView", "\nEXE File \nEXE File\n\n\nEXE.Document\nEXE File"},
    {109, "CDibDoc", "CDibDocMDI", "CDibView", nullptr},
    {114, "CIconDoc", "CImageDocMDI", "CIconView", "\nIMG File \nIMG File\n\n\nIMG.Document\nIMG File"},
    {121, "CIconDoc", "CTbfDocMDI", "CIconView",
     "\nToolbar Image Strip File\nToolbar Image Strip File\nToolbar Image Strips (*.TBF)\n\nTBF.Document\nTBF File"},
    {122, "CDibDoc", "CVectorDocMDI", "CDibView",
     "\nToolbar Image Strip File\nVector Image\nVector Images (*.SVG)\n\nVector.Document\nVector File"},
}};

bool StartsWith(std::span<const std::uint8_t> bytes, std::string_view magic) {
    return bytes.size() >= magic.size() && std::memcmp(bytes.data(), magic.data(), magic.size()) == 0;
}

bool Among(const std::string& ext, std::initializer_list<const char*> list) {
    return std::any_of(list.begin(), list.end(), [&](const char* e) { return ext == e; });
}

constexpr std::initializer_list<const char*> kProgramExtensions = {".exe", ".dll", ".cpl", ".ocx", ".scr", ".sys",
                                                                   ".mui", ".drv"};
constexpr std::initializer_list<const char*> kImageExtensions = {
    ".png", ".bmp", ".dib", ".jpg", ".jpeg", ".jpe", ".gif", ".tif", ".tiff", ".tga", ".pcx", ".psd", ".ora", ".xcf",
    ".webp", ".jp2", ".j2k", ".xpm", ".ppm", ".pgm", ".pbm", ".pnm", ".exr", ".hdr", ".dds", ".wbmp"};

}  // namespace

std::span<const DocTemplateInfo> DocTemplates() { return kTemplates; }

const DocTemplateInfo* FindDocTemplate(int resource) {
    for (const DocTemplateInfo& t : kTemplates)
        if (t.resource == resource) return &t;
    return nullptr;
}

DocKind DocKindOf(int resource) {
    switch (resource) {
        case kTemplateIco:
        case kTemplateIcns:
        case kTemplateToolbarStrip: return DocKind::IconProject;
        case kTemplateDib: return DocKind::Image;
        case kTemplateVector: return DocKind::Vector;
        case kTemplateBrowser: return DocKind::WebPage;
        case kTemplateImage: return DocKind::Animation;
        case kTemplateExe: return DocKind::Program;
        case kTemplateIconLibrary: return DocKind::IconLibrary;
        case kTemplateExplorer:
        case kTemplateSearch: return DocKind::Explorer;
        default: return DocKind::NotYet;
    }
}

std::string DocString(const DocTemplateInfo& info, int index) {
    if (info.templateString == nullptr || index < 0) return {};
    std::string_view rest = info.templateString;
    for (int i = 0; i < index; ++i) {
        const std::size_t lf = rest.find('\n');
        if (lf == std::string_view::npos) return {};
        rest.remove_prefix(lf + 1);
    }
    return std::string(rest.substr(0, rest.find('\n')));
}

std::string FileFilter::QtFilter() const {
    std::string list;
    for (const std::string& p : patterns) list += (list.empty() ? "" : " ") + p;
    // "ICO Files (*.ICO)" already shows its pattern; Qt matches the part in parentheses, so it is
    // replaced by the full list.
    std::string shown = name;
    if (const std::size_t open = shown.rfind(" ("); open != std::string::npos && shown.back() == ')')
        shown.erase(open);
    return shown + " (" + list + ")";
}

bool TemplateFilter(const DocTemplateInfo& info, FileFilter& filter) {
    const std::string name = DocString(info, kFilterName);
    if (name.empty()) return false;
    std::string ext = DocString(info, kFilterExt);
    if (ext.empty()) {
        const std::size_t open = name.rfind("(*");
        const std::size_t close = name.rfind(')');
        if (open == std::string::npos || close == std::string::npos || close < open + 2) return false;
        ext = name.substr(open + 2, close - open - 2);
    }
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    filter = {name, {"*" + ext}};
    if (info.resource == kTemplateIco) filter.patterns.push_back("*.cur");
    if (info.resource == kTemplateBrowser) filter.patterns.push_back("*.html");
    return true;
}

std::vector<FileFilter> OpenFileFilters() {
    std::vector<FileFilter> filters;
    for (const DocTemplateInfo& t : kTemplates) {
        FileFilter f;
        if (DocKindOf(t.resource) != DocKind::NotYet && TemplateFilter(t, f)) filters.push_back(f);
    }
    filters.push_back({"Animated Cursors", {"*.ani"}});
    filters.push_back({"Macintosh Resource Files", {"*.rsc", "*.rsrc", "*.bin"}});
    filters.push_back({"Programs and Libraries", {"*.exe", "*.dll", "*.icl", "*.ocx", "*.cpl", "*.scr"}});
    FileFilter images{"Images", {}};
    for (const char* e : kImageExtensions) images.patterns.push_back(std::string("*") + e);
    filters.push_back(images);

    FileFilter all{"All Supported Files", {}};
    for (const FileFilter& f : filters)
        for (const std::string& p : f.patterns)
            if (std::find(all.patterns.begin(), all.patterns.end(), p) == all.patterns.end()) all.patterns.push_back(p);
    filters.insert(filters.begin(), all);
    filters.push_back({"All Files", {"*"}});
    return filters;
}

std::vector<FileFilter> SaveFileFilters(bool macintosh) {
    FileFilter ico, icns;
    TemplateFilter(*FindDocTemplate(kTemplateIco), ico);
    TemplateFilter(*FindDocTemplate(kTemplateIcns), icns);
    FileFilter strip;
    TemplateFilter(*FindDocTemplate(kTemplateToolbarStrip), strip);
    if (macintosh) return {icns, {"Icon Set Folder", {"*.iconset"}}};
    return {{ico.name, {"*.ico"}}, {"Cursor Files (*.CUR)", {"*.cur"}}, strip};
}

std::string QtFilterList(const std::vector<FileFilter>& filters) {
    std::string list;
    for (const FileFilter& f : filters) list += (list.empty() ? "" : ";;") + f.QtFilter();
    return list;
}

SaveDialogFilters ProjectSaveFilters(bool macintosh, const std::string& extension) {
    std::vector<FileFilter> filters = SaveFileFilters(macintosh);
    for (const FileFilter& f : SaveFileFilters(!macintosh)) filters.push_back(f);
    SaveDialogFilters dialog{QtFilterList(filters), {}};
    for (const FileFilter& f : filters)
        if (f.patterns.front().ends_with(extension)) return {dialog.filters, f.QtFilter()};
    return dialog;
}

std::string WithSaveExtension(const std::string& path, const std::string& selectedFilter) {
    const std::string ext = LowerExtension(path);
    if (ext == ".ico" || ext == ".cur" || ext == ".icns" || ext == ".iconset" || ext == ".tbf") return path;
    const std::size_t star = selectedFilter.find("*.");
    if (star == std::string::npos) return path + ".ico";
    std::string added = selectedFilter.substr(star + 1, selectedFilter.find(' ', star) - star - 1);
    std::erase(added, ')');
    return path + added;
}

IconContainer RecoveredSaveKind(const std::string& originalPath) {
    const std::string ext = LowerExtension(originalPath);
    return IsIconsetPath(originalPath) || ext == ".icns" || ext == ".cur" || ext == ".ico" ? SaveKindOf(originalPath)
                                                                                           : IconContainer::Unknown;
}

int ChooseDocTemplate(const std::string& path, std::span<const std::uint8_t> head) {
    const std::string ext = LowerExtension(path);
    if (ext == ".htm" || ext == ".html") return kTemplateBrowser;
    if (ext == ".icl") return kTemplateIconLibrary;
    if (ext == ".exp") return kTemplateExplorer;
    if (ext == ".sea") return kTemplateSearch;
    if (ext == ".tbf") return kTemplateToolbarStrip;
    if (IsIconsetPath(path)) return kTemplateIcns;

    switch (ClassifyIconFile(path, head)) {
        case IconContainer::Ico:
        case IconContainer::Cur: return kTemplateIco;
        case IconContainer::Ani: return kTemplateImage;
        case IconContainer::Icns:
        case IconContainer::Resource:
        case IconContainer::MacBinary:
        case IconContainer::Iconset: return kTemplateIcns;
        case IconContainer::Pe: return kTemplateExe;
        case IconContainer::Strip: return kTemplateToolbarStrip;
        case IconContainer::Unknown: break;
    }
    using namespace std::string_view_literals;
    if (StartsWith(head, "\x89PNG"sv) || StartsWith(head, "BM"sv) || StartsWith(head, "\xFF\xD8\xFF"sv) ||
        StartsWith(head, "GIF8"sv) || StartsWith(head, "II*\0"sv) || StartsWith(head, "MM\0*"sv))
        return kTemplateDib;
    if (IsSvgFile(path, head)) return kTemplateVector;
    if (ext == ".ico" || ext == ".cur") return kTemplateIco;
    if (ext == ".ani") return kTemplateImage;
    if (ext == ".icns") return kTemplateIcns;
    if (Among(ext, kProgramExtensions)) return kTemplateExe;
    return kTemplateDib;
}

}  // namespace tellurine::shell

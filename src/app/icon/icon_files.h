// Icon projects: opening icon files, saving projects, new projects and new formats.
#pragma once

#include <QString>

#include "icon/icon_doc.h"

class QWidget;

namespace tellurine {
class CDIB;
}

namespace tellurine::shell {
struct NewIconChoice;
}

namespace tellurine::app {

class AppContext;
class CKvDocument;
class CIconProject;

// The opener of icons, cursors and families: one window per icon of the file.
CKvDocument* OpenIconFile(AppContext& app, const QString& path, int templateResource);
// Opens a picture as a picture, or, when its shape is that of a strip of equal pictures and the
// user is asked (AskOpenImageStrip) and chooses so, as a new strip project of one format per
// picture (saved as a .tbf strip, never over the picture).
CKvDocument* OpenPictureOrStrip(AppContext& app, const QString& path, int templateResource);

// Writes a project to `path` in the format its extension names (.ico, .cur, .icns or .iconset),
// after asking about what that file cannot hold and, when it would replace another file, the
// overwrite prompt. False when nothing was written.
bool SaveProjectTo(AppContext& app, CIconProject& project, const QString& path);

// The New Icon command: asks for the formats and opens the new project; null when cancelled.
CIconProject* NewIconFromDialog(AppContext& app);
// Makes a new project of the chosen formats, each fully transparent, and opens it.
CIconProject* NewIconProject(AppContext& app, const shell::NewIconChoice& choice);
// Opens a new, untitled project holding `doc`'s formats (made from a picture, an animation step
// or a program's icon group). `title` names it; empty: the template's next "IconN".
CIconProject* OpenNewProject(AppContext& app, CIconDoc&& doc, const QString& title = {});
// Asks for a new format and adds it, made from `picture` when one is given, else from format
// `from` when there is one; returns its index, or -1.
int AddFormatTo(AppContext& app, CIconProject& project, int from, QWidget* parent, const CDIB* picture = nullptr);
// The Properties command: the format's size and depth, its compressed flag and, in a family, its
// element; a change marks the project modified.
void EditFormatProperties(AppContext& app, CIconProject& project, int index, QWidget* parent);

}  // namespace tellurine::app

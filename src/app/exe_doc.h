// The program document: the icon groups of a Windows program or library, shown as tiles.
#pragma once

#include <QString>

namespace tellurine::app {

class CKvApp;
class CKvDocument;

// Opens a program or library file in a window of its own (its icons are read on a worker thread);
// null after telling the user why not.
CKvDocument* OpenProgramFile(CKvApp& app, const QString& path);

}  // namespace tellurine::app

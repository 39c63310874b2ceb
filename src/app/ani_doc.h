// The animated-cursor document: the steps of an .ani file, listed with their rates and hotspots and
// played at their rates.
#pragma once

#include <QString>

namespace tellurine::app {

class CKvApp;
class CKvDocument;

// Reads an animated cursor and opens it in a window of its own; null after telling the user why not.
CKvDocument* OpenAnimatedCursor(CKvApp& app, const QString& path);

}  // namespace tellurine::app

// Opening a file as a document: the opener each kind gives, and the reading flow they share.
#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <string>

class QMimeData;

namespace tellurine::app {

class AppContext;
class CKvDocument;

// How a kind of document opens a file, `templateResource` being the template chosen for it: it
// makes the document and its window(s) and returns the first document, or null after telling the
// user why not. Each kind's opener is one line of the table in shell/document_io.cpp.
using DocumentOpener = CKvDocument* (*)(AppContext& app, const QString& path, int templateResource);

// What reading a file came to.
enum class ReadResult { Read, NotReadable, OutOfMemory };

// Reads a file on a worker, with the wait cursor and, past half a second, progress that can be
// cancelled (the result is then dropped). A bad_alloc thrown by `read` counts as out of memory.
// A failure is told (ReportUnreadable). True when the file was read.
bool ReadOnWorker(AppContext& app, const QString& path, const char* notReadable,
                  const std::function<ReadResult(std::string& reason)>& read);

// Tells the user that a file could not be read, with the fixed text (`notReadable`, or the one
// of memory) and the file's name and reason as detail, and takes it off the recent lists.
void ReportUnreadable(AppContext& app, const QString& path, ReadResult why, const char* notReadable,
                      const std::string& reason = {});

// The files on this machine that dragged or copied data names, in its order.
[[nodiscard]] QStringList LocalFiles(const QMimeData& data);

}  // namespace tellurine::app

#include "app/common/file_reading.h"

#include <QDir>
#include <QMimeData>
#include <QUrl>
#include <memory>
#include <new>

#include "app/common/app_context.h"
#include "app/common/long_work.h"
#include "shell/texts.h"

namespace tellurine::app {

bool ReadOnWorker(AppContext& app, const QString& path, const char* notReadable,
                  const std::function<ReadResult(std::string& reason)>& read) {
    struct Outcome {
        ReadResult result = ReadResult::NotReadable;
        std::string reason;
    };
    auto outcome = std::make_shared<Outcome>();
    if (!RunFileRead(app.Prompts(), app.Window(), path, [outcome, read] {
            try {
                outcome->result = read(outcome->reason);
            } catch (const std::bad_alloc&) {
                outcome->result = ReadResult::OutOfMemory;
            }
        }))
        return false;
    if (outcome->result == ReadResult::Read) return true;
    ReportUnreadable(app, path, outcome->result, notReadable, outcome->reason);
    return false;
}

void ReportUnreadable(AppContext& app, const QString& path, ReadResult why, const char* notReadable,
                      const std::string& reason) {
    QString detail = QDir::toNativeSeparators(path);
    if (!reason.empty()) detail = QString(text::kErrorDetail).arg(detail, QString::fromStdString(reason));
    app.ForgetRecentFile(path);
    if (why == ReadResult::OutOfMemory) app.ShowError(text::kOutOfMemory, text::kOutOfMemoryTitle, detail);
    else app.ShowError(notReadable, {}, detail);
}

QStringList LocalFiles(const QMimeData& data) {
    QStringList files;
    for (const QUrl& url : data.urls())
        if (url.isLocalFile()) files << url.toLocalFile();
    return files;
}

}  // namespace tellurine::app

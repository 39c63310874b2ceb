#include "app/common/long_work.h"

#include <QApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QProgressDialog>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>
#include <memory>
#include <utility>

#include "app/common/prompts.h"
#include "image/busy.h"
#include "shell/texts.h"

namespace tellurine::app {
namespace {

void ShowBusy(bool busy) {
    QCoreApplication* app = QCoreApplication::instance();
    if (app == nullptr) return;
    QMetaObject::invokeMethod(
        app,
        [busy] {
            if (busy) QApplication::setOverrideCursor(Qt::WaitCursor);
            else QApplication::restoreOverrideCursor();
        },
        Qt::AutoConnection);
}

}  // namespace

WaitCursor::WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
WaitCursor::~WaitCursor() { QApplication::restoreOverrideCursor(); }

int& ProgressDelayMs() {
    static int delay = 500;
    return delay;
}

bool RunLongWork(UserPrompts& prompts, QWidget* parent, const QString& label, std::function<void()> work,
                 Cancel cancel) {
    const WaitCursor cursor;
    auto job = std::make_shared<std::function<void()>>(std::move(work));
    QFutureWatcher<void> watcher;
    QEventLoop loop;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(QtConcurrent::run([job] { (*job)(); }));
    // Until the dialog shows, the window paints but takes no input, so that nothing can change
    // what the work was started on.
    // With no delay the dialog shows at once, even for work that has already finished.
    if (ProgressDelayMs() > 0) {
        if (!watcher.isFinished()) {
            QTimer::singleShot(ProgressDelayMs(), &loop, &QEventLoop::quit);
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        }
        if (watcher.isFinished()) return true;
    }
    bool cancelled = false;
    QProgressDialog dialog(label, text::kCancel, 0, 0, parent);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.setMinimumDuration(0);
    if (cancel == Cancel::NotAllowed) {
        dialog.setCancelButton(nullptr);
    } else {
        QObject::connect(&dialog, &QProgressDialog::canceled, &loop, [&] {
            cancelled = true;
            loop.quit();
        });
    }
    prompts.ShowProgress(dialog);
    cancelled = cancel == Cancel::Allowed && (cancelled || dialog.wasCanceled());
    if (!cancelled && !watcher.isFinished()) loop.exec();
    return !cancelled;
}

bool RunFileRead(UserPrompts& prompts, QWidget* parent, const QString& path, std::function<void()> read) {
    return RunLongWork(prompts, parent, QString(text::kOpeningFile).arg(QFileInfo(path).fileName()), std::move(read));
}

void InstallBusyCursor() { SetBusyHook(ShowBusy); }

}  // namespace tellurine::app

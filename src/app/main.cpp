// tellurine: the desktop program.
//   tellurine [FILE...] [/librarian:ARG] [/delpatch:PATH] [--quit-after-first-paint]
// --quit-after-first-paint (or TELLURINE_QUIT_AFTER_FIRST_PAINT=1) ends the program right after
// the first paint of an icon's view: the start-up benchmark measures up to there.
#include <QApplication>
#include <QTimer>

#include "app/icon_frame.h"
#include "app/kv_app.h"

int main(int argc, char* argv[]) {
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication qapp(argc, argv);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool quitAfterFirstPaint = arguments.removeAll("--quit-after-first-paint") > 0 ||
                                     qEnvironmentVariable("TELLURINE_QUIT_AFTER_FIRST_PAINT") == "1";
    if (quitAfterFirstPaint)
        tellurine::app::CIconPreview::firstPaintHook = [] { QTimer::singleShot(0, qApp, &QCoreApplication::quit); };

    tellurine::app::CKvApp app;
    if (!app.InitInstance(arguments)) return 1;
    const int result = QApplication::exec();
    app.ExitInstance();
    return result;
}

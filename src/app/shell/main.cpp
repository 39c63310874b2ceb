// tellurine: the desktop program.
//   tellurine [FILE...] [/librarian:ARG] [/delpatch:PATH] [--quit-after-first-paint]
//             [--quit-after-icons-shown]
// --quit-after-first-paint (or TELLURINE_QUIT_AFTER_FIRST_PAINT=1) ends the program right after
// the first paint of an icon's view: the start-up benchmark measures up to there.
// --quit-after-icons-shown (or TELLURINE_QUIT_AFTER_ICONS_SHOWN=1) ends it once a program's
// window has read every icon group and painted its tiles: the benchmark of opening programs.
#include <QApplication>

#include "app/icon/icon_view.h"
#include "app/program/exe_frame.h"
#include "app/shell/kv_app.h"

int main(int argc, char* argv[]) {
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    QApplication qapp(argc, argv);

    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool quitAfterFirstPaint = arguments.removeAll("--quit-after-first-paint") > 0 ||
                                     qEnvironmentVariable("TELLURINE_QUIT_AFTER_FIRST_PAINT") == "1";
    // The first paint may come while start-up still runs (the splash waits for the main window to
    // be shown), before the event loop that a quit would end.
    static bool painted = false;
    if (quitAfterFirstPaint)
        tellurine::app::CIconView::firstPaintHook = [] {
            painted = true;
            QCoreApplication::exit(0);
        };
    const bool quitAfterIconsShown = arguments.removeAll("--quit-after-icons-shown") > 0 ||
                                     qEnvironmentVariable("TELLURINE_QUIT_AFTER_ICONS_SHOWN") == "1";
    if (quitAfterIconsShown)
        tellurine::app::CFileExeView::allTilesPaintedHook = [] {
            painted = true;
            QCoreApplication::exit(0);
        };

    tellurine::app::CKvApp app;
    if (!app.InitInstance(arguments)) return 1;
    const int result = painted ? 0 : QApplication::exec();
    app.ExitInstance();
    return result;
}

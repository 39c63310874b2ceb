// tellurine: the desktop program.
//   tellurine [FILE...] [/librarian:ARG] [/delpatch:PATH] [--quit-after-first-paint]
//             [--quit-after-icons-shown] [--quit-after-first-tiles] [--report-stalls]
// --quit-after-first-paint (or TELLURINE_QUIT_AFTER_FIRST_PAINT=1) ends the program right after
// the first paint of an icon's view: the start-up benchmark measures up to there.
// --quit-after-icons-shown (or TELLURINE_QUIT_AFTER_ICONS_SHOWN=1) ends it once a program's
// window has read every icon group and painted its tiles, or an explorer's window every file: the
// benchmarks of opening programs and folders. --quit-after-first-tiles ends it once an explorer's
// window has painted its first screen of tiles. --report-stalls prints, at the end, the longest
// time the interface thread was kept from its events (a 5 ms timer's longest late tick).
#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <cstdio>

#include "app/explorer/explorer_frame.h"
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
    const auto quit = [] {
        painted = true;
        QCoreApplication::exit(0);
    };
    if (quitAfterFirstPaint) tellurine::app::CIconView::firstPaintHook = quit;
    const bool quitAfterIconsShown = arguments.removeAll("--quit-after-icons-shown") > 0 ||
                                     qEnvironmentVariable("TELLURINE_QUIT_AFTER_ICONS_SHOWN") == "1";
    if (quitAfterIconsShown) {
        tellurine::app::CFileExeView::allTilesPaintedHook = quit;
        tellurine::app::CExplorerView::allTilesPaintedHook = quit;
    }
    if (arguments.removeAll("--quit-after-first-tiles") > 0) tellurine::app::CExplorerView::firstScreenPaintedHook = quit;
    QTimer ticks;
    QElapsedTimer sinceTick;
    qint64 longestStall = 0;
    const bool reportStalls = arguments.removeAll("--report-stalls") > 0;

    tellurine::app::CKvApp app;
    if (!app.InitInstance(arguments)) return 1;
    // From the end of start-up: what start-up costs is measured on its own.
    if (reportStalls) {
        constexpr int kTickMs = 5;
        QObject::connect(&ticks, &QTimer::timeout, [&] {
            longestStall = std::max(longestStall, sinceTick.restart() - kTickMs);
        });
        ticks.start(kTickMs);
        sinceTick.start();
    }
    const int result = painted ? 0 : QApplication::exec();
    if (reportStalls) std::fprintf(stderr, "longest stall: %lld ms\n", static_cast<long long>(longestStall));
    app.ExitInstance();
    return result;
}

// The program as the recovery test kills it: started on a profile and a user-data folder of the
// test's, it opens an icon, draws one pixel, waits until the recovery file is written, says
// "ready" and then runs until it is killed.
//   app_recovery_child PROFILE APPDATA ICON
#include <QApplication>
#include <QFileInfo>
#include <QTimer>
#include <cstdio>

#include "app/icon/icon_project.h"
#include "app/icon/recovery.h"
#include "app/shell/kv_app.h"

int main(int argc, char* argv[]) {
    QApplication qapp(argc, argv);
    if (argc != 4) return 2;
    tellurine::app::StartOptions options;
    options.profileFile = argv[1];
    options.appDataFolder = argv[2];
    tellurine::app::CKvApp app(options);
    if (!app.InitInstance({argv[3]})) return 1;
    auto* project = qobject_cast<tellurine::app::CIconProject*>(app.OpenDocumentFile(argv[3]));
    if (project == nullptr) return 1;
    project->Session().Edit(0, [](tellurine::editor::FormatState& s) { s.color.SetPixel(1, 1, 0x0000FF); });
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (QFileInfo::exists(app.Recovery()->FileOf(project) + ".txt")) {
            std::puts("ready");
            std::fflush(stdout);
            poll.stop();
        }
    });
    poll.start(20);
    return QApplication::exec();
}

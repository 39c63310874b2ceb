#include "app/exe_doc.h"

#include <QFileInfo>

#include "app/kv_app.h"
#include "app/main_frame.h"
#include "app/texts.h"

namespace tellurine::app {

CKvDocument* OpenProgramFile(CKvApp& app, const QString& path) {
    app.Prompts().ShowMessage(app.MainFrame(), QMessageBox::Information, text::kAppTitle,
                              QString(text::kCannotOpenYet).arg(QFileInfo(path).fileName(), "exe"));
    return nullptr;
}

}  // namespace tellurine::app

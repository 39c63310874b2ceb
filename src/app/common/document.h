// A document: what a window shows, with its path, title and modified state. Each is
// made by a document template (see shell/doc_templates.h) and owned by its window.
#pragma once

#include <QObject>
#include <QString>

#include "shell/doc_templates.h"

namespace tellurine::app {

class AppContext;

class CKvDocument : public QObject {
    Q_OBJECT
public:
    explicit CKvDocument(int templateResource, QObject* parent = nullptr);

    [[nodiscard]] int TemplateResource() const { return template_; }
    [[nodiscard]] const shell::DocTemplateInfo& Template() const { return *shell::FindDocTemplate(template_); }
    // The file the document was read from or last saved to; empty for a new document.
    [[nodiscard]] const QString& PathName() const { return path_; }
    // Takes the path and makes the title its file name.
    void SetPathName(const QString& path);
    [[nodiscard]] const QString& Title() const { return title_; }
    void SetTitle(const QString& title);
    [[nodiscard]] bool IsModified() const { return modified_; }
    void SetModifiedFlag(bool modified = true);
    // Saves the document to the file it came from or, with `choose` (or when it cannot be written
    // where it is), to a file the user names. False when it was not saved; a document that is
    // only shown is never saved.
    virtual bool Save(AppContext& app, bool choose);
    // Whether the document is saved at all (Save As offered), and whether Save has anything to
    // do now (it is modified, or has no file it can be written to as it is).
    [[nodiscard]] virtual bool CanSave() const { return false; }
    [[nodiscard]] virtual bool SaveWanted() const { return false; }

signals:
    void titleChanged();
    void modifiedChanged(bool modified);

private:
    int template_;
    QString path_;
    QString title_;
    bool modified_ = false;
};

}  // namespace tellurine::app

// The icon project: the document of an icon window.
#pragma once

#include <QDateTime>
#include <functional>

#include "app/common/document.h"
#include "editor/edit_session.h"
#include "formats/icon_project.h"
#include "icon/icon_doc.h"

namespace tellurine::app {

// An icon project: the formats of one icon (CIconDoc) and where they came from.
class CIconProject : public CKvDocument {
    Q_OBJECT
public:
    // A project holding `doc`, read from `container` (Unknown: a new one), in the template of what
    // it is: a strip's, a family's or an icon's.
    explicit CIconProject(CIconDoc&& doc, IconContainer from = IconContainer::Unknown);

    [[nodiscard]] CIconDoc& Doc() { return doc_; }
    [[nodiscard]] const CIconDoc& Doc() const { return doc_; }
    // The container the project was read from (Unknown for a new project).
    IconContainer container = IconContainer::Unknown;
    // For an icon taken from a file of several (a program's group, a resource file's family):
    // the file name, without extension, that Save As proposes (shell::ProgramGroupFileStem).
    QString proposedStem;
    // True when Save can write the file it was read from (icons, cursors, families); animated
    // cursors, resource and MacBinary files are saved under a new name.
    [[nodiscard]] bool CanSaveInPlace() const;
    bool Save(AppContext& app, bool choose) override;
    [[nodiscard]] bool CanSave() const override { return true; }
    [[nodiscard]] bool SaveWanted() const override { return IsModified() || !CanSaveInPlace(); }
    // Set for a project opened from a container the program keeps open (an icon library): Save
    // hands the formats back to it, and is false when it can no longer take them (then Save
    // asks for a file).
    std::function<bool(const CIconDoc& doc)> saveBack;
    // When the formats last changed (or the project was read or made).
    [[nodiscard]] const QDateTime& LastChange() const { return lastChange_; }

    // Appends a format, or removes one; both mark the project modified and tell the views.
    void AddFormat(CKvIcon&& icon);
    bool DeleteFormat(int index);
    // Tells the views that the formats changed (in number, order or content).
    void NotifyFormatsChanged(bool modified);

    // The edit session: every format's editable state and undo history, strokes and the
    // write-back of each edit into the icon. It tells the project after each edit.
    [[nodiscard]] editor::EditSession& Session() { return session_; }
    // The editable state of format `index`, made on first use; null outside the list.
    editor::FormatState* EditState(int index) { return session_.State(index); }
    [[nodiscard]] bool CanUndo(int index) const { return session_.CanUndo(index); }
    [[nodiscard]] bool CanRedo(int index) const { return session_.CanRedo(index); }
    bool Undo(int index) { return session_.Undo(index); }
    bool Redo(int index) { return session_.Redo(index); }

signals:
    void formatsChanged();
    // The pixels (and perhaps the depth) of one format changed.
    void formatEdited(int index);

private:
    CIconDoc doc_;
    editor::EditSession session_{doc_};
    QDateTime lastChange_ = QDateTime::currentDateTime();
};

}  // namespace tellurine::app

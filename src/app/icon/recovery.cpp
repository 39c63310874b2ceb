#include "app/icon/recovery.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include "app/icon/icon_project.h"
#include "formats/icon_project.h"

namespace tellurine::app {

CRecovery::CRecovery(QString folder) : folder_(std::move(folder)), prefix_(QString::number(QCoreApplication::applicationPid())) {
    QDir().mkpath(folder_);
    lock_ = std::make_unique<QLockFile>(QDir(folder_).filePath(prefix_ + ".lock"));
    lock_->setStaleLockTime(0);
    lock_->tryLock(0);
}

std::vector<CRecovery::Entry> CRecovery::Found() const {
    std::vector<Entry> entries;
    const QDir dir(folder_);
    for (const QString& info : dir.entryList({"*.txt"}, QDir::Files, QDir::Name)) {
        const QString owner = info.section('-', 0, 0);
        if (owner == prefix_) continue;
        // A run that still holds its lock is still editing these.
        QLockFile other(dir.filePath(owner + ".lock"));
        other.setStaleLockTime(0);
        if (QFileInfo::exists(dir.filePath(owner + ".lock")) && !other.tryLock(0)) continue;
        other.unlock();
        QFile file(dir.filePath(info));
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) continue;
        QTextStream in(&file);
        Entry entry;
        entry.iconFile = dir.filePath(in.readLine());
        entry.originalPath = in.readLine();
        entry.title = in.readLine();
        if (QFileInfo::exists(entry.iconFile)) entries.push_back(entry);
    }
    return entries;
}

void CRecovery::Discard(const std::vector<Entry>& entries) const {
    const QDir dir(folder_);
    for (const Entry& entry : entries) {
        const QString base = QFileInfo(entry.iconFile).completeBaseName();
        QFile::remove(entry.iconFile);
        QFile::remove(dir.filePath(base + ".txt"));
        const QString owner = base.section('-', 0, 0);
        if (dir.entryList({owner + "-*"}, QDir::Files).isEmpty()) QFile::remove(dir.filePath(owner + ".lock"));
    }
}

QString CRecovery::FileOf(const CIconProject* project) const {
    const auto it = names_.find(project);
    return it == names_.end() ? QString() : QDir(folder_).filePath(it->second);
}

bool CRecovery::Save(CIconProject& project) {
    auto it = names_.find(&project);
    if (it == names_.end()) it = names_.emplace(&project, prefix_ + "-" + QString::number(++next_)).first;
    const QDir dir(folder_);
    // The project is written in its own kind, without sorting the formats it is showing.
    CIconDoc copy;
    copy.macintosh = project.Doc().macintosh;
    copy.cursor = project.Doc().cursor;
    for (int i = 0; i < project.Doc().GetFormatCount(); ++i) copy.AddFormat(CKvIcon(project.Doc().GetFormat(i)->Icon()));
    std::vector<std::uint8_t> bytes;
    std::string error;
    if (!WriteIconProject(copy, false, bytes) ||
        !WriteFileAtomically(dir.filePath(it->second + ".icon").toStdString(), bytes, error))
        return false;
    const QString info = it->second + ".icon\n" + project.PathName() + "\n" + project.Title() + "\n";
    const QByteArray text = info.toUtf8();
    return WriteFileAtomically(dir.filePath(it->second + ".txt").toStdString(),
                               std::span(reinterpret_cast<const std::uint8_t*>(text.constData()), text.size()), error);
}

void CRecovery::Forget(const CIconProject* project) {
    const auto it = names_.find(project);
    if (it == names_.end()) return;
    const QDir dir(folder_);
    QFile::remove(dir.filePath(it->second + ".icon"));
    QFile::remove(dir.filePath(it->second + ".txt"));
    names_.erase(it);
}

}  // namespace tellurine::app

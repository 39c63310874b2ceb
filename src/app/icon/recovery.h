// Recovery files: every so often each modified icon project is written to a file of its own in
// the user-data folder (never over the user's file); the file goes when the project is saved or
// closed. After a crash the next run finds the files that no running program owns and offers them.
#pragma once

#include <QLockFile>
#include <QString>
#include <map>
#include <memory>
#include <vector>

namespace tellurine::app {

class CIconProject;

class CRecovery {
public:
    // Files live in `folder`; this run claims its own names with a lock file there.
    explicit CRecovery(QString folder);

    // What an earlier run left: the saved icon, and the project's own path and title.
    struct Entry {
        QString iconFile;
        QString originalPath;
        QString title;
    };
    // The files of runs that ended without removing them (their lock is no longer held).
    [[nodiscard]] std::vector<Entry> Found() const;
    // Removes what an earlier run left (after it was restored or refused).
    void Discard(const std::vector<Entry>& entries) const;

    // Writes a modified project's recovery file (again); false when it could not be written.
    bool Save(CIconProject& project);
    // Removes a project's recovery file, when it has one.
    void Forget(const CIconProject* project);
    [[nodiscard]] QString FileOf(const CIconProject* project) const;

private:
    QString folder_;
    QString prefix_;  // this run's: the process id
    std::unique_ptr<QLockFile> lock_;
    std::map<const CIconProject*, QString> names_;
    int next_ = 0;
};

}  // namespace tellurine::app

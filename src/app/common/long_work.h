// Long work off the interface thread: the window stays live, the wait cursor shows at once, and a
// progress dialog after half a second, whose Cancel drops the work's result.
#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace tellurine::app {

class UserPrompts;

// The wait cursor for as long as an object lives.
struct WaitCursor {
    WaitCursor();
    ~WaitCursor();
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};

// How long work runs before the progress dialog shows, in milliseconds; 0 or less shows it at
// once (tests cancel through it).
int& ProgressDelayMs();

// Runs `work` on a worker thread and waits for it while the interface keeps painting. The work
// must own or share everything it touches: after a cancel it still runs to its end, unseen.
// True when it finished, false when the user cancelled (nothing of the work may then be used).
// Work that cannot be given up (writing a file) shows no Cancel and always runs to its end here,
// so it may touch what the caller holds.
enum class Cancel { Allowed, NotAllowed };
bool RunLongWork(UserPrompts& prompts, QWidget* parent, const QString& label, std::function<void()> work,
                 Cancel cancel = Cancel::Allowed);

// RunLongWork for reading the file at `path` to open it, its progress labelled with the file's name.
bool RunFileRead(UserPrompts& prompts, QWidget* parent, const QString& path, std::function<void()> read);

// Makes the core's busy hook show the wait cursor, from whichever thread the work runs on.
void InstallBusyCursor();

}  // namespace tellurine::app

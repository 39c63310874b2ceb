// The busy hook: the portable stand-in for the wait cursor.
//
// Long image operations hold a ScopedBusy while they work. The program installs a hook (the
// desktop program shows its wait cursor); the core never shows anything itself. The hook is told
// only when the outermost ScopedBusy starts and when it ends, so nested operations do not stack
// cursors, and operations running on several threads at once (the command-line tool's workers)
// share one busy period.
#pragma once

namespace tellurine {

// Called with true when work starts and false when it has ended. Null: nothing is shown.
using BusyHook = void (*)(bool busy);

// Installs the hook (null removes it) and returns the previous one. Install it before any work
// starts; a hook changed while work runs is told only of the next change.
BusyHook SetBusyHook(BusyHook hook);

class ScopedBusy {
public:
    ScopedBusy();
    ~ScopedBusy();
    ScopedBusy(const ScopedBusy&) = delete;
    ScopedBusy& operator=(const ScopedBusy&) = delete;
};

}  // namespace tellurine

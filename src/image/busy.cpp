#include "image/busy.h"

#include <mutex>

namespace tellurine {
namespace {

// One process-wide slot: the hook, and how many ScopedBusy objects are alive. The mutex keeps
// the count and the hook's calls in step, so that "busy" and "done" always alternate.
std::mutex gBusyMutex;
BusyHook gBusyHook = nullptr;
int gBusyDepth = 0;

}  // namespace

BusyHook SetBusyHook(BusyHook hook) {
    const std::lock_guard lock(gBusyMutex);
    BusyHook previous = gBusyHook;
    gBusyHook = hook;
    return previous;
}

ScopedBusy::ScopedBusy() {
    const std::lock_guard lock(gBusyMutex);
    if (gBusyDepth++ == 0 && gBusyHook != nullptr) gBusyHook(true);
}

ScopedBusy::~ScopedBusy() {
    const std::lock_guard lock(gBusyMutex);
    if (--gBusyDepth == 0 && gBusyHook != nullptr) gBusyHook(false);
}

}  // namespace tellurine

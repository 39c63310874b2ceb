// Work shared between threads.
#pragma once

#include <exception>
#include <functional>
#include <thread>
#include <vector>

namespace tellurine {

// Runs `work` on this thread and on up to `threads` - 1 more, as many as the system will start,
// and returns once every run has returned. Each run is meant to take its share from a common
// queue (an atomic counter, say), so that fewer threads only make the work slower.
template <typename Work>
void RunOnThreads(unsigned threads, Work& work) {
    std::vector<std::thread> helpers;
    try {
        helpers.reserve(threads);
        for (unsigned t = 1; t < threads; ++t) helpers.emplace_back(std::ref(work));
    } catch (const std::exception&) {
        // No thread or no memory for more: the ones started and this one do it all.
    }
    work();
    for (std::thread& helper : helpers) helper.join();
}

}  // namespace tellurine

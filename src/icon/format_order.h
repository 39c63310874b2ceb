// The stable exchange sort behind every ordering of icon formats.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace tellurine {

// Sorts by passes of adjacent exchanges until a pass exchanges nothing; `before(a, b)` says that
// a must come before b, so equal elements never move past each other. True when anything moved.
template <typename T, typename Before>
bool ExchangeSort(std::vector<T>& items, Before before) {
    bool moved = false;
    for (bool exchanged = true; exchanged;) {
        exchanged = false;
        for (std::size_t i = 0; i + 1 < items.size(); ++i) {
            if (before(items[i + 1], items[i])) {
                std::swap(items[i], items[i + 1]);
                exchanged = true;
                moved = true;
            }
        }
    }
    return moved;
}

}  // namespace tellurine

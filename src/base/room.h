#pragma once
// Room made in advance: what changes a search last may not fail, so it finds its memory there.

#include <algorithm>
#include <vector>

namespace base {

/// Room for so many elements in all; growing costs no more than it does by push_back.
template <typename T>
void MakeRoom(std::vector<T>& values, size_t count) {
    if (count > values.capacity()) values.reserve(std::max(count, 2 * values.capacity()));
}

}  // namespace base

#include "OutputBuffer.h"

#include <algorithm>
#include <cstring>

namespace qorn::simulator {

void OutputBuffer::append(std::span<const std::uint8_t> bytes) {
    if (taken > 0 && taken >= held.size() / 2) {
        held.removeFront(taken);
        taken = 0;
    }
    held.append(bytes);
}

std::size_t OutputBuffer::take(std::span<std::uint8_t> out) {
    const std::size_t count = std::min(out.size(), size());
    if (count > 0) {
        std::memcpy(out.data(), held.bytes().data() + taken, count);
    }
    taken += count;
    if (taken == held.size()) {
        held.clear();
        taken = 0;
    }
    return count;
}

} // namespace qorn::simulator

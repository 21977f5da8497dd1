#include "ByteFaults.h"

#include <algorithm>
#include <array>
#include <limits>

namespace qorn::simulator {

namespace {

constexpr std::uint64_t kNowhere = std::numeric_limits<std::uint64_t>::max();

} // namespace

ByteFaults::ByteFaults(const FaultsSpec& faults, std::uint64_t seed)
    : lostPerByte(faults.lostBytesPerByte), garbagePerByte(faults.garbageBytesPerByte),
      lostAt(faults.lostBytesAt), damages(lostPerByte > 0 || garbagePerByte > 0 || !lostAt.empty()),
      random(seed), nextLost(drawAfter(0, lostPerByte, random)),
      nextGarbage(drawAfter(0, garbagePerByte, random)) {}

std::uint64_t ByteFaults::drawAfter(std::uint64_t position, double perByte, Random& random) {
    if (perByte <= 0) {
        return kNowhere;
    }
    const double bytes = random.geometric(perByte) - 1;
    return bytes < 1e18 ? position + static_cast<std::uint64_t>(bytes) : kNowhere;
}

void ByteFaults::pass(std::span<const std::uint8_t> bytes, ByteBuffer& out) {
    const std::uint64_t end = position + bytes.size();
    while (position < end) {
        const std::uint64_t scripted = nextLostAt < lostAt.size() ? lostAt[nextLostAt] : kNowhere;
        const std::uint64_t stop = std::min({end, nextLost, nextGarbage, scripted});
        const auto sound = static_cast<std::size_t>(stop - position);
        out.append(bytes.first(sound));
        bytes = bytes.subspan(sound);
        position = stop;
        if (position == end) {
            break;
        }
        if (position == nextGarbage) {
            const std::array<std::uint8_t, 1> garbage{static_cast<std::uint8_t>(random.bits() >> 56)};
            out.append(garbage);
            nextGarbage = drawAfter(position + 1, garbagePerByte, random);
            continue;
        }
        if (position == scripted) {
            ++nextLostAt;
        }
        if (position == nextLost) {
            nextLost = drawAfter(position + 1, lostPerByte, random);
        }
        bytes = bytes.subspan(1);
        ++position;
    }
}

} // namespace qorn::simulator

#include "RelayBuffers.h"

#include <utility>

namespace qorn::relay {

struct RelayBuffers::Lent {
    Lent(std::shared_ptr<RelayBuffers> owner, std::vector<std::uint8_t> content)
        : buffers(std::move(owner)), bytes(std::move(content)) {}
    ~Lent() { buffers->giveBack(std::move(bytes)); }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;

    std::shared_ptr<RelayBuffers> buffers;
    std::vector<std::uint8_t> bytes;
};

RelayBuffers::RelayBuffers() {
    spare.reserve(kMostBuffers); // giving back must not fail
}

std::vector<std::uint8_t> RelayBuffers::take() {
    const std::lock_guard lock(mutex);
    if (spare.empty())
        return {};
    std::vector<std::uint8_t> buffer = std::move(spare.back());
    spare.pop_back();
    return buffer;
}

RelayBatch RelayBuffers::makeBatch(std::vector<std::uint8_t> bytes) {
    const auto lent = std::make_shared<Lent>(shared_from_this(), std::move(bytes));
    return RelayBatch(lent, &lent->bytes);
}

void RelayBuffers::clear() {
    const std::lock_guard lock(mutex);
    spare.clear();
}

void RelayBuffers::giveBack(std::vector<std::uint8_t> bytes) noexcept {
    if (bytes.capacity() > kMostBytes)
        return;
    bytes.clear();
    const std::lock_guard lock(mutex);
    if (spare.size() < kMostBuffers)
        spare.push_back(std::move(bytes));
}

} // namespace qorn::relay

// Keeps the memory of batches that are sent for those to come: fresh pages cost the publisher more than its
// work. Shared by the server and its batches, of which the last one may outlive it; any thread.
#pragma once

#include "RelayStreamClients.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace qorn::relay {

class RelayBuffers : public std::enable_shared_from_this<RelayBuffers> {
public:
    static constexpr std::size_t kMostBuffers = 8;
    static constexpr std::size_t kMostBytes = 1048576; // a larger one is not kept

    RelayBuffers();

    // An empty buffer, with memory if there is some.
    std::vector<std::uint8_t> take();
    // A batch of these bytes, whose memory comes back when the batch is freed.
    RelayBatch makeBatch(std::vector<std::uint8_t> bytes);
    // Gives up the memory at hand.
    void clear();

private:
    struct Lent;
    void giveBack(std::vector<std::uint8_t> bytes) noexcept;

    std::mutex mutex;
    std::vector<std::vector<std::uint8_t>> spare;
};

} // namespace qorn::relay

// A slow decoder of the three wire formats that follows the rules one by one and reads bit by bit. The tests
// hold the fast decoder against it.
//
// Owned by a test, used by its thread.
#pragma once

#include "PackedDeltaDecoder.h"
#include "StreamBuilder.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qorn::testing {

class ReferencePackedDecoder;

// One pass: takes whole records from the front of `raw` and returns their tags in stream order.
class ReferenceFormat {
public:
    virtual ~ReferenceFormat() = default;
    virtual std::vector<timing::TimeTag> pass(Bytes& raw) = 0;
};

class ReferenceDecoder {
public:
    explicit ReferenceDecoder(const timing::StreamFileHeader& header);
    ~ReferenceDecoder();
    ReferenceDecoder(const ReferenceDecoder&) = delete;
    ReferenceDecoder& operator=(const ReferenceDecoder&) = delete;

    // Appends the bytes to what is pending and decodes one pass.
    std::vector<timing::TimeTag> feed(std::span<const std::uint8_t> bytes);

    const Bytes& raw() const { return pending; }

    // The packed format only: whether record boundaries are known, and every line for the debug log so far,
    // without prefix, newline and limit.
    bool isLocked() const;
    std::vector<std::string> log() const;

    // Where record boundaries would be found in `bytes`.
    timing::PackedAlignment probe(const Bytes& bytes, int delta_bits, int record_bits);

private:
    Bytes pending;
    std::unique_ptr<ReferenceFormat> format;
    ReferencePackedDecoder* packed = nullptr; // format, when that is the packed one
};

} // namespace qorn::testing

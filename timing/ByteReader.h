// Bounded reading of little-endian fields from foreign bytes: nothing is reserved before it is known to be
// there, and after one short read every further read fails.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qorn::timing {

class ByteReader {
public:
    explicit ByteReader(std::span<const std::uint8_t> content) : bytes(content) {}

    bool ok() const { return intact; }
    std::size_t left() const { return bytes.size(); }

    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::int64_t i64() { return static_cast<std::int64_t>(number(8)); }

    // The next `length` bytes as text; empty after a short read.
    std::string text(std::size_t length) {
        if (!available(length)) {
            return {};
        }
        std::string result(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        bytes = bytes.subspan(length);
        return result;
    }

    // `count` signed 64-bit numbers; empty after a short read.
    std::vector<std::int64_t> i64s(std::size_t count) {
        if (count > bytes.size() / 8) {
            intact = false;
            return {};
        }
        std::vector<std::int64_t> numbers(count);
        for (std::int64_t& value : numbers) {
            value = i64();
        }
        return numbers;
    }

private:
    bool available(std::size_t length) {
        intact = intact && length <= bytes.size();
        return intact;
    }

    std::uint64_t number(std::size_t length) {
        if (!available(length)) {
            return 0;
        }
        std::uint64_t value = 0;
        for (std::size_t index = 0; index < length; ++index) {
            value |= std::uint64_t{bytes[index]} << (8 * index);
        }
        bytes = bytes.subspan(length);
        return value;
    }

    std::span<const std::uint8_t> bytes;
    bool intact = true;
};

} // namespace qorn::timing

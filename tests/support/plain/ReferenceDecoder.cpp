#include "ReferenceDecoder.h"

#include "ReferencePackedDecoder.h"

#include <algorithm>

namespace qorn::testing {
namespace {

using timing::TimeTag;

constexpr std::uint64_t kCoarseWrap = 14315125997568;
constexpr std::uint64_t kWrapExcess = 1078036791296;
constexpr std::uint64_t kPlausibleWrap = 10000000000;

// `count` bits from bit `first` on, the most significant bit of each byte first.
std::uint64_t readBits(const Bytes& raw, std::size_t first, int count) {
    std::uint64_t value = 0;
    for (std::size_t bit = first; bit < first + static_cast<std::size_t>(count); ++bit)
        value = value * 2 + (raw[bit / 8] >> (7 - bit % 8) & 1u);
    return value;
}

void eraseFront(Bytes& raw, std::size_t count) {
    raw.erase(raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(count));
}

class ReferenceRaw64 : public ReferenceFormat {
public:
    explicit ReferenceRaw64(std::string layout) {
        for (char& letter : layout)
            letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
        coarse_fine = layout == "raw_cf";
    }

    std::vector<TimeTag> pass(Bytes& raw) override {
        std::vector<TimeTag> tags;
        const std::size_t size = raw.size();
        std::size_t pos = 0;
        while (pos + 8 <= size) {
            while (!isValid(raw, pos)) {
                if (pos + 9 > size) {
                    eraseFront(raw, pos + 1);
                    return tags;
                }
                ++pos;
            }
            tags.push_back(coarse_fine ? coarseFineTag(raw, pos) : picosecondTag(raw, pos));
            pos += 8;
        }
        eraseFront(raw, pos);
        return tags;
    }

private:
    bool isValid(const Bytes& raw, std::size_t pos) const {
        const std::size_t bit = pos * 8;
        if (readBits(raw, bit, 1) != 0)
            return false;
        return coarse_fine ? readBits(raw, bit + 3, 16) == 0xA5C3 : readBits(raw, bit + 3, 17) == 0;
    }

    TimeTag coarseFineTag(const Bytes& raw, std::size_t pos) {
        const std::size_t channel = readBits(raw, pos * 8 + 1, 2);
        const std::uint64_t coarse = readBits(raw, pos * 8 + 19, 32);
        const std::uint64_t fine = readBits(raw, pos * 8 + 51, 13);
        if (has_last[channel] && coarse < last_raw[channel] && last_raw[channel] - coarse > 0x80000000)
            wrap_epoch[channel] += 0x100000000;
        last_raw[channel] = coarse;
        has_last[channel] = true;
        const std::uint64_t time =
            (coarse + wrap_epoch[channel]) * 3333 - std::min<std::uint64_t>((37 * fine + 1) / 2, 3332);
        return {static_cast<std::uint8_t>(channel), static_cast<std::int64_t>(time)};
    }

    TimeTag picosecondTag(const Bytes& raw, std::size_t pos) {
        const std::size_t channel = readBits(raw, pos * 8 + 1, 2);
        const std::uint64_t base = readBits(raw, pos * 8 + 20, 44) % kCoarseWrap;
        if (has_last[channel] && base < last_raw[channel] && last_raw[channel] - base > kCoarseWrap / 2)
            wrap_epoch[channel] += kCoarseWrap;
        last_raw[channel] = base;
        has_last[channel] = true;
        return {static_cast<std::uint8_t>(channel), static_cast<std::int64_t>(base + wrap_epoch[channel])};
    }

    bool coarse_fine;
    std::array<std::uint64_t, 4> last_raw{};
    std::array<bool, 4> has_last{};
    std::array<std::uint64_t, 4> wrap_epoch{};
};

class ReferenceDelta32 : public ReferenceFormat {
public:
    std::vector<TimeTag> pass(Bytes& raw) override {
        std::vector<TimeTag> tags;
        std::size_t index = 0;
        for (;;) {
            if (!aligned && !align(raw, index))
                return tags;
            if (raw.size() - index < 4) {
                eraseFront(raw, index);
                return tags;
            }
            const Word word = readWord(raw, index);
            index += 4;
            if (!act(word, tags))
                loseAlignment();
        }
    }

private:
    struct Word {
        bool control = false;
        std::uint64_t sub = 0;
        std::uint64_t kind = 0;
        std::uint64_t payload = 0;

        bool isData() const { return !control && kind == 10; }
        bool isControl(std::uint64_t wanted) const { return control && kind == 5 && sub == wanted; }
        bool isSync() const { return isControl(3) && payload == 0x15A55AA; }
        bool isIgnored() const { return isControl(3) && payload != 0x15A55AA; }
        bool isOverflow() const { return isControl(0) && payload < 65536; }
        bool isLow() const { return isControl(1); }
        bool isHigh() const { return isControl(2) && payload < 65536; }
    };

    static Word readWord(const Bytes& raw, std::size_t index) {
        const std::size_t bit = index * 8;
        return {readBits(raw, bit, 1) == 1, readBits(raw, bit + 1, 2), readBits(raw, bit + 3, 4),
                readBits(raw, bit + 7, 25)};
    }

    bool align(Bytes& raw, std::size_t& index) {
        for (std::size_t k = index; k + 4 <= raw.size(); ++k) {
            if (readBits(raw, k * 8, 32) != 0xEB5A55AA)
                continue;
            eraseFront(raw, k + 4);
            aligned = true;
            phase = 1;
            abs_valid = false;
            abs_base = 0;
            overflow_count = 0;
            index = 0;
            return true;
        }
        eraseFront(raw, raw.size() - std::min<std::size_t>(raw.size(), 3));
        return false;
    }

    void loseAlignment() {
        aligned = false;
        phase = 0;
        abs_low = 0;
        clearAbsolute();
        overflow_count = 0;
    }

    void clearAbsolute() {
        abs_base = 0;
        abs_valid = false;
    }

    // False when alignment is lost.
    bool act(const Word& word, std::vector<TimeTag>& tags) {
        if (word.isIgnored())
            return true;
        if (word.isSync()) {
            if (phase == 1)
                abs_low = 0;
            phase = 1;
            clearAbsolute();
            overflow_count = 0;
            return true;
        }
        if (phase == 1) {
            abs_low = word.payload;
            phase = 2;
            return word.isLow();
        }
        if (phase == 2) {
            abs_base = word.payload << 25 | abs_low;
            abs_valid = true;
            phase = 0;
            overflow_count = 0;
            return word.isHigh();
        }
        if (word.isData())
            return takeData(word, tags);
        if (!word.isOverflow() || abs_valid)
            return false;
        overflow_count += word.payload;
        return true;
    }

    bool takeData(const Word& word, std::vector<TimeTag>& tags) {
        const std::size_t c = word.sub;
        const std::uint64_t delta = (overflow_count << 25) + word.payload;
        overflow_count = 0;
        if (!abs_valid) {
            if (seen[c])
                emit(c, static_cast<std::uint64_t>(last_ps[c]) + withoutExcess(delta, position(c)), tags);
            return true;
        }
        const std::uint64_t base = abs_base & 0x1FFFFFFFFFF;
        if (!seen[c]) {
            emit(c, delta + base, tags);
            return true;
        }
        const std::uint64_t p = position(c);
        std::uint64_t q = (p >> 41 << 41) | base;
        if (q + (std::uint64_t{1} << 40) < p)
            q += std::uint64_t{1} << 41;
        if (q > p)
            q = p + withoutExcess(q - p, p);
        const std::uint64_t t = delta + q;
        if (static_cast<std::int64_t>(t) <= last_ps[c])
            return false;
        emit(c, t, tags);
        return true;
    }

    // A step from p, corrected when it must have spanned a wrap of the coarse counter.
    static std::uint64_t withoutExcess(std::uint64_t step, std::uint64_t p) {
        if (step <= kWrapExcess)
            return step;
        const std::uint64_t e = step - kWrapExcess;
        return e <= kPlausibleWrap || p % kCoarseWrap + e >= kCoarseWrap ? e : step;
    }

    std::uint64_t position(std::size_t c) const {
        return static_cast<std::uint64_t>(std::max<std::int64_t>(last_ps[c], 0));
    }

    void emit(std::size_t c, std::uint64_t time, std::vector<TimeTag>& tags) {
        last_ps[c] = static_cast<std::int64_t>(time);
        seen[c] = true;
        clearAbsolute();
        tags.push_back({static_cast<std::uint8_t>(c), last_ps[c]});
    }

    bool aligned = false;
    int phase = 0;
    std::uint64_t abs_low = 0;
    std::uint64_t abs_base = 0;
    bool abs_valid = false;
    std::uint64_t overflow_count = 0;
    std::array<std::int64_t, 4> last_ps{};
    std::array<bool, 4> seen{};
};

} // namespace

ReferenceDecoder::ReferenceDecoder(const timing::StreamFileHeader& header) {
    switch (static_cast<int>(header.format)) {
    case 0:
        format = std::make_unique<ReferenceRaw64>(header.raw64_tag_format);
        break;
    case 1:
        format = std::make_unique<ReferenceDelta32>();
        break;
    case 2: {
        auto decoder = std::make_unique<ReferencePackedDecoder>(header);
        packed = decoder.get();
        format = std::move(decoder);
        break;
    }
    default:
        break;
    }
}

ReferenceDecoder::~ReferenceDecoder() = default;

std::vector<TimeTag> ReferenceDecoder::feed(std::span<const std::uint8_t> bytes) {
    appendBytes(pending, bytes);
    return format ? format->pass(pending) : std::vector<TimeTag>{};
}

bool ReferenceDecoder::isLocked() const {
    return packed != nullptr && packed->locked;
}

std::vector<std::string> ReferenceDecoder::log() const {
    return packed != nullptr ? packed->log : std::vector<std::string>{};
}

timing::PackedAlignment ReferenceDecoder::probe(const Bytes& bytes, int delta_bits, int record_bits) {
    return packed->probe(bytes, delta_bits, record_bits);
}

} // namespace qorn::testing

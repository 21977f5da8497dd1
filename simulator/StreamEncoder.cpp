#include "StreamEncoder.h"

#include "Delta32Encoder.h"
#include "PackedEncoder.h"
#include "Raw64Encoder.h"

namespace qorn::simulator {

std::unique_ptr<StreamEncoder> makeEncoder(const EncoderSettings& settings) {
    switch (settings.format) {
    case StreamFormat::Delta32:
        return std::make_unique<Delta32Encoder>(settings);
    case StreamFormat::Packed:
        return std::make_unique<PackedEncoder>(settings);
    case StreamFormat::Raw64:
        break;
    }
    return std::make_unique<Raw64Encoder>();
}

std::unique_ptr<StreamEncoder> makeRawCodeEncoder(const DelayLines& lines, std::uint8_t rawLine) {
    return std::make_unique<Raw64Encoder>(lines, rawLine);
}

} // namespace qorn::simulator

// A fine calibration of one instrument's delay lines, and its file.
#pragma once

#include "FineLut.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qorn::timing {

struct FineCalibration {
    static constexpr std::size_t kTdlSlots = 5;

    struct TdlEntry {
        std::uint8_t tdl_index = 0;
        std::array<FineLut, kChannels> luts; // per input

        bool operator==(const TdlEntry&) const = default;
    };

    std::string serial; // of the instrument to which the calibration belongs
    std::vector<TdlEntry> tdls;
    // Phase of a delay line against the first one in ps, 0 to 3332, by [input][tdl index].
    std::array<std::array<std::uint32_t, kTdlSlots>, kChannels> tdl_offset_ps{};

    bool operator==(const FineCalibration&) const = default;
};

// Writes the file (UTF-8 path) and its parent folders. Throws Error with status -2.
void save_calibration_file(const std::string& path, const FineCalibration& calibration);

// Replaces `calibration` by the file's, as a whole. False, with the target unchanged, when the file cannot be
// opened, is not of this kind or is not complete.
bool load_calibration_file(const std::string& path, FineCalibration& calibration);

// The same with the file's bytes. Decoding, what follows the offsets does not count.
std::vector<std::uint8_t> encode_calibration_file(const FineCalibration& calibration);
bool decode_calibration_file(std::span<const std::uint8_t> bytes, FineCalibration& calibration);

} // namespace qorn::timing

#include "NpyWriter.h"

#include <bit>
#include <cstring>
#include <string>

namespace qorn::qornts {
namespace {

constexpr std::size_t kRecordBytes = 9;
constexpr std::size_t kHeadBytes = 128; // a multiple of 64, with room for any count
constexpr std::size_t kFixedBytes = 10; // magic, version and length

std::vector<std::uint8_t> head(std::uint64_t count) {
    std::string text =
        "{'descr': [('channel', 'u1'), ('time_ps', '<i8')], 'fortran_order': False, 'shape': (" +
        std::to_string(count) + ",), }";
    text.resize(kHeadBytes - kFixedBytes - 1, ' ');
    text += '\n';
    std::vector<std::uint8_t> bytes{0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
    bytes.push_back(static_cast<std::uint8_t>(text.size()));
    bytes.push_back(static_cast<std::uint8_t>(text.size() >> 8));
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

} // namespace

NpyWriter::NpyWriter(OutputFile& output) : file(output) {
    file.write(head(0));
}

void NpyWriter::write(std::span<const timing::TimeTag> tags) {
    static_assert(std::endian::native == std::endian::little);
    if (records.size() < tags.size() * kRecordBytes) {
        records.resize(tags.size() * kRecordBytes);
    }
    std::uint8_t* at = records.data();
    for (const timing::TimeTag& tag : tags) {
        *at = static_cast<std::uint8_t>(tag.channel + 1);
        std::memcpy(at + 1, &tag.timestamp_ps, sizeof tag.timestamp_ps);
        at += kRecordBytes;
    }
    file.write({records.data(), tags.size() * kRecordBytes});
    count += tags.size();
}

void NpyWriter::finish() {
    file.rewriteFront(head(count));
}

} // namespace qorn::qornts

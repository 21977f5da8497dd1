#include "CsvWriter.h"

#include <charconv>
#include <string_view>

namespace qorn::qornts {
namespace {

constexpr std::string_view kHead = "channel,time_ps\n";
constexpr std::size_t kMostRowBytes = sizeof "4,-9223372036854775808\n" - 1;

} // namespace

CsvWriter::CsvWriter(OutputFile& output) : file(output) {
    file.write({reinterpret_cast<const std::uint8_t*>(kHead.data()), kHead.size()});
}

void CsvWriter::write(std::span<const timing::TimeTag> tags) {
    if (rows.size() < tags.size() * kMostRowBytes) {
        rows.resize(tags.size() * kMostRowBytes);
    }
    char* const begin = reinterpret_cast<char*>(rows.data());
    char* const end = begin + rows.size();
    char* at = begin;
    for (const timing::TimeTag& tag : tags) {
        *at++ = static_cast<char>('1' + tag.channel);
        *at++ = ',';
        at = std::to_chars(at, end, tag.timestamp_ps).ptr;
        *at++ = '\n';
    }
    file.write({rows.data(), static_cast<std::size_t>(at - begin)});
}

} // namespace qorn::qornts

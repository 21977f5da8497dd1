// Stream files by their layout, written without the product's writer: also broken ones. And the slow way to
// unwrap the times of a recording.
#pragma once

#include "StreamBuilder.h"
#include "TimeTag.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qorn::testing {

// The JSON text of a file's header, member by member; values are JSON text.
class HeaderText {
public:
    HeaderText(); // of a recording: raw64 "ps", external, USB, all four inputs, serial SN0001

    HeaderText& set(const std::string& key, const std::string& value); // replaces, or appends at the end
    HeaderText& setText(const std::string& key, const std::string& value) {
        return set(key, '"' + value + '"');
    }
    HeaderText& remove(const std::string& key);

    std::vector<std::string> keys() const;
    std::string json() const;

private:
    std::vector<std::pair<std::string, std::string>> members;
};

// Magic, length and JSON.
Bytes streamFileHead(std::string_view json);
void writeStreamFile(const std::filesystem::path& path, std::string_view json,
                     std::span<const std::uint8_t> payload);
// A recording of these tags, whose times are taken modulo the counter's wrap.
void writeRecording(const std::filesystem::path& path, std::span<const timing::TimeTag> tags,
                    const HeaderText& header = {});

// The bytes behind the header; fails the running test when this is no stream file.
Bytes payloadOf(const std::filesystem::path& path);

// The tags' times modulo the counter's wrap, each put where it is nearest to the latest one so far; the
// first stays in the first wrap.
std::vector<timing::TimeTag> nearestToTheLatest(std::span<const timing::TimeTag> tags);

} // namespace qorn::testing

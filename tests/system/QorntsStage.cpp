#include "QorntsStage.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <sstream>

namespace qorn::testing {
namespace {

const std::string kData = QORN_TEST_DATA;

std::uint64_t littleEndian(const Bytes& bytes, std::size_t at, std::size_t length) {
    std::uint64_t value = 0;
    for (std::size_t index = length; index-- > 0;) {
        value = value << 8 | bytes[at + index];
    }
    return value;
}

} // namespace

QorntsTest::QorntsTest()
    : golden{kData + "/run.qornts", kData + "/run_part002.qornts"}, goldenCsv(textOf(kData + "/run.csv")) {}

ChildProcess::Options QorntsTest::here() const {
    ChildProcess::Options options;
    options.folder = folder.path().string();
    return options;
}

ToolRun QorntsTest::run(const Words& arguments, ChildProcess::Options options) const {
    if (options.folder.empty()) {
        options.folder = folder.path().string();
    }
    ChildProcess tool(QORN_QORNTS, arguments, options);
    const ChildProcess::Ending ending = tool.wait();
    return {ending.code, ending.signal, ending.peakBytes, tool.output(), tool.errors()};
}

std::string QorntsTest::sparseRecording(const std::string& name, std::size_t payloadBytes) const {
    const std::string path = file(name);
    writeRecording(path, {});
    std::filesystem::resize_file(path, std::filesystem::file_size(path) + payloadBytes);
    return path;
}

Words QorntsTest::filesInFolder() const {
    Words names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

::testing::AssertionResult isOneErrorLine(const std::string& errors, const std::string& part) {
    const bool oneLine = !errors.empty() && errors.find('\n') == errors.size() - 1;
    if (oneLine && errors.starts_with("qornts: ") && errors.find(part) != std::string::npos) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "not one line with \"" << part << "\": " << errors;
}

std::map<std::string, std::string> factsOf(const std::string& output) {
    std::map<std::string, std::string> facts;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos) {
            ADD_FAILURE() << "no fact: " << line;
            continue;
        }
        const auto [place, isNew] = facts.emplace(line.substr(0, colon), line.substr(colon + 2));
        if (!isNew) {
            EXPECT_EQ(place->first, "file");
            place->second += '|' + line.substr(colon + 2);
        }
    }
    return facts;
}

std::string textOf(const std::string& path) {
    const Bytes bytes = readBytes(path);
    return {bytes.begin(), bytes.end()};
}

std::string csvOf(const Tags& tags) {
    std::string text = "channel,time_ps\n";
    for (const timing::TimeTag& tag : tags) {
        text += std::to_string(tag.channel + 1) + ',' + std::to_string(tag.timestamp_ps) + '\n';
    }
    return text;
}

Tags tagsOfNpy(const std::string& path) {
    const Bytes bytes = readBytes(path);
    const std::string magic("\x93NUMPY\x01\x00", 8);
    if (bytes.size() < 10 || !std::equal(magic.begin(), magic.end(), bytes.begin(), [](char left, int right) {
            return static_cast<unsigned char>(left) == right;
        })) {
        ADD_FAILURE() << path << " is no NPY file of version 1.0";
        return {};
    }
    const std::size_t begin = 10 + littleEndian(bytes, 8, 2);
    if (bytes.size() < begin) {
        ADD_FAILURE() << path << " ends in its header";
        return {};
    }
    EXPECT_EQ(begin % 64, 0U) << "the data is aligned";
    const std::string text(bytes.begin() + 10, bytes.begin() + static_cast<std::ptrdiff_t>(begin));
    const std::string begins =
        "{'descr': [('channel', 'u1'), ('time_ps', '<i8')], 'fortran_order': False, 'shape': (";
    EXPECT_TRUE(text.starts_with(begins)) << text;
    std::size_t count = 0;
    const char* end = text.data() + text.size();
    const auto number = std::from_chars(text.data() + std::min(begins.size(), text.size()), end, count);
    const std::string rest(number.ptr, end);
    EXPECT_TRUE(rest.starts_with(",), }") && rest.ends_with('\n')) << text;
    EXPECT_EQ(rest.find_first_not_of(' ', 5), rest.size() - 1) << text;
    EXPECT_EQ(bytes.size() - begin, 9 * count) << "records of nine bytes";
    Tags tags;
    for (std::size_t at = begin; at + 9 <= bytes.size(); at += 9) {
        EXPECT_GE(bytes[at], 1U);
        tags.push_back({static_cast<std::uint8_t>(bytes[at] - 1),
                        static_cast<std::int64_t>(littleEndian(bytes, at + 1, 8))});
    }
    return tags;
}

} // namespace qorn::testing

#include "Text.h"
#include "Progress.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace qorn::qornts {
namespace {

TEST(PrintableText, KeepsLettersOfAllScripts) {
    EXPECT_EQ(printable("Zähler ~ 时间 \xC2\xA0|"), "Zähler ~ 时间 \xC2\xA0|");
}

TEST(PrintableText, HasNoControlCharacters) {
    EXPECT_EQ(printable("a\x1B[2Jb\r\nc\x7F\t"), "a?[2Jb??c??");
    EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a?b");
    EXPECT_EQ(printable("\xC2\x9B"
                        "2J|\xC2\x80|\xC2"),
              "?2J|?|\xC2");
}

TEST(Explanation, LeavesOutWhoFoundTheFault) {
    EXPECT_EQ(explanation(std::runtime_error("StreamFileReader: a: not a stream file")),
              "a: not a stream file");
    EXPECT_EQ(explanation(std::runtime_error("disk full")), "disk full");
}

TEST(ProgressBar, GrowsWithTheWork) {
    EXPECT_EQ(Progress::bar(0, 200), '[' + std::string(40, ' ') + "]   0 %");
    EXPECT_EQ(Progress::bar(51, 200), '[' + std::string(10, '#') + std::string(30, ' ') + "]  25 %");
    EXPECT_EQ(Progress::bar(200, 200), '[' + std::string(40, '#') + "] 100 %");
    EXPECT_EQ(Progress::bar(0, 0), '[' + std::string(40, '#') + "] 100 %");
    EXPECT_EQ(Progress::bar(300, 200), Progress::bar(200, 200));
}

} // namespace
} // namespace qorn::qornts

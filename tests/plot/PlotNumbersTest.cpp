#include "PlotNumbers.h"

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using qorn::timetagger::gui::finitePlotNumber;
using qorn::timetagger::gui::PlotNumberText;

constexpr int kRandomNumbers = 50'000;

::testing::AssertionResult isWrittenAsByQString(double value) {
    const std::string expected = QString::number(value, 'g', 16).toStdString();
    const PlotNumberText written(value);
    if (written.text() == expected)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << expected << ", written " << written.text();
}

::testing::AssertionResult isReadAsByQString(const QString& text) {
    bool understood = false;
    const double expected = text.toDouble(&understood);
    understood = understood && std::isfinite(expected);
    const auto read = finitePlotNumber(text);
    if (read.has_value() != understood)
        return ::testing::AssertionFailure() << "accepted or refused in error: " << text.toStdString();
    if (read && std::bit_cast<quint64>(*read) != std::bit_cast<quint64>(expected))
        return ::testing::AssertionFailure() << text.toStdString() << " was read as " << *read;
    return ::testing::AssertionSuccess();
}

TEST(PlotNumbers, SpecialNumbersAreWrittenAsByQString) {
    using Limits = std::numeric_limits<double>;
    for (const double value : {0.0,
                               1.0,
                               1e5,
                               1e15,
                               1e16,
                               1e17,
                               123456789012345678.0,
                               999999999999999.9,
                               9999999999999998.0,
                               1e-4,
                               1e-5,
                               9.9999999999999995e-5,
                               0.1,
                               1e100,
                               1e-100,
                               Limits::max(),
                               Limits::min(),
                               Limits::denorm_min(),
                               Limits::epsilon(),
                               Limits::infinity(),
                               Limits::quiet_NaN()}) {
        EXPECT_TRUE(isWrittenAsByQString(value));
        EXPECT_TRUE(isWrittenAsByQString(-value));
    }
}

TEST(PlotNumbers, AnyBitPatternIsWrittenAsByQString) {
    std::mt19937_64 random(1);
    for (int i = 0; i < kRandomNumbers; ++i)
        ASSERT_TRUE(isWrittenAsByQString(std::bit_cast<double>(random())));
}

TEST(PlotNumbers, NumbersOfMeasurementsAreWrittenAsByQString) {
    std::mt19937_64 random(2);
    for (int i = 0; i < kRandomNumbers; ++i) {
        const auto count = static_cast<double>(random() % 100'000'000);
        ASSERT_TRUE(isWrittenAsByQString(count));
        ASSERT_TRUE(isWrittenAsByQString(count / 1000.0));
        ASSERT_TRUE(isWrittenAsByQString(count / static_cast<double>(1 + random() % 1000)));
        ASSERT_TRUE(isWrittenAsByQString(-count * 1e-12));
    }
}

// Odd multiples of a power of one half that have 17 digits, so the last is a 5 and two texts are equally
// near; and their neighbours.
TEST(PlotNumbers, NumbersBetweenTwoTextsAreWrittenAsByQString) {
    constexpr double kMostMantissa = 9007199254740992.0;
    constexpr int kMostBits = 24;
    constexpr int kPerFraction = 5000;
    std::mt19937_64 random(3);
    for (int bits = 1; bits <= kMostBits; ++bits) {
        const double scale = std::pow(5.0, bits);
        std::uniform_real_distribution<double> odd(1e16 / scale, std::min(1e17 / scale, kMostMantissa));
        for (int i = 0; i < kPerFraction; ++i) {
            const double value = std::ldexp(2.0 * std::floor(odd(random) / 2.0) + 1.0, -bits);
            ASSERT_TRUE(isWrittenAsByQString(value));
            ASSERT_TRUE(isWrittenAsByQString(-value));
            ASSERT_TRUE(isWrittenAsByQString(std::nextafter(value, 0.0)));
            ASSERT_TRUE(isWrittenAsByQString(std::nextafter(value, 2.0 * value)));
        }
    }
}

TEST(PlotNumbers, EveryShortTextIsReadOrRefusedAsByQString) {
    const QString alphabet = QStringLiteral("05.e+- ");
    constexpr int kLongest = 6;
    int combinations = 1;
    for (int length = 0; length <= kLongest; ++length) {
        for (int code = 0; code < combinations; ++code) {
            QString text;
            for (int place = 0, rest = code; place < length; ++place, rest /= int(alphabet.size()))
                text += alphabet[rest % int(alphabet.size())];
            ASSERT_TRUE(isReadAsByQString(text));
        }
        combinations *= int(alphabet.size());
    }
}

TEST(PlotNumbers, UnusualTextsAreReadOrRefusedAsByQString) {
    for (const char16_t* text : {u"inf",
                                 u"-inf",
                                 u"nan",
                                 u"1e308",
                                 u"1e309",
                                 u"-1e309",
                                 u"1e-324",
                                 u"4.9e-324",
                                 u"1e-400",
                                 u"1E5",
                                 u"0x10",
                                 u"1,5",
                                 u"1_000",
                                 u"1 000",
                                 u"\u0661\u0662",
                                 u"\u22125",
                                 u"1\u0000",
                                 u"12345678901234567890123456789012345678901",
                                 u"0.00000000000000000000000000000000000000000000000000000001",
                                 u"1.7976931348623157e308",
                                 u"1.797693134862316e308",
                                 u"2.2250738585072011e-308"}) {
        EXPECT_TRUE(isReadAsByQString(QString::fromUtf16(text)));
    }
}

TEST(PlotNumbers, WrittenNumbersAreReadAsByQString) {
    std::mt19937_64 random(4);
    for (int i = 0; i < kRandomNumbers; ++i) {
        const auto value = std::bit_cast<double>(random());
        const int digits = 1 + static_cast<int>(random() % 20);
        ASSERT_TRUE(isReadAsByQString(QString::number(value, 'g', digits)));
        ASSERT_TRUE(isReadAsByQString(QString::number(std::fmod(value, 1e9), 'f', digits)));
    }
}

} // namespace

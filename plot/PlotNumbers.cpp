#include "PlotNumbers.h"

#include <QByteArray>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace qorn::timetagger::gui {

namespace {

constexpr int kDigits = 16;
constexpr int kMantissaBits = 53;
// Whole numbers below have at most 16 digits.
constexpr double kWholeBelow = 1e15;

// A binary fraction of m bits has m decimals and ends in 5, so a number lies exactly between two numbers of
// 16 digits when it has 17 in all. There std::to_chars goes to the even digit and QString away from zero. May
// be true for a neighbour of such a number, never false for the number itself.
bool mayLieBetweenTexts(double value) {
    int exponent = 0;
    const double fraction = std::frexp(std::abs(value), &exponent);
    const auto mantissa = static_cast<std::uint64_t>(std::ldexp(fraction, kMantissaBits));
    const int fractionBits = kMantissaBits - exponent - std::countr_zero(mantissa);
    // A fraction of more bits has more digits than 17.
    constexpr int kMostBits = 24;
    if (fractionBits < 1 || fractionBits > kMostBits)
        return false;
    const double asInteger = std::abs(value) * std::pow(10.0, fractionBits);
    return asInteger > 0.99e16 && asInteger < 1.01e17;
}

// What std::from_chars and QString::toDouble read alike: digits, perhaps a point and an exponent. Whatever is
// not plain is left to QString.
std::optional<double> plainNumber(QStringView text) {
    std::array<char, 40> characters;
    if (text.isEmpty() || text.size() > std::ssize(characters))
        return std::nullopt;
    const auto isPlain = [](QChar c) {
        return (c >= u'0' && c <= u'9') || c == u'.' || c == u'-' || c == u'+' || c == u'e';
    };
    if (!std::all_of(text.begin(), text.end(), isPlain))
        return std::nullopt;
    std::transform(text.begin(), text.end(), characters.begin(), [](QChar c) { return c.toLatin1(); });
    const char* end = characters.data() + text.size();
    double value = 0.0;
    const auto [stop, fault] = std::from_chars(characters.data(), end, value);
    if (fault != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

} // namespace

PlotNumberText::PlotNumberText(double value) {
    char* const begin = storage.data();
    char* const end = begin + storage.size();
    char* written = nullptr;
    // Counts and bin numbers, the most frequent of all.
    if (std::abs(value) < kWholeBelow && value == std::trunc(value)) {
        written = std::to_chars(begin, end, static_cast<std::int64_t>(value)).ptr;
    } else if (!std::isfinite(value) || mayLieBetweenTexts(value)) {
        const QByteArray text = QByteArray::number(value, 'g', kDigits);
        written = std::copy(text.begin(), text.end(), begin);
    } else {
        written = std::to_chars(begin, end, value, std::chars_format::general, kDigits).ptr;
    }
    length = static_cast<std::size_t>(written - begin);
}

std::optional<double> finitePlotNumber(QStringView text) {
    if (const auto plain = plainNumber(text))
        return plain;
    bool understood = false;
    const double value = text.toDouble(&understood);
    if (!understood || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace qorn::timetagger::gui

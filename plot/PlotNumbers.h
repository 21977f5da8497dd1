// Numbers of plot text files, written and read as QString does in the C locale but several times faster; a
// snapshot of a plot has tens of thousands of them. Pure functions, any thread.
#pragma once

#include <QStringView>

#include <array>
#include <optional>
#include <string_view>

namespace qorn::timetagger::gui {

// One number as text, in storage of its own.
class PlotNumberText {
public:
    // Format 'g' with 16 significant digits: the text of QString::number(value, 'g', 16).
    explicit PlotNumberText(double value);

    std::string_view text() const { return {storage.data(), length}; }

private:
    // Sign, 16 digits, point, and up to five characters of exponent; or zeros before the first digit.
    std::array<char, 32> storage;
    std::size_t length = 0;
};

// The number that QString::toDouble reads from the text; empty when it refuses it or when it is not finite.
std::optional<double> finitePlotNumber(QStringView text);

} // namespace qorn::timetagger::gui

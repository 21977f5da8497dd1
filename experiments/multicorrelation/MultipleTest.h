// Whether numbers are multiples of one divisor, without a division for each: a product with the inverse of
// the divisor's odd part is small, its low bits clear, for multiples alone. A plain value.
#pragma once

#include <QtGlobal>

#include <bit>
#include <limits>

namespace qorn::timetagger::gui {

class MultipleTest {
public:
    // The divisor is at least 1.
    constexpr explicit MultipleTest(quint64 divisor)
        : shift(std::countr_zero(divisor)), inverse(inverseOf(divisor >> shift)),
          largestQuotient(std::numeric_limits<quint64>::max() / divisor) {}

    constexpr bool operator()(quint64 number) const {
        return std::rotr(number * inverse, shift) <= largestQuotient;
    }

private:
    // Of an odd number modulo 2^64. Each step doubles the number of correct bits, and an odd number is its
    // own inverse modulo 2^3.
    static constexpr quint64 inverseOf(quint64 odd) {
        quint64 result = odd;
        for (int correctBits = 3; correctBits < 64; correctBits *= 2) {
            result *= 2 - odd * result;
        }
        return result;
    }

    int shift;
    quint64 inverse;
    quint64 largestQuotient;
};

} // namespace qorn::timetagger::gui

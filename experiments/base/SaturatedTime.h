// Arithmetic on times from a stream, which may be anything.
#pragma once

#include <QtGlobal>

#include <limits>

namespace qorn::timetagger::gui {

// a - b in ps, held at the ends of the range.
inline qint64 saturatedDifference(qint64 a, qint64 b) {
    qint64 difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) {
        return a > b ? std::numeric_limits<qint64>::max() : std::numeric_limits<qint64>::min();
    }
    return difference;
}

// a + b in ps, held at the ends of the range.
inline qint64 saturatedSum(qint64 a, qint64 b) {
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        return b > 0 ? std::numeric_limits<qint64>::max() : std::numeric_limits<qint64>::min();
    }
    return sum;
}

// Where the origin of a time axis lies once its stream began anew, so that the axis goes on at `next` as
// though it had come with the last time of before.
inline qint64 originGoingOn(qint64 origin, qint64 last, qint64 next) {
    return saturatedDifference(next, saturatedDifference(last, origin));
}

} // namespace qorn::timetagger::gui

// Lets a failed expectation show coincidence counts, and makes them from short lists.
#pragma once

#include "CoincidenceCounter.h"

#include <gtest/gtest.h>

#include <ostream>

namespace qorn::timetagger::gui {

inline void PrintTo(const CoincidenceCounter::Counts& counts, std::ostream* out) {
    *out << "singles " << ::testing::PrintToString(counts.singles) << ", pairs "
         << ::testing::PrintToString(counts.pairs) << ", triples " << ::testing::PrintToString(counts.triples)
         << ", quadruple " << counts.quadruple << ", pair sum " << counts.pairSum;
}

} // namespace qorn::timetagger::gui

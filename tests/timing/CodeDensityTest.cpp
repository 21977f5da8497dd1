#include "CodeDensity.h"

#include "TagGenerator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace qorn::timing {
namespace {

using testing::RandomSource;
using Codes = std::vector<std::uint16_t>;

struct Anchor {
    std::int64_t code;
    std::int64_t y;
};

// The middle of each code's share of the period, one code after the other.
std::vector<Anchor> slowAnchors(const Codes& codes, std::int64_t period, std::int64_t top) {
    std::vector<std::uint64_t> hits(8192);
    std::uint64_t total = 0;
    for (const std::uint16_t code : codes) {
        if (code < 8192) {
            ++hits[code];
            ++total;
        }
    }
    std::vector<Anchor> anchors;
    std::uint64_t before = 0;
    for (std::size_t code = 0; code < hits.size(); ++code) {
        if (hits[code] > 0) {
            const double share = static_cast<double>(hits[code]) * 0.5 + static_cast<double>(before);
            const auto y = static_cast<std::int64_t>(
                share * static_cast<double>(period) / static_cast<double>(total) + 0.5);
            anchors.push_back({static_cast<std::int64_t>(code), std::clamp<std::int64_t>(y, 0, top)});
            before += hits[code];
        }
    }
    return anchors;
}

std::int64_t onLine(const Anchor& a, const Anchor& b, std::int64_t code, std::int64_t top) {
    const double y = static_cast<double>(a.y) + static_cast<double>(code - a.code) *
                                                    static_cast<double>(b.y - a.y) /
                                                    static_cast<double>(b.code - a.code);
    return std::clamp<std::int64_t>(static_cast<std::int64_t>(y + 0.5), 0, top);
}

// The table by its definition, entry by entry.
FineLut slowTable(const Codes& codes, std::int64_t period) {
    const std::int64_t top = std::max<std::int64_t>(period, 1) - 1;
    FineLut table;
    for (std::int64_t code = 0; code < 8192; ++code) {
        table.entries.push_back(std::min((37 * code + 1) / 2, top));
    }
    const std::vector<Anchor> anchors = slowAnchors(codes, period, top);
    if (anchors.size() < 2) {
        return table;
    }
    for (std::int64_t code = 0; code < 8192; ++code) {
        std::size_t upper = 1;
        while (upper + 1 < anchors.size() && anchors[upper].code < code) {
            ++upper;
        }
        table.entries[static_cast<std::size_t>(code)] = onLine(anchors[upper - 1], anchors[upper], code, top);
    }
    for (const Anchor& anchor : anchors) {
        table.entries[static_cast<std::size_t>(anchor.code)] = anchor.y;
    }
    std::int64_t most = 0;
    for (std::int64_t& entry : table.entries) {
        most = std::max(most, entry);
        entry = most;
    }
    return table;
}

Codes repeated(std::initializer_list<std::pair<int, int>> runs) {
    Codes codes;
    for (const auto& [code, count] : runs) {
        codes.insert(codes.end(), static_cast<std::size_t>(count), static_cast<std::uint16_t>(code));
    }
    return codes;
}

Codes everyCodeBelow(int end) {
    Codes codes;
    for (int code = 0; code < end; ++code) {
        codes.push_back(static_cast<std::uint16_t>(code));
    }
    return codes;
}

// Hits of taps of uneven width, some without any.
Codes randomCodes(RandomSource& random) {
    std::vector<std::uint16_t> taps;
    const int first = random.between(0, 200);
    const int count = random.between(1, 400);
    for (int code = first; code < first + count; ++code) {
        taps.insert(taps.end(), random.below(7), static_cast<std::uint16_t>(code));
    }
    if (random.chance(0.3)) {
        taps.push_back(8191);
    }
    if (random.chance(0.3)) {
        taps.push_back(static_cast<std::uint16_t>(random.between(8192, 65535)));
    }
    Codes codes;
    for (std::uint64_t left = random.below(3000); left > 0 && !taps.empty(); --left) {
        codes.push_back(taps[random.below(taps.size())]);
    }
    return codes;
}

TEST(CodeDensityTable, FewerThanTwoDifferentCodesGiveTheUncalibratedTable) {
    const Codes rows[] = {{},
                          {0},
                          {8191},
                          repeated({{77, 5000}}),
                          repeated({{8192, 10}}),
                          repeated({{8192, 10}, {8193, 3}, {65535, 1}}),
                          repeated({{5, 10}, {9000, 20}})};
    for (const Codes& codes : rows) {
        EXPECT_EQ(FineLut::from_code_density(codes, 3333), FineLut::identity(3333)) << codes.size();
        EXPECT_EQ(FineLut::from_code_density(codes, 1000), FineLut::identity(1000)) << codes.size();
    }
}

TEST(CodeDensityTable, TwoEqualCodesShareThePeriodAndTheLineGoesOnToItsEnd) {
    const FineLut table = FineLut::from_code_density(repeated({{0, 50}, {1, 50}}), 3333);
    ASSERT_EQ(table.entries.size(), 8192U);
    EXPECT_EQ(table.entries[0], 833);
    EXPECT_EQ(table.entries[1], 2500);
    for (std::size_t code = 2; code < table.entries.size(); ++code) {
        ASSERT_EQ(table.entries[code], 3332) << code;
    }
}

struct TableRow {
    const char* what;
    Codes codes;
    std::vector<std::pair<std::size_t, std::int64_t>> entries;
};

TEST(CodeDensityTable, EachCodeGetsTheMiddleOfItsShare) {
    const TableRow rows[] = {
        {"unequal shares", repeated({{0, 1}, {1, 3}}), {{0, 417}, {1, 2083}, {2, 3332}, {8191, 3332}}},
        {"between two codes",
         repeated({{100, 1}, {104, 1}}),
         {{100, 833}, {101, 1250}, {102, 1667}, {103, 2083}, {104, 2500}}},
        {"below the first and above the last",
         repeated({{100, 1}, {104, 1}}),
         {{0, 0}, {97, 0}, {98, 0}, {99, 416}, {105, 2917}, {106, 3332}, {8191, 3332}}},
        {"slopes of the two outer pairs",
         repeated({{10, 1}, {20, 2}, {21, 1}}),
         {{9, 292}, {10, 417}, {20, 1667}, {21, 2916}, {22, 3332}}},
        {"the last code", repeated({{0, 1}, {8191, 1}}), {{0, 833}, {4096, 1667}, {8191, 2500}}},
        {"codes without an entry do not count",
         repeated({{0, 1}, {1, 1}, {8192, 1000}, {65535, 9}}),
         {{0, 833}, {1, 2500}, {2, 3332}}},
    };
    for (const TableRow& row : rows) {
        const FineLut table = FineLut::from_code_density(row.codes, 3333);
        ASSERT_EQ(table.entries.size(), 8192U) << row.what;
        for (const auto& [code, ps] : row.entries) {
            EXPECT_EQ(table.entries[code], ps) << row.what << ", code " << code;
        }
    }
}

TEST(CodeDensityTable, OrderOfTheCodesDoesNotMatter) {
    Codes codes = repeated({{3, 5}, {9, 2}, {4, 8}, {200, 1}});
    const FineLut table = FineLut::from_code_density(codes, 3333);
    std::ranges::sort(codes);
    EXPECT_EQ(FineLut::from_code_density(codes, 3333), table);
    std::ranges::reverse(codes);
    EXPECT_EQ(FineLut::from_code_density(codes, 3333), table);
}

TEST(CodeDensityTable, APeriodBelowTwoGivesZerosAlone) {
    for (const std::int64_t period : {1, 0, -1, -3333}) {
        for (const Codes& codes : {Codes{}, repeated({{0, 1}, {1, 1}}), everyCodeBelow(180)}) {
            EXPECT_EQ(FineLut::from_code_density(codes, period).entries, std::vector<std::int64_t>(8192))
                << period << ", " << codes.size() << " codes";
        }
    }
}

TEST(CodeDensityTable, IsTheSlowOneForRandomDensities) {
    RandomSource random(20);
    for (int round = 0; round < 60; ++round) {
        const Codes codes = randomCodes(random);
        for (const std::int64_t period : {std::int64_t{3333}, std::int64_t{2} + random.between(0, 20000)}) {
            ASSERT_EQ(FineLut::from_code_density(codes, period), slowTable(codes, period))
                << "round " << round << ", period " << period;
        }
    }
}

TEST(CodeDensityTable, NeverFallsAndStaysInsideThePeriod) {
    RandomSource random(21);
    for (int round = 0; round < 60; ++round) {
        const FineLut table = FineLut::from_code_density(randomCodes(random), 3333);
        ASSERT_EQ(table.entries.size(), 8192U);
        ASSERT_TRUE(std::ranges::is_sorted(table.entries)) << round;
        ASSERT_GE(table.entries.front(), 0);
        ASSERT_LE(table.entries.back(), 3332);
    }
}

TEST(CodeDensityTable, MillionsOfHitsKeepTheirShares) {
    // 3 million hits of which each third code takes its own share
    const Codes codes = repeated({{10, 1'000'000}, {20, 1'500'000}, {30, 500'000}});
    const FineLut table = FineLut::from_code_density(codes, 3333);
    EXPECT_EQ(table.entries[10], 556);  // 1/6 of 3333 is 555.5
    EXPECT_EQ(table.entries[20], 1944); // 7/12: 1944.25
    EXPECT_EQ(table.entries[30], 3055); // 11/12: 3055.25
}

TEST(CodeDensity, IsTheTablesSource) {
    const Codes codes = repeated({{3, 5}, {9, 2}, {9000, 7}});
    const CodeDensity density(codes);
    EXPECT_EQ(density.lut(3333), FineLut::from_code_density(codes, 3333));
    EXPECT_EQ(density.total(), 7U);
    EXPECT_EQ(density.unique_codes(), 2U);
}

TEST(CodeDensity, CountsDifferentCodesBelow8192) {
    const std::pair<Codes, std::uint64_t> rows[] = {{{}, 0},
                                                    {{0}, 1},
                                                    {repeated({{7, 100}}), 1},
                                                    {{8191, 8192}, 1},
                                                    {{8192, 65535}, 0},
                                                    {everyCodeBelow(180), 180},
                                                    {everyCodeBelow(9000), 8192}};
    for (const auto& [codes, expected] : rows) {
        EXPECT_EQ(CodeDensity(codes).unique_codes(), expected) << codes.size();
    }
}

TEST(CodeDensity, ResolutionIsTheSpreadOverThePeriodWeightedByTheWidths) {
    constexpr double kWhole = 962.1542236045113;
    const std::pair<Codes, double> rows[] = {
        {{}, 0.0},
        {repeated({{8192, 5}, {65535, 2}}), 0.0},
        {repeated({{7, 100}}), kWhole},
        {repeated({{0, 50}, {1, 50}}), kWhole / 2},
        {everyCodeBelow(100), kWhole / 100},
        {everyCodeBelow(8192), kWhole / 8192},
        {repeated({{0, 1}, {1, 3}}), kWhole * std::sqrt((1.0 + 27.0) / 64.0)},
        {repeated({{0, 1}, {1, 3}, {8192, 96}}), kWhole * std::sqrt((1.0 + 27.0) / 64.0)},
    };
    for (const auto& [codes, expected] : rows) {
        EXPECT_NEAR(CodeDensity(codes).resolution_ps(), expected, 1e-9 * kWhole) << codes.size();
    }
    EXPECT_NEAR(kWhole, 3333.0 / std::sqrt(12.0), 1e-9);
}

} // namespace
} // namespace qorn::timing

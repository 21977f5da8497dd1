#include "TimeTagSettings.h"

#include "QtPrinting.h"

#include <gtest/gtest.h>

#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::texts;
using Quantity = TimeTagSettings::Quantity;
using Grouping = TimeTagSettings::Grouping;
using Scaling = TimeTagSettings::Scaling;

TEST(TimeTagSettings, BeginWithTheUsualValues) {
    const TimeTagSettings settings;
    EXPECT_EQ(settings.binSeconds, 0.1);
    EXPECT_EQ(settings.historyBins, 300);
    EXPECT_EQ(settings.quantity, Quantity::Tags);
    EXPECT_EQ(settings.grouping, Grouping::PerChannel);
    EXPECT_EQ(settings.scaling, Scaling::PerBin);
}

TEST(TimeTagSettings, ChoicesHaveTheirNames) {
    EXPECT_EQ(TimeTagSettings::quantityNames(), texts({"Tags", "Data"}));
    EXPECT_EQ(TimeTagSettings::groupingNames(), texts({"Per channel", "Total"}));
    EXPECT_EQ(TimeTagSettings::scalingNames(), texts({"Per bin", "Per second", "Integrated"}));
}

struct BinRow {
    double seconds;
    qint64 ps;
};

void PrintTo(const BinRow& row, std::ostream* out) {
    *out << row.seconds;
}

class TimeTagBinWidth : public ::testing::TestWithParam<BinRow> {};

TEST_P(TimeTagBinWidth, IsRoundedToWholePicosecondsAndAtLeastOne) {
    TimeTagSettings settings;
    settings.binSeconds = GetParam().seconds;
    EXPECT_EQ(settings.binPs(), GetParam().ps);
}

INSTANTIATE_TEST_SUITE_P(Widths, TimeTagBinWidth,
                         ::testing::Values(BinRow{0.1, 100'000'000'000}, BinRow{0.001, 1'000'000'000},
                                           BinRow{60.0, 60'000'000'000'000}, BinRow{0.0, 1}, BinRow{-5.0, 1},
                                           BinRow{1.4e-12, 1}, BinRow{1.6e-12, 2}, BinRow{0.4e-12, 1},
                                           BinRow{0.123, 123'000'000'000}));

TEST(TimeTagSettings, HistoryHoldsAtLeastTenBins) {
    TimeTagSettings settings;
    for (const auto& [wanted, limit] :
         {std::pair(300, 300), {10, 10}, {9, 10}, {0, 10}, {-7, 10}, {100000, 100000}}) {
        settings.historyBins = wanted;
        EXPECT_EQ(settings.historyLimit(), limit);
    }
}

TEST(TimeTagSettings, ComeBackFromTheirStoredForm) {
    for (const Quantity quantity : {Quantity::Tags, Quantity::Data}) {
        for (const Grouping grouping : {Grouping::PerChannel, Grouping::Total}) {
            for (const Scaling scaling : {Scaling::PerBin, Scaling::PerSecond, Scaling::Integrated}) {
                const TimeTagSettings written{0.25, 1234, quantity, grouping, scaling};
                TimeTagSettings read;
                read.takeJson(written.toJson());
                EXPECT_EQ(read.binSeconds, 0.25);
                EXPECT_EQ(read.historyBins, 1234);
                EXPECT_EQ(read.quantity, quantity);
                EXPECT_EQ(read.grouping, grouping);
                EXPECT_EQ(read.scaling, scaling);
            }
        }
    }
}

TEST(TimeTagSettings, AreStoredUnderTheirKeysWithTheChoicesAsTexts) {
    const QJsonObject expected{{QStringLiteral("binSeconds"), 0.5},
                               {QStringLiteral("historyBins"), 42},
                               {QStringLiteral("quantity"), QStringLiteral("Data")},
                               {QStringLiteral("group"), QStringLiteral("Total")},
                               {QStringLiteral("scale"), QStringLiteral("Per second")}};
    EXPECT_EQ((TimeTagSettings{0.5, 42, Quantity::Data, Grouping::Total, Scaling::PerSecond}.toJson()),
              expected);
}

TEST(TimeTagSettings, MissingKeysAndUnknownNamesLeaveTheirValues) {
    const TimeTagSettings before{0.5, 42, Quantity::Data, Grouping::Total, Scaling::Integrated};
    for (const QJsonObject& object : {QJsonObject(),
                                      QJsonObject{{QStringLiteral("quantity"), QStringLiteral("data")},
                                                  {QStringLiteral("group"), QString()},
                                                  {QStringLiteral("scale"), QStringLiteral("Per minute")}},
                                      QJsonObject{{QStringLiteral("quantity"), 0},
                                                  {QStringLiteral("binSeconds"), QStringLiteral("0.1")},
                                                  {QStringLiteral("historyBins"), QJsonValue()},
                                                  {QStringLiteral("scale"), true}}}) {
        TimeTagSettings settings = before;
        settings.takeJson(object);
        EXPECT_EQ(settings.toJson(), before.toJson());
    }
}

} // namespace
} // namespace qorn::timetagger::gui

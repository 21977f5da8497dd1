// The Correlation measurement's settings as a plain value: what follows from them, and their JSON form.
#include "CorrelationSettings.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using timetagger::gui::CorrelationSettings;
using timetagger::gui::EffectiveBins;
using timetagger::gui::effectiveBins;

CorrelationSettings settingsOf(const char* text) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << text;
    CorrelationSettings settings;
    settings.takeJson(document.object());
    return settings;
}

struct BinsRow {
    qint64 windowPs;
    qint64 binPs;
    qint64 effectivePs;
    bool coarsened;
};

void PrintTo(const BinsRow& row, std::ostream* out) {
    *out << row.windowPs << " by " << row.binPs;
}

class CorrelationEffectiveBins : public ::testing::TestWithParam<BinsRow> {};

TEST_P(CorrelationEffectiveBins, AreTenThousandASideAtMost) {
    const BinsRow& row = GetParam();
    const EffectiveBins bins = effectiveBins(row.windowPs, row.binPs);
    EXPECT_EQ(bins.binPs, row.effectivePs);
    EXPECT_EQ(bins.coarsened, row.coarsened);
    EXPECT_LE(row.windowPs / bins.binPs, 10'000);
}

INSTANTIATE_TEST_SUITE_P(Ranges, CorrelationEffectiveBins,
                         ::testing::Values(BinsRow{1000, 8, 8, false}, BinsRow{1, 4, 4, false},
                                           BinsRow{40'000, 4, 4, false}, BinsRow{80'000, 8, 8, false},
                                           BinsRow{80'001, 8, 9, true}, BinsRow{40'001, 4, 5, true},
                                           BinsRow{50'000, 4, 5, true}, BinsRow{50'001, 5, 6, true},
                                           BinsRow{99'999, 8, 10, true}, BinsRow{100'000, 8, 10, true},
                                           BinsRow{100'000'000, 8, 10'000, true},
                                           BinsRow{100'000'000, 10'000, 10'000, false},
                                           BinsRow{1'000'000'000'000, 1'000'000, 100'000'000, true}));

TEST(CorrelationSettings, TimesAreWholePicoseconds) {
    const CorrelationSettings defaults;
    EXPECT_EQ(defaults.windowPs(), 1000);
    EXPECT_EQ(defaults.binPs(), 8);
    EXPECT_EQ(defaults.manualOffsetPs(), 0);
    EXPECT_EQ(defaults.offsetSearchPs(), 100'000);
    EXPECT_EQ(defaults.instantWindowPs(), 100'000'000'000);
    const CorrelationSettings others = settingsOf(R"({"rangeNs": 100000, "binNs": 0.0125,
        "manualOffsetNs": -12.3456, "offsetSearchNs": 0.0015, "instantWindowMs": 0.01})");
    EXPECT_EQ(others.windowPs(), 100'000'000);
    EXPECT_EQ(others.binPs(), 13) << "rounded";
    EXPECT_EQ(others.manualOffsetPs(), -12'346);
    EXPECT_EQ(others.offsetSearchPs(), 2);
    EXPECT_EQ(others.instantWindowPs(), 10'000'000);
}

TEST(CorrelationSettings, ABinBelowFourPicosecondsIsRaised) {
    CorrelationSettings settings;
    settings.binNs = 0.001;
    EXPECT_EQ(settings.binPs(), 4);
    settings.binNs = 0.0;
    EXPECT_EQ(settings.binPs(), 4);
    settings.rangeNs = 0.0;
    EXPECT_EQ(settings.windowPs(), 1);
    settings.offsetSearchNs = 0.0;
    EXPECT_EQ(settings.offsetSearchPs(), 1);
    settings.instantWindowMs = 0.0;
    EXPECT_EQ(settings.instantWindowPs(), 1);
}

TEST(CorrelationSettings, G2AndFitFollowAnalysisAndBoxes) {
    struct Row {
        const char* analysis;
        bool forcesG2;
        bool fits;
    };
    for (const Row& row : {Row{"None", false, false}, Row{"Peak / alignment", false, true},
                           Row{"Photon antibunching", true, true}, Row{"Lifetime decay fit", false, true}}) {
        for (const bool fit : {false, true}) {
            QJsonObject object{{QStringLiteral("analysisMode"), QString::fromUtf8(row.analysis)},
                               {QStringLiteral("fitEnabled"), fit},
                               {QStringLiteral("normalize"), QStringLiteral("Counts")}};
            CorrelationSettings settings;
            settings.takeJson(object);
            EXPECT_EQ(settings.peakFitEnabled(), fit && row.fits) << row.analysis;
            EXPECT_EQ(settings.normalizeG2(), row.forcesG2) << row.analysis;
        }
    }
    EXPECT_TRUE(settingsOf(R"json({"analysisMode": "None", "normalize": "g2(tau)"})json").normalizeG2());
    EXPECT_TRUE(settingsOf(R"json({"normalize": "g2(tau)"})json").normalizeG2());
}

TEST(CorrelationSettings, TheirJsonComesBack) {
    const char* const kFile = R"json({
        "sourceChannel": 4, "targetChannel": 3, "rangeNs": 12.345, "binNs": 0.01, "analysisMode": "None",
        "fitEnabled": true, "fitMode": "Lorentzian peak", "fitTerms": 3, "histogram": "Dots",
        "normalize": "g2(tau)", "viewIntegrated": false, "viewInstant": true, "instantWindowMs": 12.25,
        "viewParameters": true, "parameterMetric": "Target rate (Hz)", "parameterHistoryS": 33.5,
        "offsetMode": "None", "manualOffsetNs": -5.5, "offsetSearchNs": 77.125, "traceHistoryS": 44.5,
        "viewCounts": false})json";
    const QJsonObject object = QJsonDocument::fromJson(kFile).object();
    ASSERT_EQ(object.size(), 21);
    EXPECT_EQ(settingsOf(kFile).toJson(), object);
    EXPECT_NE(CorrelationSettings().toJson(), object);
    EXPECT_EQ(CorrelationSettings().toJson().keys(), object.keys());
}

} // namespace
} // namespace qorn::testing

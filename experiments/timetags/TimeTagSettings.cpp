#include "TimeTagSettings.h"

#include "SettingsJson.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

} // namespace

qint64 TimeTagSettings::binPs() const {
    return std::max<qint64>(std::llround(binSeconds * kPsPerSecond), 1);
}

int TimeTagSettings::historyLimit() const {
    return std::max(historyBins, kLeastHistoryBins);
}

QStringList TimeTagSettings::quantityNames() {
    return {QStringLiteral("Tags"), QStringLiteral("Data")};
}

QStringList TimeTagSettings::groupingNames() {
    return {QStringLiteral("Per channel"), QStringLiteral("Total")};
}

QStringList TimeTagSettings::scalingNames() {
    return {QStringLiteral("Per bin"), QStringLiteral("Per second"), QStringLiteral("Integrated")};
}

QJsonObject TimeTagSettings::toJson() const {
    return {{QStringLiteral("binSeconds"), binSeconds},
            {QStringLiteral("historyBins"), historyBins},
            {QStringLiteral("quantity"), nameOf(quantityNames(), quantity)},
            {QStringLiteral("group"), nameOf(groupingNames(), grouping)},
            {QStringLiteral("scale"), nameOf(scalingNames(), scaling)}};
}

void TimeTagSettings::takeJson(const QJsonObject& object) {
    takeNumber(object, "binSeconds", kLeastBinSeconds, kMostBinSeconds, binSeconds);
    takeNumber(object, "historyBins", kLeastHistoryBins, kMostHistoryBins, historyBins);
    takeChoice(object, "quantity", quantityNames(), quantity);
    takeChoice(object, "group", groupingNames(), grouping);
    takeChoice(object, "scale", scalingNames(), scaling);
}

} // namespace qorn::timetagger::gui

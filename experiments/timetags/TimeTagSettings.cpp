#include "TimeTagSettings.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;

template <typename Choice>
void takeChoice(const QJsonObject& object, const char* key, const QStringList& names, Choice& target) {
    const qsizetype index = names.indexOf(object.value(QLatin1String(key)).toString());
    if (index >= 0) {
        target = static_cast<Choice>(index);
    }
}

template <typename Choice>
QString nameOf(const QStringList& names, Choice choice) {
    return names.at(static_cast<qsizetype>(choice));
}

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
    if (const QJsonValue bin = object.value(QLatin1String("binSeconds")); bin.isDouble()) {
        binSeconds = std::clamp(bin.toDouble(), kLeastBinSeconds, kMostBinSeconds);
    }
    if (const QJsonValue bins = object.value(QLatin1String("historyBins")); bins.isDouble()) {
        historyBins =
            static_cast<int>(std::clamp<double>(bins.toDouble(), kLeastHistoryBins, kMostHistoryBins));
    }
    takeChoice(object, "quantity", quantityNames(), quantity);
    takeChoice(object, "group", groupingNames(), grouping);
    takeChoice(object, "scale", scalingNames(), scaling);
}

} // namespace qorn::timetagger::gui

// The settings of the Time tags measurement.
#pragma once

#include <QJsonObject>
#include <QStringList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

struct TimeTagSettings {
    enum class Quantity { Tags, Data };
    enum class Grouping { PerChannel, Total };
    enum class Scaling { PerBin, PerSecond, Integrated };

    static constexpr double kLeastBinSeconds = 0.001;
    static constexpr double kMostBinSeconds = 60.0;
    static constexpr int kLeastHistoryBins = 10;
    static constexpr int kMostHistoryBins = 100000;

    double binSeconds = 0.1;
    int historyBins = 300;
    Quantity quantity = Quantity::Tags;
    Grouping grouping = Grouping::PerChannel;
    Scaling scaling = Scaling::PerBin;

    qint64 binPs() const;     // at least 1
    int historyLimit() const; // at least 10

    // Names of the choices in files, in the order of their values.
    static QStringList quantityNames();
    static QStringList groupingNames();
    static QStringList scalingNames();

    QJsonObject toJson() const;
    // Takes the keys that are present and of the right type; an unknown name leaves the choice as it is.
    void takeJson(const QJsonObject& object);
};

} // namespace qorn::timetagger::gui

#include "ExperimentCatalog.h"

#include "CoincidenceTab.h"
#include "CorrelationTab.h"
#include "CounterTab.h"
#include "FrequencyTab.h"
#include "MultiCorrelationTab.h"
#include "TimeTagTab.h"

namespace qorn::timetagger::gui {
namespace {

template <typename Tab>
ExperimentTab* make(QWidget* parent) {
    return new Tab(parent);
}

struct CatalogRow {
    const char* type;
    ExperimentTab* (*create)(QWidget* parent);
    bool offered = true; // to the operator; others come with a configuration file only
};

// In the order in which they are offered.
constexpr CatalogRow kCatalog[] = {
    {QT_TRANSLATE_NOOP("ExperimentType", "Counter"), make<CounterTab>},
    {QT_TRANSLATE_NOOP("ExperimentType", "Coincidence"), make<CoincidenceTab>, false},
    {QT_TRANSLATE_NOOP("ExperimentType", "Correlation"), make<CorrelationTab>},
    {QT_TRANSLATE_NOOP("ExperimentType", "Multi correlation"), make<MultiCorrelationTab>},
    {QT_TRANSLATE_NOOP("ExperimentType", "Frequency"), make<FrequencyTab>},
    {QT_TRANSLATE_NOOP("ExperimentType", "Time tags"), make<TimeTagTab>},
};

const CatalogRow* rowOf(const QString& type) {
    for (const CatalogRow& row : kCatalog) {
        if (type == QLatin1String(row.type)) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace

ExperimentTab* createExperiment(const QString& type, QWidget* parent) {
    const CatalogRow* row = rowOf(type);
    return row != nullptr ? row->create(parent) : nullptr;
}

bool isExperimentType(const QString& type) {
    return rowOf(type) != nullptr;
}

QStringList offeredExperimentTypes() {
    QStringList types;
    for (const CatalogRow& row : kCatalog) {
        if (row.offered) {
            types.append(QLatin1String(row.type));
        }
    }
    return types;
}

} // namespace qorn::timetagger::gui

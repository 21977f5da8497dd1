#include "ExperimentCatalog.h"

#include "CounterTab.h"
#include "TimeTagTab.h"

namespace qorn::timetagger::gui {
namespace {

template <typename Tab>
ExperimentTab* make() {
    return new Tab;
}

struct CatalogRow {
    const char* type;
    ExperimentTab* (*create)();
};

// In the order in which they are offered.
constexpr CatalogRow kCatalog[] = {
    {"Counter", make<CounterTab>},
    {"Time tags", make<TimeTagTab>},
};

} // namespace

ExperimentTab* createExperiment(const QString& type) {
    for (const CatalogRow& row : kCatalog) {
        if (type == QLatin1String(row.type)) {
            return row.create();
        }
    }
    return nullptr;
}

QStringList offeredExperimentTypes() {
    QStringList types;
    for (const CatalogRow& row : kCatalog) {
        types.append(QLatin1String(row.type));
    }
    return types;
}

} // namespace qorn::timetagger::gui

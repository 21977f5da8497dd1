#include "TableRoom.h"

#include <QHeaderView>
#include <QTableWidget>

#include <algorithm>

namespace qorn::timetagger::gui {

void keepColumnsWhole(QTableWidget& table) {
    // Before it is shown a widget does not know its font.
    for (QWidget* part : table.findChildren<QWidget*>()) {
        part->ensurePolished();
    }
    int widest = 0;
    for (int column = 0; column < table.columnCount(); ++column) {
        widest = std::max({widest, table.horizontalHeader()->sectionSizeHint(column),
                           static_cast<QAbstractItemView&>(table).sizeHintForColumn(column)});
    }
    const QHeaderView* rows = table.verticalHeader();
    const int besides = 2 * table.frameWidth() + (rows->isHidden() ? 0 : rows->sizeHint().width());
    table.setMinimumWidth(widest * table.columnCount() + besides);
}

} // namespace qorn::timetagger::gui

// Room for what stands in a table. GUI thread only.
#pragma once

class QTableWidget;

namespace qorn::timetagger::gui {

// Makes the table at least so wide that columns of equal width show their headings and cells whole. Asks for
// what is there now; a table whose rows change is asked again.
void keepColumnsWhole(QTableWidget& table);

} // namespace qorn::timetagger::gui

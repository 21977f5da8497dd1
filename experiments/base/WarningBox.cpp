#include "WarningBox.h"

#include <QMessageBox>

namespace qorn::timetagger::gui {

void showWarning(QWidget* parent, const QString& title, const QString& text) {
    auto* box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::Ok, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setModal(true);
    box->show();
}

} // namespace qorn::timetagger::gui

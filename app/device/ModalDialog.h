// Shows a dialog that lives on the heap modally, without an event loop of its own.
#pragma once

#include <QDialog>

#include <utility>

namespace qorn::timetagger::gui {

// The dialog deletes itself once it is closed; `accepted` runs when it was accepted and `context` still is.
template <typename Accepted>
void showModal(QDialog& dialog, QObject& context, Accepted&& accepted) {
    dialog.setAttribute(Qt::WA_DeleteOnClose);
    dialog.setModal(true);
    QObject::connect(&dialog, &QDialog::accepted, &context, std::forward<Accepted>(accepted));
    dialog.show();
}

} // namespace qorn::timetagger::gui

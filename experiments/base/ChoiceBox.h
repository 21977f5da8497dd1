// Combo boxes over the choices of a setting.
#pragma once

#include <QComboBox>
#include <QCoreApplication>
#include <QStringList>

namespace qorn::timetagger::gui {

// A combo box with the choices' names as data; the texts shown are their translations in `context`.
inline QComboBox* makeChoiceBox(const char* context, const QStringList& names, QWidget* parent) {
    auto* box = new QComboBox(parent);
    for (const QString& name : names) {
        box->addItem(QCoreApplication::translate(context, name.toUtf8().constData()), name);
    }
    return box;
}

} // namespace qorn::timetagger::gui

// Finds what an operator sees on a tab: form fields by their label, actions by their tool tip, pictures.
#pragma once

#include <QAction>
#include <QFormLayout>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QToolBar>
#include <QWidget>

namespace qorn::testing {

// The field beside a label of a form, as the type that it must have; null when there is none.
template <typename Field>
Field* formField(const QWidget& parent, const char* label) {
    for (QFormLayout* form : parent.findChildren<QFormLayout*>()) {
        for (int row = 0; row < form->rowCount(); ++row) {
            const QLayoutItem* labelItem = form->itemAt(row, QFormLayout::LabelRole);
            const QLayoutItem* fieldItem = form->itemAt(row, QFormLayout::FieldRole);
            if (labelItem == nullptr || fieldItem == nullptr) {
                continue;
            }
            const auto* text = qobject_cast<QLabel*>(labelItem->widget());
            if (text != nullptr && text->text() == QString::fromUtf8(label)) {
                return qobject_cast<Field*>(fieldItem->widget());
            }
        }
    }
    return nullptr;
}

// The title of the group box in which a widget stands.
inline QString groupTitleOf(const QWidget* widget) {
    for (; widget != nullptr; widget = widget->parentWidget()) {
        if (const auto* group = qobject_cast<const QGroupBox*>(widget)) {
            return group->title();
        }
    }
    return {};
}

// The action whose tool tip, or else text, begins so.
inline QAction* findAction(const QWidget& toolbar, const char* beginning) {
    for (QAction* action : toolbar.actions()) {
        if (action->toolTip().startsWith(QString::fromUtf8(beginning)) ||
            action->text().startsWith(QString::fromUtf8(beginning))) {
            return action;
        }
    }
    return nullptr;
}

inline QToolBar* measurementToolbar(const QWidget& tab) {
    return tab.findChild<QToolBar*>(QStringLiteral("MeasurementToolBar"));
}

inline QImage pictureOf(QWidget& widget) {
    return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

} // namespace qorn::testing

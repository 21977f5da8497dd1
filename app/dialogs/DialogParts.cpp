#include "DialogParts.h"

#include <QCoreApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

QDoubleSpinBox* makeNumberBox(const NumberRange& range, double value, const QString& name, QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(name);
    box->setDecimals(range.decimals);
    box->setRange(range.least, range.most);
    box->setSingleStep(range.step);
    box->setSuffix(range.suffix);
    box->setValue(value);
    return box;
}

QLabel* makeNote(const QString& text, QWidget* parent) {
    auto* note = new QLabel(text, parent);
    note->setProperty("muted", true); // as the theme colours it
    note->setWordWrap(true);
    return note;
}

QWidget* makeSavedFileField(const QString& path, QWidget* parent) {
    auto* field = new QLineEdit(path, parent);
    field->setObjectName(QStringLiteral("savedFile"));
    field->setReadOnly(true);
    field->setToolTip(path);
    field->setCursorPosition(0);
    return field;
}

QFormLayout* makeForm(QWidget* parent) {
    auto* form = new QFormLayout(parent);
    form->setHorizontalSpacing(16);
    form->setVerticalSpacing(8);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    return form;
}

QVBoxLayout* makeDialogLayout(QDialog& dialog) {
    auto* layout = new QVBoxLayout(&dialog);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(14);
    return layout;
}

QDialogButtonBox* makeApplyButtons(QDialog& dialog) {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    buttons->button(QDialogButtonBox::Ok)->setText(QCoreApplication::translate("DialogParts", "Apply"));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    return buttons;
}

} // namespace qorn::timetagger::gui

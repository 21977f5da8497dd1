#include "NewExperimentDialog.h"

#include "ExperimentTypeText.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

NewExperimentDialog::NewExperimentDialog(const QStringList& types, QWidget* parent)
    : QDialog(parent), list(new QListWidget(this)) {
    setWindowTitle(tr("New experiment"));
    resize(420, 310);
    for (const QString& type : types) {
        auto* item = new QListWidgetItem(experimentTypeText(type), list);
        item->setData(Qt::UserRole, type);
    }
    list->setCurrentRow(0);
    list->setAccessibleName(tr("Experiment types"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(list, 1);
    layout->addWidget(buttons, 0);
    connect(list, &QListWidget::itemDoubleClicked, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

QString NewExperimentDialog::selectedType() const {
    const QListWidgetItem* item = list->currentItem();
    return item != nullptr ? item->data(Qt::UserRole).toString() : QString();
}

} // namespace qorn::timetagger::gui

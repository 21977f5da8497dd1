#include "AdvancedSetupDialog.h"

#include "TableRoom.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

AdvancedSetupDialog::AdvancedSetupDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Advanced setup"));
    resize(620, 400);

    auto* note = new QLabel(tr("Multi-device roles are reserved and not yet enabled."), this);
    note->setObjectName(QStringLiteral("Muted"));
    note->setWordWrap(true);

    table = new QTableWidget(0, 3, this);
    table->setHorizontalHeaderLabels({tr("Role"), tr("Reference clock"), tr("Sync")});
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->horizontalHeader()->setHighlightSections(false);
    table->verticalHeader()->setDefaultSectionSize(40);
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setTabKeyNavigation(false);

    auto* add = new QPushButton(tr("Add device"), this);
    connect(add, &QPushButton::clicked, this, &AdvancedSetupDialog::addDevice);

    auto* cluster = new QGroupBox(tr("Multi-device cluster"), this);
    auto* clusterLayout = new QVBoxLayout(cluster);
    clusterLayout->setContentsMargins(12, 12, 12, 12);
    clusterLayout->setSpacing(10);
    clusterLayout->addWidget(note);
    clusterLayout->addWidget(table, 1);
    clusterLayout->addWidget(add, 0, Qt::AlignLeft);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(14);
    layout->addWidget(cluster, 1);
    layout->addWidget(buttons);
    addDevice();
}

void AdvancedSetupDialog::addDevice() {
    const int row = table->rowCount();
    table->insertRow(row);
    const QStringList choices[] = {{tr("Primary"), tr("Secondary")},
                                   {tr("Automatic"), tr("Internal"), tr("External")},
                                   {tr("Standalone"), tr("Shared clock"), tr("Common start")}};
    for (int column = 0; column < 3; ++column) {
        auto* box = new QComboBox(table);
        box->addItems(choices[column]);
        table->setCellWidget(row, column, box);
    }
    if (row > 0) {
        static_cast<QComboBox*>(table->cellWidget(row, 0))->setCurrentIndex(1);
    }
    keepColumnsWhole(*table);
}

} // namespace qorn::timetagger::gui

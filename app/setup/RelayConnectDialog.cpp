#include "RelayConnectDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

QSpinBox* makePortBox(quint16 port, QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setRange(1, 65535);
    box->setValue(port);
    return box;
}

} // namespace

RelayConnectDialog::RelayConnectDialog(const RelayAddress& initial, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Connect network relay"));
    setMinimumWidth(440);

    hostEdit = new QLineEdit(initial.host, this);
    hostEdit->setPlaceholderText(tr("Name or IP address"));
    hostEdit->selectAll();
    streamPortBox = makePortBox(initial.streamPort, this);
    statusPortBox = makePortBox(initial.statusPort, this);

    auto* form = new QFormLayout;
    form->setHorizontalSpacing(16);
    form->setVerticalSpacing(10);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    form->addRow(tr("Host"), hostEdit);
    form->addRow(tr("Stream port"), streamPortBox);
    form->addRow(tr("Status port"), statusPortBox);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    auto* connectButton = new QPushButton(tr("Connect"), this);
    connectButton->setObjectName(QStringLiteral("PrimaryButton"));
    connectButton->setDefault(true);
    buttons->addButton(connectButton, QDialogButtonBox::AcceptRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 16);
    layout->setSpacing(18);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

RelayAddress RelayConnectDialog::address() const {
    return {hostEdit->text().trimmed(), quint16(streamPortBox->value()), quint16(statusPortBox->value())};
}

} // namespace qorn::timetagger::gui

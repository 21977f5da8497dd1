#include "NetworkRelayDialog.h"

#include "DialogParts.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

QSpinBox* makePortBox(quint16 port, const QString& name, QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(name);
    box->setRange(1, 65535);
    box->setValue(port);
    return box;
}

} // namespace

NetworkRelayDialog::NetworkRelayDialog(const RelaySharing& initial, QWidget* parent) : QDialog(parent) {
    setWindowTitle(tr("Network relay"));
    setMinimumWidth(440);

    auto* group = new QGroupBox(tr("Share this data source"), this);
    publishBox = new QCheckBox(tr("Publish complete time-tag stream"), group);
    publishBox->setObjectName(QStringLiteral("publish"));
    publishBox->setChecked(initial.publish);
    streamPortBox = makePortBox(initial.streamPort, QStringLiteral("streamPort"), group);
    statusPortBox = makePortBox(initial.statusPort, QStringLiteral("statusPort"), group);
    connections = makeNote(QString(), group);
    connections->setObjectName(QStringLiteral("connections"));
    connections->hide();

    QFormLayout* form = makeForm(group);
    form->addRow(publishBox);
    form->addRow(tr("Stream port"), streamPortBox);
    form->addRow(tr("Status port"), statusPortBox);
    form->addRow(connections);
    form->addRow(makeNote(tr("Peers connect using this computer's network address."), group));

    QVBoxLayout* layout = makeDialogLayout(*this);
    layout->addWidget(group);
    layout->addStretch(1);
    layout->addWidget(makeApplyButtons(*this));
}

void NetworkRelayDialog::showConnections(quint32 streams, quint32 statuses) {
    connections->setText(
        tr("%1 peer stream connection(s), %2 status connection(s)").arg(streams).arg(statuses));
    connections->show();
}

RelaySharing NetworkRelayDialog::sharing() const {
    return {publishBox->isChecked(), static_cast<quint16>(streamPortBox->value()),
            static_cast<quint16>(statusPortBox->value())};
}

} // namespace qorn::timetagger::gui

#include "SetupPage.h"

#include "AdvancedSetupDialog.h"
#include "DeviceNameKey.h"
#include "HeroBanner.h"
#include "RelayConnectDialog.h"
#include "SettingKeys.h"
#include "SettingsStore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QStandardItemModel>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kNameKeyRole = Qt::UserRole + 1;
constexpr int kColumnWidth = 720;

QString heroSubtitle() {
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty()
               ? SetupPage::tr("Counting, coincidences, and live time-tag correlation")
               : SetupPage::tr("Counting, coincidences, and live time-tag correlation - Version %1")
                     .arg(version);
}

bool storedUploadChoice() {
    const SettingsStore& settings = SettingsStore::instance();
    if (settings.contains(kUploadCalibrationKey)) {
        return settings.value(kUploadCalibrationKey).toBool();
    }
    return !settings.value(kSkipCalibrationKey, false).toBool();
}

quint16 storedPort(const SettingsStore& settings, QLatin1String key, quint16 fallback) {
    bool isNumber = false;
    const int port = settings.value(key, fallback).toInt(&isNumber);
    return isNumber && port >= 1 && port <= 65535 ? quint16(port) : fallback;
}

QLabel* makeFieldLabel(const QString& text, QWidget* buddy, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setBuddy(buddy);
    buddy->setAccessibleName(text);
    return label;
}

} // namespace

SetupPage::SetupPage(QWidget* parent) : QWidget(parent) {
    createControls();
    connectControls();

    auto* content = new QWidget;
    auto* centring = new QHBoxLayout(content);
    centring->setContentsMargins(28, 24, 28, 24);
    centring->addStretch(1);
    centring->addWidget(buildColumn(), 100);
    centring->addStretch(1);

    auto* scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setWidget(content);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(new HeroBanner(tr("qorn.timing"), heroSubtitle(), this));
    layout->addWidget(scroll, 1);
    updateNameEditor();
    setActionsEnabled(true);
    setStatus(tr("No scan has run yet"));
}

void SetupPage::createControls() {
    statusLabel = new QLabel(this);
    statusLabel->setObjectName(QStringLiteral("Muted"));
    statusLabel->setTextFormat(Qt::PlainText);
    statusLabel->setWordWrap(true);
    statusLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);

    deviceBox = new QComboBox(this);
    deviceBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    deviceBox->setMinimumContentsLength(24);
    nameEdit = new QLineEdit(this);
    nameEdit->setPlaceholderText(tr("Optional name for this unit"));
    saveNameButton = new QPushButton(tr("Save name"), this);

    refreshButton = new QPushButton(tr("Refresh"), this);
    refreshButton->setObjectName(QStringLiteral("IntroActionButton"));
    refreshButton->setShortcut(QKeySequence(QKeySequence::Refresh));
    scanningLabel = new QLabel(tr("Scanning..."), this);
    scanningLabel->setObjectName(QStringLiteral("Muted"));
    scanningLabel->hide();
    connectButton = new QPushButton(tr("Connect"), this);
    connectButton->setObjectName(QStringLiteral("PrimaryButton"));
    connectButton->setMinimumWidth(160);
    usbCycleButton = new QPushButton(tr("USB reset selected"), this);
    usbCycleButton->setToolTip(
        tr("Recovery action: disconnect/reconnect the selected FTDI USB device. Close other "
           "GUI/script sessions using that device first."));

    uploadCalibrationBox = new QCheckBox(tr("Upload saved calibration on connect"), this);
    uploadCalibrationBox->setToolTip(tr(
        "When checked, the GUI loads the saved per-device calibration file and uploads its LUTs and offsets "
        "to "
        "the FPGA after connecting. If no file exists, the device opens immediately and shows a calibration "
        "warning."));
    uploadCalibrationBox->setChecked(storedUploadChoice());

    relayButton = new QPushButton(tr("Connect relay..."), this);
    advancedButton = new QPushButton(tr("Advanced setup..."), this);
}

void SetupPage::connectControls() {
    connect(deviceBox, &QComboBox::currentIndexChanged, this, &SetupPage::updateNameEditor);
    connect(saveNameButton, &QPushButton::clicked, this, &SetupPage::onSaveDeviceName);
    connect(refreshButton, &QPushButton::clicked, this, &SetupPage::refreshRequested);
    connect(connectButton, &QPushButton::clicked, this, &SetupPage::onConnect);
    connect(usbCycleButton, &QPushButton::clicked, this, &SetupPage::onUsbCycle);
    connect(uploadCalibrationBox, &QCheckBox::toggled, this,
            [](bool checked) { SettingsStore::instance().set(kUploadCalibrationKey, checked); });
    connect(relayButton, &QPushButton::clicked, this, &SetupPage::onConnectRelay);
    connect(advancedButton, &QPushButton::clicked, this, &SetupPage::showAdvancedSetup);
}

QWidget* SetupPage::buildColumn() {
    auto* title = new QLabel(tr("Intro screen"), this);
    title->setObjectName(QStringLiteral("PageTitle"));

    auto* rule = new QFrame(this);
    rule->setObjectName(QStringLiteral("Rule"));
    rule->setFixedHeight(1);

    auto* otherRow = new QHBoxLayout;
    otherRow->setSpacing(10);
    otherRow->addWidget(relayButton);
    otherRow->addWidget(advancedButton);
    otherRow->addStretch(1);

    auto* card = new QFrame(this);
    card->setObjectName(QStringLiteral("Card"));
    auto* cardLayout = new QVBoxLayout(card);
    cardLayout->setContentsMargins(22, 22, 22, 20);
    cardLayout->setSpacing(18);
    cardLayout->addLayout(buildDeviceGrid());
    cardLayout->addLayout(buildActionRow());
    cardLayout->addWidget(uploadCalibrationBox);
    cardLayout->addWidget(rule);
    cardLayout->addLayout(otherRow);

    auto* column = new QWidget(this);
    column->setMaximumWidth(kColumnWidth);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    layout->addStretch(1);
    layout->addWidget(title);
    layout->addWidget(statusLabel);
    layout->addSpacing(12);
    layout->addWidget(card);
    layout->addStretch(4);
    return column;
}

QLayout* SetupPage::buildDeviceGrid() {
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(12);
    grid->setColumnStretch(1, 1);
    grid->addWidget(makeFieldLabel(tr("Detected device"), deviceBox, this), 0, 0);
    grid->addWidget(deviceBox, 0, 1, 1, 2);
    grid->addWidget(makeFieldLabel(tr("Device name"), nameEdit, this), 1, 0);
    grid->addWidget(nameEdit, 1, 1);
    grid->addWidget(saveNameButton, 1, 2);
    return grid;
}

QLayout* SetupPage::buildActionRow() {
    auto* row = new QHBoxLayout;
    row->setSpacing(10);
    row->addWidget(refreshButton);
    row->addWidget(scanningLabel);
    row->addStretch(1);
    row->addWidget(connectButton);
    row->addWidget(usbCycleButton);
    return row;
}

bool SetupPage::skipCalibrationOnConnect() const {
    return uploadCalibrationBox == nullptr || !uploadCalibrationBox->isChecked();
}

QString SetupPage::selectedPort() const {
    return deviceBox->currentData(Qt::UserRole).toString();
}

QString SetupPage::selectedDeviceNameKey() const {
    return deviceBox->currentData(kNameKeyRole).toString();
}

void SetupPage::rememberConnectedPort(const QString& port) {
    SettingsStore::instance().set(kLastDevicePortKey, port);
}

void SetupPage::updateNameEditor() {
    const QString key = selectedDeviceNameKey();
    nameEdit->setText(key.isEmpty() ? QString() : SettingsStore::instance().value(key).toString());
    nameEdit->setEnabled(!key.isEmpty());
    saveNameButton->setEnabled(!key.isEmpty());
}

QString SetupPage::itemText(const UiDiscoveredDevice& device) const {
    const QString name = SettingsStore::instance().value(deviceNameKey(device)).toString().trimmed();
    return name.isEmpty() ? device.label : tr("%1  (%2)").arg(name, device.label);
}

void SetupPage::setActionsEnabled(bool enabled) {
    const bool withDevice = enabled && !selectedPort().isEmpty();
    QWidget* const focusBefore = focusWidget();
    for (QWidget* control : {static_cast<QWidget*>(deviceBox), static_cast<QWidget*>(nameEdit),
                             static_cast<QWidget*>(saveNameButton), static_cast<QWidget*>(connectButton),
                             static_cast<QWidget*>(usbCycleButton)}) {
        control->setEnabled(withDevice);
    }
    refreshButton->setEnabled(enabled);
    relayButton->setEnabled(enabled);
    if (!enabled) {
        if (focusBefore != focusWidget()) {
            focusTaken = focusBefore;
            focusGiven = focusWidget();
        }
        return;
    }
    // A disabled control loses the focus; who works by keyboard gets it back where it was.
    if (focusTaken != nullptr && focusTaken->isEnabled() && focusGiven == focusWidget()) {
        focusTaken->setFocus();
    }
    focusTaken = nullptr;
}

void SetupPage::setScanning() {
    setActionsEnabled(false);
    scanningLabel->show();
    setStatus(tr("Scanning connected devices..."));
}

void SetupPage::setDevices(const QList<UiDiscoveredDevice>& found, const QString& message) {
    devices = found;
    const QString lastPort = SettingsStore::instance().value(kLastDevicePortKey).toString().trimmed();
    int selected = 0;
    {
        const QSignalBlocker blocker(deviceBox);
        deviceBox->clear();
        for (const UiDiscoveredDevice& device : devices) {
            if (!device.port.startsWith(QLatin1String("ftdi://"), Qt::CaseInsensitive)) {
                continue;
            }
            if (device.port.compare(lastPort, Qt::CaseInsensitive) == 0) {
                selected = deviceBox->count();
            }
            deviceBox->addItem(itemText(device), device.port);
            deviceBox->setItemData(deviceBox->count() - 1, deviceNameKey(device), kNameKeyRole);
        }
        if (deviceBox->count() == 0) {
            deviceBox->addItem(tr("No customer USB device detected"));
            static_cast<QStandardItemModel*>(deviceBox->model())->item(0)->setEnabled(false);
        }
        deviceBox->setCurrentIndex(selected);
    }
    scanningLabel->hide();
    updateNameEditor();
    setActionsEnabled(true);
    setStatus(message);
}

void SetupPage::setStatus(const QString& text) {
    statusLabel->setText(text);
}

void SetupPage::setUsbCycleStarted() {
    setActionsEnabled(false);
    setStatus(tr("Resetting selected USB device..."));
}

void SetupPage::setUsbCycleFinished(bool ok, const QString& message) {
    setActionsEnabled(true);
    if (!message.isEmpty()) {
        setStatus(message);
    } else {
        setStatus(ok ? tr("USB reset completed.") : tr("USB reset failed."));
    }
}

void SetupPage::onConnect() {
    const QString port = selectedPort();
    if (port.isEmpty()) {
        setStatus(tr("Select a detected device first."));
        return;
    }
    setStatus(tr("Connecting to selected device..."));
    Q_EMIT connectRequested(port);
}

void SetupPage::onUsbCycle() {
    const QString port = selectedPort();
    if (port.isEmpty()) {
        setStatus(tr("Select a detected customer USB device first."));
        return;
    }
    Q_EMIT usbCycleRequested(port);
}

void SetupPage::onConnectRelay() {
    SettingsStore& settings = SettingsStore::instance();
    const RelayAddress last{settings.value(kRelayHostKey).toString(),
                            storedPort(settings, kRelayStreamPortKey, kDefaultRelayStreamPort),
                            storedPort(settings, kRelayStatusPortKey, kDefaultRelayStatusPort)};
    // The page may go while the dialog is open, and would take a child on the stack with it.
    const QPointer<RelayConnectDialog> dialog(new RelayConnectDialog(last, this));
    const bool accepted = dialog->exec() == QDialog::Accepted;
    if (dialog == nullptr) {
        return;
    }
    const RelayAddress address = dialog->address();
    delete dialog;
    if (!accepted) {
        return;
    }
    if (address.host.isEmpty()) {
        setStatus(tr("Enter a relay host name or IP address."));
        return;
    }
    settings.set({{kRelayHostKey, address.host},
                  {kRelayStreamPortKey, int(address.streamPort)},
                  {kRelayStatusPortKey, int(address.statusPort)}});
    setStatus(tr("Connecting to network relay..."));
    Q_EMIT relayConnectRequested(address.host, address.streamPort, address.statusPort);
}

void SetupPage::showAdvancedSetup() {
    const QPointer<AdvancedSetupDialog> dialog(new AdvancedSetupDialog(this));
    dialog->exec();
    delete dialog;
}

void SetupPage::onSaveDeviceName() {
    const QString key = selectedDeviceNameKey();
    if (key.isEmpty()) {
        return;
    }
    const QString name = nameEdit->text().trimmed();
    if (name.isEmpty()) {
        SettingsStore::instance().remove(key);
        setStatus(tr("Device name cleared."));
    } else {
        SettingsStore::instance().set(key, name);
        setStatus(tr("Device name saved."));
    }
    // Two entries can share a key, as the same unit or by serials that differ in punctuation only.
    for (int index = 0; index < deviceBox->count(); ++index) {
        for (const UiDiscoveredDevice& device : qAsConst(devices)) {
            if (device.port == deviceBox->itemData(index, Qt::UserRole).toString()) {
                deviceBox->setItemText(index, itemText(device));
            }
        }
    }
}

void SetupPage::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (statusLabel->text() == tr("No scan has run yet")) {
        setStatus(tr("Ready to scan."));
    }
}

void SetupPage::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        QWidget::keyPressEvent(event);
        return;
    }
    if (auto* button = qobject_cast<QPushButton*>(focusWidget())) {
        button->click();
    } else if (focusWidget() == nameEdit) {
        onSaveDeviceName();
    } else if (refreshButton->isEnabled()) {
        onConnect();
    }
}

} // namespace qorn::timetagger::gui

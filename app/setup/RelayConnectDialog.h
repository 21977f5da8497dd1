// Asks for the network relay to connect to: an address in, an address out. Shown modally by the setup page;
// knows no settings store and no connection.
#pragma once

#include <QDialog>
#include <QString>

class QLineEdit;
class QSpinBox;

namespace qorn::timetagger::gui {

struct RelayAddress {
    QString host;
    quint16 streamPort = 0;
    quint16 statusPort = 0;
};

class RelayConnectDialog : public QDialog {
    Q_OBJECT
public:
    // A port of 0 shows as 1, the least that can be picked.
    explicit RelayConnectDialog(const RelayAddress& initial, QWidget* parent = nullptr);

    // What the controls show, the host trimmed; it may be empty. Meant to be read after acceptance.
    RelayAddress address() const;

private:
    QLineEdit* hostEdit = nullptr;
    QSpinBox* streamPortBox = nullptr;
    QSpinBox* statusPortBox = nullptr;
};

} // namespace qorn::timetagger::gui

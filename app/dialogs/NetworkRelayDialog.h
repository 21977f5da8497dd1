// Asks whether and on which ports this window's source is shared: a sharing in, a sharing out. Shown modally
// by the device menu; knows no server and no settings store.
#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QSpinBox;

namespace qorn::timetagger::gui {

struct RelaySharing {
    bool publish = false;
    quint16 streamPort = 0;
    quint16 statusPort = 0;

    bool operator==(const RelaySharing&) const = default;
};

class NetworkRelayDialog : public QDialog {
    Q_OBJECT
public:
    // A port of 0 shows as 1, the least that can be picked. No connections are shown yet.
    explicit NetworkRelayDialog(const RelaySharing& initial, QWidget* parent = nullptr);

    // Shows how many peers are connected now; to be called while the source is shared.
    void showConnections(quint32 streams, quint32 statuses);

    // What the controls show. Meant to be read after acceptance.
    RelaySharing sharing() const;

private:
    QCheckBox* publishBox = nullptr;
    QSpinBox* streamPortBox = nullptr;
    QSpinBox* statusPortBox = nullptr;
    QLabel* connections = nullptr; // hidden until showConnections
};

} // namespace qorn::timetagger::gui

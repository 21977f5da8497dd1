// The flag of the status bar that tells of lost tags: those that the reader had to drop, those that the relay
// server threw away with the clients that were to get them, those that this window had no time to show, and
// the bytes of the stream that held no readable tags. It also tells, once in a capture, that plots leave out
// tags to keep to their rate. Hidden while there is nothing to tell; it stays, also beyond the end of the
// capture, until a click or a key opens the counts of every stage.
//
// Owned by the status bar, GUI thread only.
#pragma once

#include "ElidedLabel.h"
#include "UiTagFlow.h"

#include <QPointer>

#include <map>

class QMessageBox;

namespace qorn::timetagger::gui {

class LossIndicator : public ElidedLabel {
    Q_OBJECT
public:
    explicit LossIndicator(QWidget* parent = nullptr);

    // Tags of which the operator has not read yet.
    quint64 unreadLost() const { return unread.lost; }
    quint64 unreadNotRelayed() const { return unread.notRelayed; }
    quint64 unreadNotShown() const { return unread.notShown; }
    quint64 unreadSkippedBytes() const { return unread.skippedBytes; }
    // Tags that exceed the rate of the plots. Once that was read, none of that capture.
    quint64 unreadLeftOut() const { return unread.leftOut; }

public Q_SLOTS:
    // The newest counts of a capture, which is later than another one of a lower number. A new capture adds
    // its losses to what was not read of those before; so does a late report of an earlier one by what it
    // newly tells.
    void takeFlow(const qorn::timetagger::gui::UiTagFlow& counts);
    // The tags that the relay server has lost in all, whatever is captured.
    void takeRelayLosses(quint64 tags);
    // Opens the counts in a box that blocks nothing, and hides.
    void showDetails();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    struct Unread {
        quint64 lost = 0;
        quint64 notRelayed = 0;
        quint64 notShown = 0;
        quint64 skippedBytes = 0;
        quint64 leftOut = 0;
    };
    // What a capture has told so far. Its counts only grow.
    struct Told {
        quint64 lost = 0;
        quint64 notShown = 0;
        quint64 skippedBytes = 0;
        quint64 leftOut = 0;
        bool leftOutRead = false;
    };

    void refresh();
    QString flagText() const;
    QString detailsText() const;

    UiTagFlow flow; // of the latest capture
    Unread unread;
    std::map<quint64, Told> told; // by the last captures
    quint64 relayTold = 0;
    QPointer<QMessageBox> box;
};

} // namespace qorn::timetagger::gui

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

class QMessageBox;

namespace qorn::timetagger::gui {

class LossIndicator : public ElidedLabel {
    Q_OBJECT
public:
    explicit LossIndicator(QWidget* parent = nullptr);

    // Tags of which the operator has not read yet.
    quint64 unreadLost() const { return lost.unread(); }
    quint64 unreadNotRelayed() const { return notRelayed.unread(); }
    quint64 unreadNotShown() const { return notShown.unread(); }
    quint64 unreadSkippedBytes() const { return skippedBytes.unread(); }
    // Tags that exceed the rate of the plots. Once that was read, none of that capture.
    quint64 unreadLeftOut() const { return leftOutRead ? 0 : leftOut.unread(); }

public Q_SLOTS:
    // The newest counts of a capture. A new capture adds its losses to what was not read of those before.
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
    // A loss over several captures, of each of which the count only grows.
    struct Loss {
        quint64 before = 0; // of earlier captures, not read
        quint64 count = 0;  // of this one
        quint64 read = 0;   // of that
        quint64 unread() const { return before + count - read; }
        void beginCapture() { *this = {unread(), 0, 0}; }
        void markRead() { *this = {0, count, count}; }
    };

    void refresh();
    QString flagText() const;
    QString detailsText() const;

    UiTagFlow flow;
    Loss lost;
    Loss notRelayed;
    Loss notShown;
    Loss skippedBytes;
    Loss leftOut;
    bool leftOutRead = false; // in this capture
    QPointer<QMessageBox> box;
};

} // namespace qorn::timetagger::gui

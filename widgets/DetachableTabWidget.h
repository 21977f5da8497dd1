// The tab widget of the workspace: movable tabs, a "+" button behind the last tab, and tabs that can leave
// the bar as a dock pane of the main window and come back.
//
// Owned by the workspace page, GUI thread only. A detached page belongs to its dock, which belongs to the
// main window; whichever of page, dock, tab widget and main window goes first, the others stay sound.
#pragma once

#include <QKeySequence>
#include <QTabWidget>

class QContextMenuEvent;
class QToolButton;

namespace qorn::timetagger::gui {

class DetachableTabWidget : public QTabWidget {
    Q_OBJECT
public:
    explicit DetachableTabWidget(QWidget* parent = nullptr);

    // The parent that every page gets; a page that is made in it need not move.
    QWidget* pageParent() const;
    // Pages that stand in docks now, in the order in which they left.
    QList<QWidget*> detachedPages() const;
    // Brings every detached page back as a tab under its old title.
    void reattachAll();

    // The keys of a new tab and of closing one. The buttons tell them, the window watches them.
    static QKeySequence addKey() { return Qt::CTRL | Qt::Key_T; }
    static QKeySequence closeKey() { return Qt::CTRL | Qt::Key_W; }

Q_SIGNALS:
    // The "+" button was pressed.
    void addRequested();
    // The page at an index is about to leave the bar; it may still be replaced by another.
    void aboutToDetach(int index);

public Q_SLOTS:
    // Moves a tab's page into a floating dock of the main window around this widget. Nothing happens for an
    // index out of range or outside a main window.
    void detachTab(int index);
    // Adds `page` as the last tab and makes it current.
    void reattach(QWidget* page, const QString& title);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void tabInserted(int index) override;
    void tabRemoved(int index) override;

private:
    void repositionAddButton();
    void tellOfCloseButton(int index);
    void showTabMenu(const QContextMenuEvent& request);

    QToolButton* addButton = nullptr;
};

} // namespace qorn::timetagger::gui

// The keys of the workspace: what the buttons of a tab's toolbar do, and closing. A key means the tab that
// has the focus, in the bar, in a dock pane or with its plot in another window, else the current one.
//
// Child of the workspace page, and without effect while that is hidden. GUI thread only.
#pragma once

#include <QObject>

class QKeySequence;
class QWidget;

namespace qorn::timetagger::gui {

class DetachableTabWidget;
class ExperimentTab;

class WorkspaceShortcuts : public QObject {
    Q_OBJECT
public:
    WorkspaceShortcuts(QWidget& workspace, DetachableTabWidget& tabs);

Q_SIGNALS:
    // The tab at this index is to be closed.
    void closeRequested(int index);

private:
    ExperimentTab* tabInUse() const;
    void press(const QKeySequence& key);
    void closeWhatIsInUse();

    DetachableTabWidget& tabs;
};

} // namespace qorn::timetagger::gui

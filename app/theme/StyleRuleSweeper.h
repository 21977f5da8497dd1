// Keeps the toolkit's memory of style rules from growing with every tab that is closed.
//
// The toolkit remembers the rules of the application's style sheet for each widget that asked for its style,
// and forgets them when the widget goes. That is not so for parts of other widgets, such as the line edit of
// a spin box: their rules stay until the sheet is changed, some ten kilobytes for a tab. The sweeper sees
// such parts come and has their rules forgotten when they have gone. GUI thread only.
#pragma once

#include <QList>
#include <QObject>

namespace qorn::timetagger::gui {

class StyleRuleSweeper : public QObject {
    Q_OBJECT
public:
    // To be installed as an event filter of the application, whose child it is.
    explicit StyleRuleSweeper(QObject* parent) : QObject(parent) {}

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void note(QObject* part);
    void sweep();

    QList<QObject*> gone; // since the last sweep; addresses only
};

} // namespace qorn::timetagger::gui

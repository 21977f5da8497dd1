#include "ControlColumn.h"

#include "TabLayout.h"

#include <QEvent>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kLeastVisibleHeight = 120;

// As high as its content where there is room, so that what follows stands right below the content.
class ContentHeightScrollArea : public LateScrollArea {
public:
    explicit ContentHeightScrollArea(QWidget* parent) : LateScrollArea(parent) {
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    }

    QSize sizeHint() const override {
        const QSize content = widget() != nullptr ? widget()->sizeHint() : QSize();
        return {content.width() + barWidth(), content.height()};
    }
    QSize minimumSizeHint() const override {
        const int content = widget() != nullptr ? widget()->minimumSizeHint().width() : 0;
        return {content + barWidth(), kLeastVisibleHeight};
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override {
        if (object == widget() && event->type() == QEvent::LayoutRequest) {
            updateGeometry();
        }
        return LateScrollArea::eventFilter(object, event);
    }

private:
    int barWidth() const { return verticalScrollBar()->sizeHint().width(); }
};

} // namespace

ControlColumn::ControlColumn(int leastWidth, QWidget* parent)
    : LateWidget(parent), area(new ContentHeightScrollArea(this)), status(makeStatusLabel(this)) {
    setMinimumWidth(leastWidth);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(area, 0);
    column->addWidget(status, 0);
    column->addStretch(1);
}

QWidget* ControlColumn::place() const {
    return area->place();
}

void ControlColumn::showStatus(const QString& text) {
    status->setText(text);
}

} // namespace qorn::timetagger::gui

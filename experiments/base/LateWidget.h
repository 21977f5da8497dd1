// A widget that claims no room before it is first styled, which happens when it is first shown. To ask what
// is in it for sizes would style all of that, in a tab that perhaps nobody looks at. GUI thread only.
#pragma once

#include <QEvent>
#include <QWidget>

namespace qorn::timetagger::gui {

class LateWidget : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

    QSize sizeHint() const override { return isStyled() ? QWidget::sizeHint() : QSize(); }
    QSize minimumSizeHint() const override { return isStyled() ? QWidget::minimumSizeHint() : QSize(); }
    bool hasHeightForWidth() const override { return isStyled() && QWidget::hasHeightForWidth(); }
    int heightForWidth(int width) const override { return isStyled() ? QWidget::heightForWidth(width) : -1; }

protected:
    bool event(QEvent* event) override {
        const bool taken = QWidget::event(event);
        if (event->type() == QEvent::Polish) {
            updateGeometry();
        }
        return taken;
    }

private:
    bool isStyled() const { return testAttribute(Qt::WA_WState_Polished); }
};

} // namespace qorn::timetagger::gui

#include "DetachableTabWidget.h"

#include "KeyHint.h"

#include <QCloseEvent>
#include <QContextMenuEvent>
#include <QDockWidget>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QMenu>
#include <QPointer>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTabBar>
#include <QToolButton>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr int kAddButtonSize = 28;
constexpr int kAddButtonGap = 4;

// Lets a docked page scroll where the main window has less room for it than it needs.
class PaneArea : public QScrollArea {
public:
    PaneArea(QWidget* page, QWidget* parent) : QScrollArea(parent) {
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setWidget(page);
        page->show(); // a page that was not the current one
    }
    QSize sizeHint() const override { return widget() != nullptr ? widget()->sizeHint() : QSize(); }
};

// Holds one detached page; closing it gives the page back to where it came from.
class DetachedDock : public QDockWidget {
public:
    DetachedDock(DetachableTabWidget* tabs, QWidget* detachedPage, const QString& title, QWidget* parent)
        : QDockWidget(title, parent), origin(tabs), page(detachedPage),
          area(new PaneArea(detachedPage, this)), tabTitle(title) {
        setObjectName(QStringLiteral("ExperimentDock"));
        setAttribute(Qt::WA_DeleteOnClose);
        setAllowedAreas(Qt::AllDockWidgetAreas);
        setFeatures(DockWidgetClosable | DockWidgetMovable | DockWidgetFloatable);
        setWidget(area);
        // A page that is deleted in here takes its empty dock along.
        connect(page, &QObject::destroyed, this, &QObject::deleteLater);
    }

    bool cameFrom(const DetachableTabWidget* tabs) const { return origin == tabs; }
    QWidget* detachedPage() const { return page; }

protected:
    void closeEvent(QCloseEvent* event) override {
        if (page != nullptr && origin != nullptr) {
            disconnect(page, &QObject::destroyed, this, nullptr);
            area->takeWidget();
            origin->reattach(page, tabTitle);
            page = nullptr;
        }
        QDockWidget::closeEvent(event);
    }

private:
    QPointer<DetachableTabWidget> origin;
    QPointer<QWidget> page;
    PaneArea* area;
    QString tabTitle;
};

QList<DetachedDock*> docksOf(const DetachableTabWidget* tabs) {
    QList<DetachedDock*> docks;
    const auto all = tabs->window()->findChildren<QDockWidget*>(QStringLiteral("ExperimentDock"));
    for (QDockWidget* dock : all) {
        auto* detached = dynamic_cast<DetachedDock*>(dock);
        if (detached != nullptr && detached->cameFrom(tabs) && detached->detachedPage() != nullptr) {
            docks.append(detached);
        }
    }
    return docks;
}

} // namespace

DetachableTabWidget::DetachableTabWidget(QWidget* parent) : QTabWidget(parent) {
    setMovable(true);
    addButton = new QToolButton(this);
    addButton->setObjectName(QStringLiteral("AddTabButton"));
    addButton->setText(QStringLiteral("+"));
    addButton->setToolTip(tr("New measurement"));
    addButton->setAccessibleName(tr("New measurement"));
    addButton->setFixedSize(kAddButtonSize, kAddButtonSize);
    showKeyInToolTip(*addButton, addKey());
    connect(addButton, &QToolButton::clicked, this, &DetachableTabWidget::addRequested);

    // Keeps the bar clear of the button when the tabs fill the whole width.
    auto* room = new QWidget(this);
    auto* roomLayout = new QHBoxLayout(room);
    roomLayout->setContentsMargins(0, 0, 0, 0);
    roomLayout->addSpacing(kAddButtonSize + kAddButtonGap);
    setCornerWidget(room, Qt::TopRightCorner);

    tabBar()->installEventFilter(this);
    connect(tabBar(), &QTabBar::tabMoved, this, &DetachableTabWidget::repositionAddButton);
    connect(this, &QTabWidget::tabBarDoubleClicked, this, &DetachableTabWidget::detachTab);
    repositionAddButton();
}

QWidget* DetachableTabWidget::pageParent() const {
    return findChild<QStackedWidget*>(QString(), Qt::FindDirectChildrenOnly);
}

QList<QWidget*> DetachableTabWidget::detachedPages() const {
    QList<QWidget*> pages;
    for (const DetachedDock* dock : docksOf(this)) {
        pages.append(dock->detachedPage());
    }
    return pages;
}

void DetachableTabWidget::reattachAll() {
    for (DetachedDock* dock : docksOf(this)) {
        dock->close();
    }
}

void DetachableTabWidget::detachTab(int index) {
    auto* mainWindow = qobject_cast<QMainWindow*>(window());
    if (widget(index) == nullptr || mainWindow == nullptr) {
        return;
    }
    Q_EMIT aboutToDetach(index);
    QWidget* page = widget(index);
    const QString title = tabText(index);
    const QSize pageSize = page->size();
    removeTab(index);
    auto* dock = new DetachedDock(this, page, title, mainWindow);
    dock->resize(pageSize);
    mainWindow->addDockWidget(Qt::RightDockWidgetArea, dock);
    dock->setFloating(true);
    dock->show();
}

void DetachableTabWidget::reattach(QWidget* page, const QString& title) {
    setCurrentIndex(addTab(page, title));
}

bool DetachableTabWidget::eventFilter(QObject* object, QEvent* event) {
    if (object == tabBar() && event->type() == QEvent::ContextMenu) {
        showTabMenu(*static_cast<QContextMenuEvent*>(event));
        return true;
    }
    // A new title, font or style moves the end of the bar without any of the calls below. The bar lays out
    // its tabs only when it has had the event itself.
    const bool barChanged = event->type() == QEvent::Resize || event->type() == QEvent::Move ||
                            event->type() == QEvent::StyleChange || event->type() == QEvent::FontChange;
    if (object == tabBar() && barChanged) {
        repositionAddButton();
        QMetaObject::invokeMethod(this, &DetachableTabWidget::repositionAddButton, Qt::QueuedConnection);
    }
    return QTabWidget::eventFilter(object, event);
}

void DetachableTabWidget::resizeEvent(QResizeEvent* event) {
    QTabWidget::resizeEvent(event);
    repositionAddButton();
}

void DetachableTabWidget::showEvent(QShowEvent* event) {
    QTabWidget::showEvent(event);
    repositionAddButton();
}

void DetachableTabWidget::tabInserted(int index) {
    QTabWidget::tabInserted(index);
    tellOfCloseButton(index);
    repositionAddButton();
}

void DetachableTabWidget::tabRemoved(int index) {
    QTabWidget::tabRemoved(index);
    repositionAddButton();
}

void DetachableTabWidget::repositionAddButton() {
    const QTabBar* bar = tabBar();
    int x = 0;
    if (count() > 0) {
        // Tabs that are too many scroll, and the bar's end is taken by the buttons for it.
        const QRect tabs = bar->tabRect(0).united(bar->tabRect(count() - 1));
        const int end = tabs.width() > bar->width() ? bar->width() : tabs.right() + 1;
        x = std::clamp(bar->x() + end + kAddButtonGap, 0, std::max(0, width() - kAddButtonSize));
    }
    const int y = std::max(0, bar->y() + (bar->height() - kAddButtonSize) / 2);
    addButton->move(x, y);
    addButton->raise();
}

// The button has nothing but a picture.
void DetachableTabWidget::tellOfCloseButton(int index) {
    for (const QTabBar::ButtonPosition side : {QTabBar::LeftSide, QTabBar::RightSide}) {
        if (QWidget* button = tabBar()->tabButton(index, side)) {
            button->setAccessibleName(tr("Close %1").arg(tabText(index)));
            showKeyInToolTip(*button, closeKey());
        }
    }
}

void DetachableTabWidget::showTabMenu(const QContextMenuEvent& request) {
    // The menu key means the current tab, wherever the pointer is.
    const bool byKey = request.reason() == QContextMenuEvent::Keyboard;
    const QPoint position = byKey ? tabBar()->tabRect(currentIndex()).bottomLeft() : request.pos();
    const int index = byKey ? currentIndex() : tabBar()->tabAt(position);
    if (index < 0) {
        return;
    }
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QPointer<QWidget> page(widget(index));
    connect(menu->addAction(tr("Open in dock pane")), &QAction::triggered, this,
            [this, page] { detachTab(indexOf(page)); });
    menu->popup(tabBar()->mapToGlobal(position));
}

} // namespace qorn::timetagger::gui

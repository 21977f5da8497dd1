#include "ShownTexts.h"

#include "ElidedLabel.h"
#include "LongTexts.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAction>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QRegularExpression>
#include <QSpinBox>
#include <QStyle>
#include <QStyleOptionComboBox>
#include <QTabBar>
#include <QTableWidget>
#include <QToolButton>

namespace qorn::testing {
namespace {

namespace gui = qorn::timetagger::gui;

QString nameOf(const QWidget& widget, const QString& text) {
    return QStringLiteral("%1 %2 \"%3\"")
        .arg(QLatin1String(widget.metaObject()->className()), widget.objectName(), text);
}

bool labelIsCut(const QLabel& label) {
    if (!label.wordWrap()) {
        const QSize wanted = label.sizeHint();
        return wanted.width() > label.width() || wanted.height() > label.height();
    }
    return label.heightForWidth(label.width()) > label.height();
}

bool choiceIsCut(const QComboBox& box) {
    QStyleOptionComboBox option;
    option.initFrom(&box);
    option.editable = box.isEditable();
    option.subControls = QStyle::SC_All;
    const QRect field =
        box.style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, &box);
    for (int i = 0; i < box.count(); ++i) {
        if (box.fontMetrics().horizontalAdvance(box.itemText(i)) > field.width()) {
            return true;
        }
    }
    return false;
}

bool numberIsCut(const QAbstractSpinBox& box) {
    const auto* field = box.findChild<QLineEdit*>();
    return field != nullptr &&
           field->fontMetrics().horizontalAdvance(box.text()) > field->contentsRect().width();
}

bool headingIsCut(const QHeaderView& header) {
    for (int i = 0; i < header.count(); ++i) {
        if (!header.isSectionHidden(i) && header.sectionSizeHint(i) > header.sectionSize(i)) {
            return true;
        }
    }
    return false;
}

bool hasNoRoom(const QWidget& widget, QString& text) {
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        text = label->text();
        return qobject_cast<const gui::ElidedLabel*>(label) == nullptr && !text.isEmpty() &&
               labelIsCut(*label);
    }
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        text = button->text();
        // A tool button is made as small as one likes.
        const bool isTool = qobject_cast<const QToolButton*>(button) != nullptr;
        const int wanted =
            isTool ? button->fontMetrics().horizontalAdvance(text) : button->sizeHint().width();
        return (!isTool || button->icon().isNull()) && wanted > button->width();
    }
    if (const auto* box = qobject_cast<const QComboBox*>(&widget)) {
        text = box->currentText();
        return choiceIsCut(*box);
    }
    if (const auto* box = qobject_cast<const QAbstractSpinBox*>(&widget)) {
        text = box->text();
        return numberIsCut(*box);
    }
    if (const auto* group = qobject_cast<const QGroupBox*>(&widget)) {
        text = group->title();
        return group->fontMetrics().horizontalAdvance(text) + 20 > group->width();
    }
    if (const auto* header = qobject_cast<const QHeaderView*>(&widget)) {
        text = QStringLiteral("header");
        return headingIsCut(*header);
    }
    return false;
}

bool carriesText(const QWidget& widget) {
    return qobject_cast<const QLabel*>(&widget) != nullptr ||
           qobject_cast<const QAbstractButton*>(&widget) != nullptr ||
           qobject_cast<const QComboBox*>(&widget) != nullptr ||
           qobject_cast<const QAbstractSpinBox*>(&widget) != nullptr;
}

// Not along what scrolls, and not the tabs of a bar, which has buttons for that.
bool reachesOut(const QWidget& widget) {
    QRect rect = widget.rect();
    for (const QWidget* inner = &widget; !inner->isWindow(); inner = inner->parentWidget()) {
        const QWidget* outer = inner->parentWidget();
        rect.translate(inner->pos());
        const auto* area = qobject_cast<const QAbstractScrollArea*>(outer->parentWidget());
        if (area != nullptr && outer == area->viewport()) {
            const bool sideways = area->horizontalScrollBarPolicy() != Qt::ScrollBarAlwaysOff;
            return !sideways && (rect.left() < 0 || rect.right() > outer->rect().right());
        }
        if (qobject_cast<const QTabBar*>(outer) != nullptr) {
            return false;
        }
        if (!outer->rect().contains(rect)) {
            return true;
        }
    }
    return false;
}

// A word of the language, and no unit, name of an input or key.
bool needsTranslation(const QString& text) {
    static const QRegularExpression word(QStringLiteral("[A-Za-z]{3,}"));
    static const QRegularExpression name(QStringLiteral("SIM0000|/data/|qt_"));
    return word.match(text).hasMatch() && !text.contains(QChar(kTranslatedMark)) &&
           !name.match(text).hasMatch();
}

QStringList textsOf(const QWidget& widget) {
    QStringList texts{widget.toolTip(), widget.accessibleName(), widget.accessibleDescription()};
    if (widget.isWindow()) {
        texts.append(widget.windowTitle());
    }
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        texts.append(label->text());
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        texts.append(button->text());
    } else if (const auto* group = qobject_cast<const QGroupBox*>(&widget)) {
        texts.append(group->title());
    } else if (const auto* field = qobject_cast<const QLineEdit*>(&widget)) {
        texts.append(field->placeholderText());
    } else if (const auto* box = qobject_cast<const QComboBox*>(&widget)) {
        for (int i = 0; i < box->count(); ++i) {
            texts.append(box->itemText(i));
        }
    } else if (const auto* spin = qobject_cast<const QAbstractSpinBox*>(&widget)) {
        texts.append(spin->specialValueText());
    } else if (const auto* bar = qobject_cast<const QTabBar*>(&widget)) {
        for (int i = 0; i < bar->count(); ++i) {
            texts.append(bar->tabText(i));
        }
    } else if (const auto* table = qobject_cast<const QTableWidget*>(&widget)) {
        for (int column = 0; column < table->columnCount(); ++column) {
            const QTableWidgetItem* heading = table->horizontalHeaderItem(column);
            texts.append(heading != nullptr ? heading->text() : QString());
            for (int row = 0; row < table->rowCount(); ++row) {
                const QTableWidgetItem* item = table->item(row, column);
                texts.append(item != nullptr ? item->text() : QString());
            }
        }
    }
    return texts;
}

} // namespace

QStringList cutTexts(QWidget& window) {
    QStringList cut;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (!widget->isVisible() || widget->window() != &window) {
            continue;
        }
        QString text;
        if (hasNoRoom(*widget, text)) {
            cut.append(nameOf(*widget, text) +
                       QStringLiteral(" has no room in %1 x %2").arg(widget->width()).arg(widget->height()));
        } else if (carriesText(*widget) && reachesOut(*widget)) {
            cut.append(nameOf(*widget, text) + QStringLiteral(" reaches out"));
        }
    }
    return cut;
}

QStringList untranslatedTexts(QWidget& window) {
    QStringList found;
    QList<QWidget*> widgets = window.findChildren<QWidget*>();
    widgets.append(&window);
    for (const QWidget* widget : widgets) {
        for (const QString& text : textsOf(*widget)) {
            if (needsTranslation(text)) {
                found.append(nameOf(*widget, text));
            }
        }
    }
    for (const QAction* action : window.findChildren<QAction*>()) {
        for (const QString& text : {action->text(), action->toolTip()}) {
            if (needsTranslation(text)) {
                found.append(QStringLiteral("action \"%1\"").arg(text));
            }
        }
    }
    return found;
}

} // namespace qorn::testing

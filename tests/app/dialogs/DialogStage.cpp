#include "DialogStage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFormLayout>
#include <QLabel>
#include <QTimer>

namespace qorn::testing {
namespace {

QString plain(QString label) {
    label.remove(QLatin1Char('&'));
    return label.endsWith(QLatin1Char(':')) ? label.chopped(1) : label;
}

bool holds(const QLayoutItem* item, const QWidget& widget) {
    if (item == nullptr) {
        return false;
    }
    if (const QWidget* own = const_cast<QLayoutItem*>(item)->widget()) {
        return own == &widget || own->isAncestorOf(&widget);
    }
    const QLayout* layout = const_cast<QLayoutItem*>(item)->layout();
    for (int i = 0; layout != nullptr && i < layout->count(); ++i) {
        if (holds(layout->itemAt(i), widget)) {
            return true;
        }
    }
    return false;
}

bool isMuted(const QLabel& label) {
    return label.objectName() == QLatin1String("Muted") || label.property("muted").toBool();
}

} // namespace

QString rowLabelOf(const QWidget& dialog, const QWidget& field) {
    for (const QFormLayout* form : dialog.findChildren<QFormLayout*>()) {
        for (int row = 0; row < form->rowCount(); ++row) {
            const QLayoutItem* label = form->itemAt(row, QFormLayout::LabelRole);
            if (label != nullptr && holds(form->itemAt(row, QFormLayout::FieldRole), field)) {
                const auto* shown = qobject_cast<QLabel*>(const_cast<QLayoutItem*>(label)->widget());
                return shown == nullptr ? QString() : plain(shown->text());
            }
        }
    }
    return {};
}

QStringList groupTitles(const QWidget& dialog) {
    QStringList titles;
    for (const QGroupBox* box : dialog.findChildren<QGroupBox*>()) {
        titles.append(plain(box->title()));
    }
    return titles;
}

QGroupBox& group(const QWidget& dialog, const char* title) {
    for (QGroupBox* box : dialog.findChildren<QGroupBox*>()) {
        if (plain(box->title()) == text(title)) {
            return *box;
        }
    }
    throw std::runtime_error(std::string("the dialog has no group ") + title);
}

bool tells(const QWidget& widget, const QString& what) {
    if (widget.toolTip() == what) {
        return true;
    }
    const auto widgets = widget.findChildren<QWidget*>();
    return std::any_of(widgets.begin(), widgets.end(), [&](const QWidget* child) {
        const auto* label = qobject_cast<const QLabel*>(child);
        return child->toolTip() == what || (label != nullptr && label->text() == what);
    });
}

bool tellsMuted(const QWidget& widget, const QString& what) {
    const auto labels = widget.findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(), [&](const QLabel* label) {
        return label->text() == what && isMuted(*label) && !label->isHidden();
    });
}

QStringList entriesOf(const QComboBox& box) {
    QStringList entries;
    for (int i = 0; i < box.count(); ++i) {
        entries.append(box.itemText(i));
    }
    return entries;
}

QList<int> valuesOf(const QComboBox& box) {
    QList<int> values;
    for (int i = 0; i < box.count(); ++i) {
        values.append(box.itemData(i).toInt());
    }
    return values;
}

void expectRange(const QDoubleSpinBox& box, const Range& range) {
    EXPECT_EQ(box.minimum(), range.least);
    EXPECT_EQ(box.maximum(), range.most);
    EXPECT_EQ(box.decimals(), range.decimals);
    EXPECT_EQ(box.singleStep(), range.step);
    EXPECT_EQ(box.suffix(), text(range.suffix));
}

void click(const QWidget& dialog, const char* buttonText) {
    for (QAbstractButton* button : dialog.findChildren<QAbstractButton*>()) {
        if (plain(button->text()) == text(buttonText)) {
            EXPECT_TRUE(button->isEnabled()) << buttonText;
            button->click();
            return;
        }
    }
    ADD_FAILURE() << "the dialog has no button " << buttonText;
}

int resultOfClick(QDialog& dialog, const char* buttonText) {
    dialog.setResult(-1);
    dialog.show();
    click(dialog, buttonText);
    EXPECT_FALSE(dialog.isVisible()) << buttonText;
    return dialog.result();
}

void withFileDialog(const std::function<void(QFileDialog&)>& answer, const std::function<void()>& work) {
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            answer(*dialog);
        }
    });
    watch.start(5);
    work();
}

void choose(QFileDialog& dialog, const QString& path) {
    dialog.selectFile(path);
    QMetaObject::invokeMethod(&dialog, "accept");
}

} // namespace qorn::testing

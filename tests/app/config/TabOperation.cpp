#include "TabOperation.h"

#include "ExperimentCatalog.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMetaProperty>
#include <QScrollBar>
#include <QSpinBox>
#include <QStringList>

#include <gtest/gtest.h>

namespace qorn::testing {

using timetagger::gui::ExperimentTab;

std::unique_ptr<ExperimentTab> makeTab(const QString& type) {
    return std::unique_ptr<ExperimentTab>(timetagger::gui::createExperiment(type));
}

std::unique_ptr<ExperimentTab> makeShownTab(const QString& type) {
    auto tab = makeTab(type);
    tab->resize(1200, 800);
    tab->show();
    QCoreApplication::processEvents();
    return tab;
}

namespace {

bool canBeEdited(const QAbstractItemView& view) {
    const QAbstractItemModel* model = view.model();
    const bool isHeader = qobject_cast<const QHeaderView*>(&view) != nullptr;
    if (isHeader || model == nullptr || view.editTriggers() == QAbstractItemView::NoEditTriggers) {
        return false;
    }
    for (int row = 0; row < model->rowCount(); ++row) {
        for (int column = 0; column < model->columnCount(); ++column) {
            if ((model->flags(model->index(row, column)) & (Qt::ItemIsEditable | Qt::ItemIsUserCheckable)) !=
                Qt::NoItemFlags) {
                return true;
            }
        }
    }
    return false;
}

// Each kind of input has a property for what the user enters, also those that are no standard ones.
bool holdsAValue(const QWidget& widget) {
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        return button->isCheckable() && !button->objectName().startsWith(QLatin1String("qt_"));
    }
    if (const auto* group = qobject_cast<const QGroupBox*>(&widget)) {
        return group->isCheckable();
    }
    if (const auto* view = qobject_cast<const QAbstractItemView*>(&widget)) {
        return canBeEdited(*view);
    }
    const bool isReadOnly = widget.property("readOnly").toBool();
    const QMetaProperty entered = widget.metaObject()->userProperty();
    return entered.isWritable() && !isReadOnly && qobject_cast<const QScrollBar*>(&widget) == nullptr;
}

bool isPartOfAControl(const QWidget& widget, const QWidget& tab) {
    for (const QWidget* above = widget.parentWidget(); above != nullptr && above != &tab;
         above = above->parentWidget()) {
        if (qobject_cast<const QAbstractSpinBox*>(above) != nullptr ||
            qobject_cast<const QComboBox*>(above) != nullptr) {
            return true;
        }
    }
    return false;
}

} // namespace

QList<QWidget*> controlsOf(const ExperimentTab& tab) {
    QList<QWidget*> controls;
    for (QWidget* widget : tab.findChildren<QWidget*>()) {
        if (holdsAValue(*widget) && !isPartOfAControl(*widget, tab)) {
            controls.append(widget);
        }
    }
    return controls;
}

void changeControl(QWidget& control) {
    if (auto* number = qobject_cast<QDoubleSpinBox*>(&control)) {
        const double step = number->singleStep();
        number->setValue(number->value() + (number->value() + step <= number->maximum() ? step : -step));
    } else if (auto* count = qobject_cast<QSpinBox*>(&control)) {
        count->setValue(count->value() + (count->value() < count->maximum() ? 1 : -1));
    } else if (auto* choice = qobject_cast<QComboBox*>(&control)) {
        choice->setCurrentIndex((choice->currentIndex() + 1) % choice->count());
    } else if (auto* button = qobject_cast<QAbstractButton*>(&control)) {
        button->setChecked(!button->isChecked());
    } else {
        ADD_FAILURE() << "a control of a new kind: " << nameOf(control);
    }
}

QString valueOf(const QWidget& control) {
    if (const auto* box = qobject_cast<const QAbstractSpinBox*>(&control)) {
        return box->text();
    }
    if (const auto* choice = qobject_cast<const QComboBox*>(&control)) {
        return choice->currentText();
    }
    const auto* button = qobject_cast<const QAbstractButton*>(&control);
    return button != nullptr && button->isChecked() ? QStringLiteral("checked") : QStringLiteral("unchecked");
}

std::string nameOf(const QWidget& control) {
    const auto* button = qobject_cast<const QAbstractButton*>(&control);
    const QString name =
        button != nullptr && control.objectName().isEmpty() ? button->text() : control.objectName();
    return control.metaObject()->className() + (" " + name.toStdString());
}

QJsonObject settingsOf(const ExperimentTab& tab) {
    return {{QStringLiteral("config"), tab.saveConfig()},
            {QStringLiteral("sharedConfig"), tab.sharedConfig()}};
}

void loadSettings(ExperimentTab& tab, const QJsonObject& settings) {
    tab.loadConfig(settings.value(QLatin1String("config")).toObject());
    tab.loadSharedConfig(settings.value(QLatin1String("sharedConfig")).toObject());
}

void changeEveryControl(ExperimentTab& tab) {
    QList<QWidget*> withoutEffect;
    for (QWidget* control : controlsOf(tab)) {
        const QJsonObject before = settingsOf(tab);
        changeControl(*control);
        if (settingsOf(tab) == before) {
            withoutEffect.append(control);
        }
    }
    for (QWidget* control : withoutEffect) {
        changeControl(*control);
    }
}

namespace {

QString below(const QString& place, const QString& key) {
    return place.isEmpty() ? key : place + QLatin1Char('/') + key;
}

template <typename Visit>
void visitPlaces(const QJsonValue& value, const QString& place, const Visit& visit) {
    visit(place, value);
    const QJsonObject object = value.toObject();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        visitPlaces(entry.value(), below(place, entry.key()), visit);
    }
    const QJsonArray array = value.toArray();
    for (qsizetype i = 0; i < array.size(); ++i) {
        visitPlaces(array.at(i), below(place, QString::number(i)), visit);
    }
}

} // namespace

QMap<QString, QJsonValue> leavesOf(const QJsonValue& root) {
    QMap<QString, QJsonValue> leaves;
    visitPlaces(root, QString(), [&](const QString& place, const QJsonValue& value) {
        if (!value.isObject() && !value.isArray()) {
            leaves.insert(place, value);
        }
    });
    return leaves;
}

QList<QString> placesIn(const QJsonValue& root) {
    QList<QString> places;
    visitPlaces(root, QString(), [&](const QString& place, const QJsonValue&) {
        if (!place.isEmpty()) {
            places.append(place);
        }
    });
    return places;
}

QJsonValue valueAt(const QJsonValue& root, const QString& place) {
    if (place.isEmpty()) {
        return root;
    }
    const QString key = place.section(QLatin1Char('/'), 0, 0);
    const QJsonValue below = root.isArray() ? root.toArray().at(key.toInt()) : root.toObject().value(key);
    return valueAt(below, place.section(QLatin1Char('/'), 1));
}

QJsonValue withValueAt(const QJsonValue& root, const QString& place, const QJsonValue& value) {
    if (place.isEmpty()) {
        return value;
    }
    const QString key = place.section(QLatin1Char('/'), 0, 0);
    const QString rest = place.section(QLatin1Char('/'), 1);
    if (root.isArray()) {
        QJsonArray array = root.toArray();
        const QJsonValue changed = withValueAt(array.at(key.toInt()), rest, value);
        array.replace(key.toInt(), changed.isUndefined() ? QJsonValue(QJsonValue::Null) : changed);
        return array;
    }
    QJsonObject object = root.toObject();
    const QJsonValue changed = withValueAt(object.value(key), rest, value);
    if (changed.isUndefined()) {
        object.remove(key);
    } else {
        object.insert(key, changed);
    }
    return object;
}

QString textOf(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

} // namespace qorn::testing

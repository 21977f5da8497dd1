#include "StatusFlag.h"

#include <QLabel>
#include <QStyle>
#include <QVariant>

namespace qorn::timetagger::gui {

QString flagStateName(FlagState state) {
    switch (state) {
    case FlagState::Active:
        return QStringLiteral("active");
    case FlagState::Good:
        return QStringLiteral("good");
    case FlagState::Warning:
        return QStringLiteral("warning");
    case FlagState::Bad:
        return QStringLiteral("bad");
    case FlagState::Muted:
        break;
    }
    return QStringLiteral("muted");
}

void setStatusFlag(QLabel* label, const QString& text, FlagState state) {
    if (label == nullptr) {
        return;
    }
    label->setText(text);
    constexpr const char* kProperty = "flagState";
    const QString name = flagStateName(state);
    if (label->property(kProperty).toString() != name) {
        label->setProperty(kProperty, name);
        label->style()->unpolish(label);
        label->style()->polish(label);
    }
}

} // namespace qorn::timetagger::gui

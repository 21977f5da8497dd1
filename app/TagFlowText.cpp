#include "TagFlowText.h"

#include <QCoreApplication>
#include <QStringList>

#include <initializer_list>

namespace qorn::timetagger::gui {
namespace {

// One way that tags of a stage went.
struct Part {
    const char* text; // with a place for the count
    quint64 count;
    bool always; // told also when there were none
};

QString translated(const char* text) {
    return QCoreApplication::translate("TagFlow", text);
}

QString line(const char* stage, std::initializer_list<Part> parts) {
    QStringList texts;
    for (const Part& part : parts) {
        if (part.always || part.count > 0) {
            texts.append(translated(part.text).arg(part.count));
        }
    }
    return translated(stage).arg(texts.join(QStringLiteral(", ")));
}

} // namespace

QString tagFlowText(const UiTagFlow& flow) {
    const char* cut = QT_TRANSLATE_NOOP("TagFlow", "%1 cut by an error");
    QStringList lines;
    lines.append(translated(flow.ended
                                ? QT_TRANSLATE_NOOP("TagFlow", "The time tags of the last acquisition:")
                                : QT_TRANSLATE_NOOP("TagFlow", "The time tags of this acquisition so far:")));
    lines.append(
        line(QT_TRANSLATE_NOOP("TagFlow", "Source: %1"),
             {{QT_TRANSLATE_NOOP("TagFlow", "%1 received"), flow.source.received, true},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 lost"), flow.source.dropped, true},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 on other channels"), flow.masked, false},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 waiting"), flow.source.waiting, false},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 left at the stop"), flow.source.discarded, false},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 bytes unreadable"), flow.source.skippedBytes, false}}));
    if (flow.recording.offered > 0) {
        lines.append(line(QT_TRANSLATE_NOOP("TagFlow", "Recording: %1"),
                          {{QT_TRANSLATE_NOOP("TagFlow", "%1 recorded"), flow.recording.recorded, true},
                           {QT_TRANSLATE_NOOP("TagFlow", "%1 waiting"), flow.recording.waiting, false},
                           {QT_TRANSLATE_NOOP("TagFlow", "%1 after its end"), flow.recording.afterEnd, false},
                           {cut, flow.recording.cut, false}}));
    }
    if (flow.relay.offered > flow.relay.unwanted) {
        lines.append(
            line(QT_TRANSLATE_NOOP("TagFlow", "Relay: %1"),
                 {{QT_TRANSLATE_NOOP("TagFlow", "%1 published"), flow.relay.published, true},
                  {QT_TRANSLATE_NOOP("TagFlow", "%1 refused"), flow.relay.refused, false},
                  {QT_TRANSLATE_NOOP("TagFlow", "%1 while nobody listened"), flow.relay.unwanted, false},
                  {cut, flow.relay.cut, false}}));
    }
    lines.append(
        line(QT_TRANSLATE_NOOP("TagFlow", "Window: %1"),
             {{QT_TRANSLATE_NOOP("TagFlow", "%1 shown"), flow.window.shown, true},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 waiting"), flow.gui.waiting + flow.window.inFlight, false},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 left out to keep to the rate of the plots"), flow.gui.thinned,
               false},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 not shown for want of time"), flow.gui.backlog, true},
              {QT_TRANSLATE_NOOP("TagFlow", "%1 left at the stop"), flow.gui.discarded + flow.window.outdated,
               false},
              {cut, flow.gui.cut, false}}));
    return lines.join(QLatin1Char('\n'));
}

} // namespace qorn::timetagger::gui

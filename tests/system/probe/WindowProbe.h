// A Qt plugin that a test has loaded into the real program by its environment: it prints what the windows
// show, a line each time something changes, and closes them when it reads "close" from standard input.
//
// Made and owned by the application object, GUI thread only.
#pragma once

#include <QGenericPlugin>
#include <QObject>
#include <QSet>
#include <QString>

class QWidget;

namespace qorn::testing {

class WindowProbe : public QObject {
    Q_OBJECT
public:
    WindowProbe();

private:
    void look();
    void lookAt(const QWidget& window);
    // Prints a line that has not been printed yet.
    void tell(const QString& line);
    void obey();

    QSet<QString> told;
};

class WindowProbePlugin : public QGenericPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "window_probe.json")
public:
    QObject* create(const QString& key, const QString& specification) override;
};

} // namespace qorn::testing

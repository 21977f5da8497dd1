// A Qt plugin that a test has loaded into the real program by its environment: it prints what the windows
// show, a line each time something changes; when it reads "play" from standard input it starts the tab that
// is shown, and on "close" it closes the windows.
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
    // Reads a command; false at the end of the input.
    bool obey();
    void play();

    QSet<QString> told;
};

class WindowProbePlugin : public QGenericPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "window_probe.json")
public:
    QObject* create(const QString& key, const QString& arguments) override;
};

} // namespace qorn::testing

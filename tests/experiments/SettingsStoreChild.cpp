// A program that stores a setting and ends at once. Says so on standard output between the two.
#include "SettingsStore.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Settings Child"));
    QCoreApplication::setOrganizationName(QStringLiteral("QORN"));
    qorn::timetagger::gui::SettingsStore::instance().set(QStringLiteral("child/last"),
                                                         QStringLiteral("words"));
    std::puts("stored");
    std::fflush(stdout);
    return 0;
}

// Collects what Qt warns of while a test runs; the shared main fails the test for it.
#pragma once

#include <QString>
#include <QStringList>

namespace qorn::testing {

class MessageGuard {
public:
    static void install();
    static void reset();
    // Warnings and worse since reset() that no test has announced.
    static QStringList unexpected();
    // Announces that messages containing `part` may come until the next reset().
    static void allow(const QString& part);
};

} // namespace qorn::testing

// main of all tests that need Qt: an application without a display, a home and a settings store of their own,
// and listeners that fail a test for an unexpected Qt warning or a window that it left behind.
#include "MessageGuard.h"
#include "StoredSettings.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

class IsolationListener : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        qorn::testing::storedSettings().clear();
        qorn::testing::MessageGuard::reset();
    }

    void OnTestEnd(const testing::TestInfo&) override {
        for (const QString& message : qorn::testing::MessageGuard::unexpected()) {
            ADD_FAILURE() << "unexpected Qt message: " << message.toStdString();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->parent() == nullptr) {
                ADD_FAILURE() << "window left behind: " << widget->metaObject()->className() << " "
                              << widget->windowTitle().toStdString();
            }
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "TMPDIR"}) {
        const QString folder = home.filePath(QString::fromLatin1(name).toLower());
        QDir().mkpath(folder);
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv(name, folder.toUtf8());
    }
    qorn::testing::MessageGuard::install();
    int result = 1;
    {
        QApplication application(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("Qorn Timing"));
        QCoreApplication::setOrganizationName(QStringLiteral("QORN"));
        testing::InitGoogleTest(&argc, argv);
        testing::UnitTest::GetInstance()->listeners().Append(new IsolationListener);
        result = RUN_ALL_TESTS();
    }
    return result;
}

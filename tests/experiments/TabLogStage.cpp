#include "TabLogStage.h"
#include "StoredSettings.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>

namespace qorn::testing {
namespace {

constexpr int kWaitLimitMs = 60'000;

} // namespace

TabLogStage::TabLogStage(bool binary) {
    store("dataLogFormat", binary ? QStringLiteral("binary") : QStringLiteral("csv"));
}

void TabLogStage::store(const char* key, const QVariant& value) {
    storedSettings().setValue(QStringLiteral("measurement/probe/") + QString::fromUtf8(key), value);
}

QStringList TabLogStage::files() const {
    QStringList names = QDir(folderPath()).entryList(QDir::Files, QDir::Name);
    // the first part has a digit where the others have "part"
    std::stable_partition(names.begin(), names.end(),
                          [](const QString& name) { return !name.contains(QStringLiteral("_part")); });
    return names;
}

ReadLog TabLogStage::read(qsizetype part) const {
    return readLog(folder.file(files().value(part).toStdString()));
}

bool TabLogStage::waitFor(const std::function<bool()>& done) {
    return QTest::qWaitFor(done, kWaitLimitMs);
}

bool TabLogStage::appendUntil(const std::function<bool()>& done) {
    return waitFor([&] {
        if (done()) {
            return true;
        }
        tab->appendLogRow({QStringLiteral("1"), QStringLiteral("2")}, true);
        return done();
    });
}

std::optional<ShownWarning> TabLogStage::takeWarning() {
    for (QMessageBox* box : tab->findChildren<QMessageBox*>()) {
        if (box->isVisible()) {
            const ShownWarning shown{box->windowTitle(), box->text()};
            EXPECT_EQ(box->icon(), QMessageBox::Warning);
            EXPECT_TRUE(box->isModal());
            box->accept();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return shown;
        }
    }
    return std::nullopt;
}

} // namespace qorn::testing

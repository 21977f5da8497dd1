#include "ProbeTab.h"
#include "QtPrinting.h"
#include "TabControls.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <functional>

namespace qorn::testing {
namespace {

struct SaveStage {
    SaveStage() {
        tab.buildColumn();
        tab.plotWidget()->setBars({1, 2, 3}, {4, 5, 6}, 0.8);
        tab.resize(500, 400);
        tab.show();
    }

    // Answers the file dialog, and the message box that may follow.
    void save(const std::function<void(QFileDialog&)>& answer) {
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, [&] {
            QWidget* dialog = QApplication::activeModalWidget();
            if (auto* files = qobject_cast<QFileDialog*>(dialog)) {
                answer(*files);
            } else if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
                boxTitle = box->windowTitle();
                boxText = box->text();
                box->accept();
            }
        });
        watch.start(0);
        tab.saveImage();
        EXPECT_TRUE(QTest::qWaitFor([] { return QApplication::activeModalWidget() == nullptr; }, 10000));
    }

    static void choose(QFileDialog& dialog, const QString& path) {
        dialog.selectFile(path);
        QMetaObject::invokeMethod(&dialog, "accept");
    }

    ProbeTab tab;
    QTemporaryDir folder;
    QString boxTitle;
    QString boxText;
};

TEST(SaveImage, AsksForAPictureFile) {
    SaveStage stage;
    int asked = 0;
    stage.save([&](QFileDialog& dialog) {
        ++asked;
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Save Plot Image"));
        EXPECT_EQ(dialog.nameFilters(), texts({"PNG image (*.png)", "JPEG image (*.jpg *.jpeg)"}));
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptSave);
        dialog.reject();
    });
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(stage.boxTitle.isEmpty());
}

TEST(SaveImage, WritesThePlotAsItLooks) {
    SaveStage stage;
    const QString path = stage.folder.filePath(QStringLiteral("plot.png"));
    stage.save([&](QFileDialog& dialog) { SaveStage::choose(dialog, path); });
    const QImage saved(path);
    ASSERT_FALSE(saved.isNull());
    EXPECT_EQ(saved.size(), stage.tab.plotWidget()->size());
    EXPECT_TRUE(saved.convertToFormat(QImage::Format_RGB32) == pictureOf(*stage.tab.plotWidget()));
    EXPECT_TRUE(stage.boxTitle.isEmpty());
}

TEST(SaveImage, AFileThatCannotBeWrittenIsReported) {
    SaveStage stage;
    const QString path = stage.folder.filePath(QStringLiteral("plot.nosuchformat"));
    stage.save([&](QFileDialog& dialog) { SaveStage::choose(dialog, path); });
    EXPECT_EQ(stage.boxTitle, QStringLiteral("Save failed"));
    EXPECT_EQ(stage.boxText, QStringLiteral("Could not write image file."));
}

TEST(SaveImage, ATabWithoutAPlotAsksNothing) {
    ProbeTab tab;
    tab.saveImage();
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

} // namespace
} // namespace qorn::testing

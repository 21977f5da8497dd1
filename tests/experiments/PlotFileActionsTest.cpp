// Plot data to and from files, through the dialogs and boxes that the operator sees.
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
#include <memory>

namespace qorn::testing {
namespace {

using timetagger::gui::BarChartWidget;
using Answer = std::function<void(QFileDialog&)>;

class PlotFileActions : public ::testing::Test {
protected:
    PlotFileActions() : tab(std::make_unique<ProbeTab>()) {
        tab->buildColumn();
        plot().setBars({1, 2, 3}, {4, 5, 6}, 0.8);
        tab->resize(500, 400);
        tab->show();
    }

    BarChartWidget& plot() { return *tab->plotWidget(); }
    QString path(const char* name) const { return folder.filePath(QString::fromLatin1(name)); }

    void write(const QString& file, const QByteArray& bytes) {
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::WriteOnly));
        ASSERT_EQ(target.write(bytes), bytes.size());
    }
    static QByteArray contents(const QString& file) {
        QFile source(file);
        return source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArray("(no file)");
    }

    // Runs an action, answers its file dialog and keeps the text of a box that follows.
    void run(const std::function<void()>& action, const Answer& answer) {
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, [&] {
            QWidget* dialog = QApplication::activeModalWidget();
            if (auto* files = qobject_cast<QFileDialog*>(dialog)) {
                answer(*files);
            } else if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
                told = box->windowTitle() + QStringLiteral(": ") + box->text();
                box->accept();
            }
        });
        watch.start(0);
        action();
        EXPECT_TRUE(QTest::qWaitFor([] { return QApplication::activeModalWidget() == nullptr; }, 10000));
    }
    void save(const Answer& answer) {
        run([this] { tab->saveDisplayedDataCsv(); }, answer);
    }
    void load(const QString& file) {
        run([this] { tab->loadDisplayedData(); }, [&](QFileDialog& dialog) { choose(dialog, file); });
    }
    static void choose(QFileDialog& dialog, const QString& file) {
        dialog.selectFile(file);
        QMetaObject::invokeMethod(&dialog, "accept");
    }
    static void chooseKind(QFileDialog& dialog, const QString& filter) {
        dialog.selectNameFilter(filter);
        Q_EMIT dialog.filterSelected(filter); // as a click on it does
    }

    QTemporaryDir folder;
    std::unique_ptr<ProbeTab> tab;
    QString told;
};

TEST_F(PlotFileActions, SavingOffersTheBinaryFormFirst) {
    save([](QFileDialog& dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Save Displayed Data"));
        EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptSave);
        EXPECT_EQ(dialog.nameFilters(), texts({"QORN plot data (*.qrnplot)", "CSV file (*.csv)"}));
        dialog.reject();
    });
    EXPECT_EQ(told, QString());
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

TEST_F(PlotFileActions, ANameWithoutSuffixGetsThatOfTheChosenKind) {
    save([&](QFileDialog& dialog) { choose(dialog, path("plain")); });
    EXPECT_EQ(contents(path("plain.qrnplot")), plot().toBinary());
    save([&](QFileDialog& dialog) {
        chooseKind(dialog, QStringLiteral("CSV file (*.csv)"));
        choose(dialog, path("plain"));
    });
    EXPECT_EQ(contents(path("plain.csv")), plot().toCsv().toUtf8());
    EXPECT_EQ(told, QString());
}

TEST_F(PlotFileActions, AKnownSuffixSaysTheForm) {
    save([&](QFileDialog& dialog) { choose(dialog, path("table.csv")); });
    EXPECT_EQ(contents(path("table.csv")), plot().toCsv().toUtf8());
    save([&](QFileDialog& dialog) {
        chooseKind(dialog, QStringLiteral("CSV file (*.csv)"));
        choose(dialog, path("data.qrnplot"));
    });
    EXPECT_EQ(contents(path("data.qrnplot")), plot().toBinary());
}

TEST_F(PlotFileActions, AFolderThatCannotBeWrittenIsTold) {
    save([&](QFileDialog& dialog) {
        // Only the dialog looks for the folder.
        dialog.reject();
        Q_EMIT dialog.fileSelected(path("nowhere/plot.csv"));
    });
    EXPECT_EQ(told, QStringLiteral("Save failed: Could not open data file for writing."));
}

TEST_F(PlotFileActions, WhatWasSavedIsLoadedInBothForms) {
    const QByteArray before = plot().toBinary();
    for (const char* name : {"plot.qrnplot", "plot.csv"}) {
        save([&](QFileDialog& dialog) { choose(dialog, path(name)); });
        plot().setBars({9}, {9}, 1);
        load(path(name));
        EXPECT_EQ(told, QString()) << name;
        EXPECT_EQ(plot().toCsv(), [&] {
            BarChartWidget same;
            EXPECT_TRUE(same.loadBinary(before, nullptr));
            return same.toCsv();
        }()) << name;
    }
}

TEST_F(PlotFileActions, LoadingOffersBothFormsAndAllFiles) {
    run([this] { tab->loadDisplayedData(); },
        [](QFileDialog& dialog) {
            EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Load Plot Data"));
            EXPECT_EQ(dialog.acceptMode(), QFileDialog::AcceptOpen);
            EXPECT_EQ(dialog.nameFilters(),
                      texts({"QORN plot data (*.qrnplot)", "CSV plot data (*.csv)", "All files (*)"}));
            dialog.reject();
        });
    EXPECT_EQ(told, QString());
}

TEST_F(PlotFileActions, AFileWithoutSuffixThatBeginsAsBinaryLoadsAsBinary) {
    BarChartWidget other;
    other.setBars({7, 8}, {70, 80}, 0.5);
    write(path("anything"), other.toBinary());
    load(path("anything"));
    EXPECT_EQ(told, QString());
    EXPECT_EQ(plot().toCsv(), other.toCsv());
}

TEST_F(PlotFileActions, AFileOfForeignContentsLeavesThePlotAlone) {
    const QByteArray before = plot().toBinary();
    for (const auto& [name, bytes] :
         {std::pair("a.qrnplot", QByteArray("QORNPLT")), std::pair("b.qrnplot", QByteArray("x,y\n1,2\n")),
          std::pair("c.csv", QByteArray("\xff\xfe\x00gibberish", 12)), std::pair("d", QByteArray())}) {
        write(path(name), bytes);
        told.clear();
        load(path(name));
        EXPECT_TRUE(told.startsWith(QStringLiteral("Load failed: "))) << name << told.toStdString();
        EXPECT_GT(told.size(), 15) << name;
        EXPECT_EQ(plot().toBinary(), before) << name;
    }
}

TEST_F(PlotFileActions, AFileAbove256MebibytesIsTooLarge) {
    QFile large(path("large.csv"));
    ASSERT_TRUE(large.open(QIODevice::WriteOnly));
    ASSERT_TRUE(large.resize(0x10000001)); // holds no blocks
    load(path("large.csv"));
    EXPECT_EQ(told, QStringLiteral("Load failed: The selected plot file is too large."));
}

TEST_F(PlotFileActions, AFileThatIsGoneCannotBeOpened) {
    run([this] { tab->loadDisplayedData(); },
        [&](QFileDialog& dialog) {
            dialog.reject();
            Q_EMIT dialog.fileSelected(path("gone.csv"));
        });
    EXPECT_EQ(told, QStringLiteral("Load failed: Could not open the selected data file."));
}

TEST_F(PlotFileActions, AnOpenDialogGoesWithItsTab) {
    tab->saveDisplayedDataCsv();
    ASSERT_NE(QApplication::activeModalWidget(), nullptr);
    tab.reset();
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

TEST(PlotFileActionsOfATabWithoutAPlot, AskNothing) {
    ProbeTab tab;
    tab.saveDisplayedDataCsv();
    tab.loadDisplayedData();
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
}

} // namespace
} // namespace qorn::testing

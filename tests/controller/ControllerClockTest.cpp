// The reference clock of a controller.
#include "ControllerTest.h"

#include <QtGlobal>

#include <gtest/gtest.h>

#include <mutex>

namespace qorn::timetagger::gui {
namespace {

using test::Texts;
using timing::ReferenceClockSource;
using timing::ReferenceSignal;

const char* const kUnavailable = "Clock control is unavailable on this device image.";

// Collects information lines while it lives; the handler that was there still gets every message.
class InformationLog {
public:
    InformationLog() {
        current = this;
        earlier = qInstallMessageHandler(&InformationLog::take);
    }
    ~InformationLog() {
        qInstallMessageHandler(earlier);
        current = nullptr;
    }
    InformationLog(const InformationLog&) = delete;
    InformationLog& operator=(const InformationLog&) = delete;

    QStringList lines;

private:
    static void take(QtMsgType type, const QMessageLogContext& context, const QString& text) {
        if (type == QtInfoMsg) {
            current->lines.append(text);
        } else {
            current->earlier(type, context, text);
        }
    }
    static InformationLog* current;
    QtMessageHandler earlier = nullptr;
};

InformationLog* InformationLog::current = nullptr;

class Clock : public test::ControllerTest {
protected:
    bool apply(ReferenceClockSource source, ReferenceSignal signal, QString* error) {
        return controller->applyReferenceClockConfig(source, signal, error);
    }
    const UiClockStatus& last() const { return signalled->clocks.back(); }
    void expectUnavailable(bool deviceOpen, ReferenceClockSource wish, ReferenceSignal signal,
                           const std::string& message) const {
        ASSERT_FALSE(signalled->clocks.empty());
        EXPECT_EQ(last().deviceOpen, deviceOpen);
        EXPECT_FALSE(last().available);
        EXPECT_EQ(last().requestedSource, wish);
        EXPECT_EQ(last().activeSource, ReferenceClockSource::Internal);
        EXPECT_EQ(last().outputSignal, signal);
        EXPECT_FALSE(last().referencePresent || last().referenceLocked || last().thirdFlag ||
                     last().fallbackActive || last().lockFault);
        EXPECT_EQ(last().message.toStdString(), message);
    }
};

TEST_F(Clock, WithoutADeviceTheWishIsKeptAndAppliedByTheNextOpening) {
    QString error = QStringLiteral("earlier");
    EXPECT_TRUE(apply(ReferenceClockSource::External, ReferenceSignal::OnePps, &error));
    EXPECT_EQ(error, QString());
    EXPECT_EQ(signalled->clocks.size(), 1U);
    expectUnavailable(false, ReferenceClockSource::External, ReferenceSignal::OnePps, "");
    EXPECT_TRUE(driver->calls().empty());
    controller->openPort(QStringLiteral("A"));
    ASSERT_TRUE(signalled->waitFor("clockStatusChanged", 2));
    EXPECT_EQ(driver->callsOf("tt_set_reference_clock"), Texts{"tt_set_reference_clock(2,1)"});
}

TEST_F(Clock, ApplyingSetsItAndTellsEveryWordOfTheState) {
    openDevice();
    driver->change([](auto& script) { script.clock = {2, 1, 1, 1, 0, 1, 1, 0, 4711}; });
    QString error = QStringLiteral("earlier");
    EXPECT_TRUE(apply(ReferenceClockSource::External, ReferenceSignal::OnePps, &error));
    EXPECT_EQ(driver->calls(), Texts{"tt_set_reference_clock(2,1)"});
    ASSERT_EQ(signalled->clocks.size(), 1U);
    EXPECT_TRUE(last().deviceOpen);
    EXPECT_TRUE(last().available);
    EXPECT_EQ(last().requestedSource, ReferenceClockSource::External);
    EXPECT_EQ(last().activeSource, ReferenceClockSource::Internal);
    EXPECT_EQ(last().outputSignal, ReferenceSignal::OnePps);
    EXPECT_TRUE(last().referencePresent);
    EXPECT_FALSE(last().referenceLocked);
    EXPECT_TRUE(last().thirdFlag);
    EXPECT_TRUE(last().fallbackActive);
    EXPECT_FALSE(last().lockFault);
    EXPECT_EQ(last().statusWord, 4711);
    EXPECT_EQ(last().message, QString());
}

TEST_F(Clock, DuringAMeasurementOrUploadOnlyTheWishChanges) {
    const QString refusal =
        QStringLiteral("Stop the current capture or calibration before changing clock settings.");
    openDevice();
    beginCounting();
    driver->clearLog();
    QString error;
    EXPECT_FALSE(apply(ReferenceClockSource::Automatic, ReferenceSignal::OnePps, &error));
    EXPECT_EQ(error, refusal);
    EXPECT_EQ(driver->count("tt_set_reference_clock"), 0);
    endCounting();
    beginUpload();
    driver->clearLog();
    error.clear();
    EXPECT_FALSE(apply(ReferenceClockSource::Automatic, ReferenceSignal::OnePps, &error));
    EXPECT_EQ(error, refusal);
    EXPECT_EQ(driver->count("tt_set_reference_clock"), 0);
    endUpload();
    // The wish was stored: the next measurement takes it.
    driver->clearLog();
    signalled->clear();
    beginCounting();
    EXPECT_EQ(driver->callsOf("tt_set_reference_clock"), Texts{"tt_set_reference_clock(0,1)"});
    endCounting();
}

TEST_F(Clock, AnImageWithoutControlIsKnownByItsStatusUntilTheNextOpening) {
    for (const auto& [status, word] :
         {std::pair(-3, "timed out"), std::pair(-4, "not supported"), std::pair(-7, "rejected")}) {
        openDevice();
        driver->fail("tt_set_reference_clock", status, "old image");
        const std::string what = std::string("set_reference_clock: ") + word + " (old image)";
        InformationLog log;
        QString error;
        EXPECT_FALSE(apply(ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, &error));
        EXPECT_EQ(error.toStdString(), kUnavailable);
        expectUnavailable(true, ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, what);
        ASSERT_EQ(log.lines.size(), 1);
        EXPECT_TRUE(log.lines[0].startsWith(QStringLiteral(
            "Reference clock control unavailable on this FPGA image; using fixed internal clock path:")));
        EXPECT_TRUE(log.lines[0].contains(QString::fromStdString(what)));
        // From now on it is not tried again.
        driver->clearFailures();
        driver->clearLog();
        EXPECT_FALSE(apply(ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, &error));
        EXPECT_EQ(error.toStdString(), kUnavailable);
        expectUnavailable(true, ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, kUnavailable);
        EXPECT_FALSE(apply(ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, nullptr));
        controller->refreshClockStatus();
        expectUnavailable(true, ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, kUnavailable);
        EXPECT_TRUE(driver->calls().empty());
        EXPECT_EQ(signalled->count("captureError"), 0);
        controller->close();
        openDevice(); // this opening tries again
        EXPECT_TRUE(apply(ReferenceClockSource::Automatic, ReferenceSignal::TenMegahertz, &error));
        controller->close();
    }
}

TEST_F(Clock, AnImageWithoutControlIsKnownFromTheOpening) {
    driver->fail("tt_set_reference_clock", -4);
    controller->openPort(QStringLiteral("A"));
    ASSERT_TRUE(signalled->waitFor("clockStatusChanged"));
    expectUnavailable(true, ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz,
                      "set_reference_clock: not supported");
    driver->clearLog();
    controller->refreshClockStatus();
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(Clock, AnotherFailureIsToldAndTriedAgain) {
    openDevice();
    for (const int status : {-1, -2, -5, -6, -8}) {
        driver->clearFailures();
        driver->fail("tt_set_reference_clock", status, "bus");
        signalled->clear();
        QString error;
        EXPECT_FALSE(apply(ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz, &error));
        EXPECT_TRUE(error.startsWith(QStringLiteral("set_reference_clock: "))) << error.toStdString();
        EXPECT_TRUE(error.endsWith(QStringLiteral(" (bus)")));
        EXPECT_EQ(signalled->count("captureError"), 0);
        // Without a place for the text it goes to the window.
        EXPECT_FALSE(apply(ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz, nullptr));
        EXPECT_EQ(signalled->textsOf("captureError"), Texts{"captureError(" + error.toStdString() + ")"});
        driver->clearFailures();
        EXPECT_TRUE(apply(ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz, &error));
    }
}

TEST_F(Clock, APollTellsTheState) {
    openDevice();
    driver->change([](auto& script) { script.clock = {2, 2, 0, 1, 1, 0, 0, 0, 1}; });
    controller->refreshClockStatus();
    EXPECT_EQ(driver->calls(), Texts{"tt_get_reference_clock_status()"});
    ASSERT_EQ(signalled->clocks.size(), 1U);
    EXPECT_TRUE(last().available && last().deviceOpen && last().referenceLocked);
    EXPECT_EQ(last().activeSource, ReferenceClockSource::External);
}

TEST_F(Clock, APollWithoutADeviceTellsThatThereIsNone) {
    controller->setReferenceClockWish(ReferenceClockSource::External, ReferenceSignal::OnePps);
    controller->refreshClockStatus();
    expectUnavailable(false, ReferenceClockSource::External, ReferenceSignal::OnePps, "");
    EXPECT_TRUE(driver->calls().empty());
}

TEST_F(Clock, APollDuringAMeasurementOrUploadDoesNothing) {
    openDevice();
    beginCounting();
    test::processQueued();
    driver->clearLog();
    signalled->clear();
    controller->refreshClockStatus();
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_TRUE(signalled->clocks.empty());
    endCounting();
    beginUpload();
    driver->clearLog();
    signalled->clear();
    controller->refreshClockStatus();
    EXPECT_TRUE(driver->calls().empty());
    EXPECT_TRUE(signalled->clocks.empty());
    endUpload();
}

TEST_F(Clock, AFailedPollIsToldAndOnlySomeEndThePolling) {
    struct Row {
        int status;
        const char* word;
        bool ends;
    };
    for (const Row& row :
         {Row{-3, "timed out", true}, Row{-4, "not supported", true}, Row{-7, "rejected", true},
          Row{-1, "general failure", false}, Row{-2, "file failure", false}, Row{-5, "no device", false}}) {
        openDevice();
        driver->fail("tt_get_reference_clock_status", row.status, "bus");
        controller->refreshClockStatus();
        expectUnavailable(true, ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz,
                          std::string("reference_clock_status: ") + row.word + " (bus)");
        EXPECT_EQ(signalled->count("captureError"), 0);
        driver->clearFailures();
        driver->clearLog();
        controller->refreshClockStatus();
        EXPECT_EQ(driver->count("tt_get_reference_clock_status"), row.ends ? 0 : 1) << row.status;
        EXPECT_EQ(last().available, !row.ends);
        controller->close();
    }
}

} // namespace
} // namespace qorn::timetagger::gui

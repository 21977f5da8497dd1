// What the "Device" menu does with the answers of its dialogs: what is sent, kept and told.
#include "ClockWish.h"
#include "DialogStage.h"
#include "ExperimentCatalog.h"
#include "OperatedWindow.h"
#include "QtPrinting.h"
#include "RelayServer.h"
#include "StoredSettings.h"
#include "TemporaryFolder.h"

#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::click;
using qorn::testing::control;
using qorn::testing::text;
using qorn::testing::texts;
using Texts = std::vector<std::string>;

class DeviceMenu : public ::testing::Test {
protected:
    void SetUp() override { stage.openDevice(); }

    // Accepts the dialog of the entry with what `set` leaves in it.
    void apply(const char* entry, const char* title, const std::function<void(QDialog&)>& set) {
        stage.answer(title, [set](QDialog& dialog) {
            set(dialog);
            click(dialog, "Apply");
        });
        stage.use(entry);
    }
    void cancel(const char* entry, const char* title, const std::function<void(QDialog&)>& set) {
        stage.answer(title, [set](QDialog& dialog) {
            set(dialog);
            click(dialog, "Cancel");
        });
        stage.use(entry);
    }

    qorn::testing::OperatedWindow stage;
    qorn::testing::ScopedDriver& driver = stage.driver;
};

TEST_F(DeviceMenu, HasItsEntriesInTheirOrder) {
    EXPECT_EQ(stage.entries(), texts({"&Calibrate...", "Clock settings...", "Network relay...",
                                      "&Input settings...", "-", "De&veloper settings..."}));
    EXPECT_EQ(stage.entry("De&veloper settings...").toolTip(),
              text("TDL masks, calibration controls, and stream-format settings."));
}

TEST_F(DeviceMenu, IsEnabledAsFarAsTheDeviceIsFree) {
    const char* const all[] = {"&Calibrate...", "Clock settings...", "Network relay...", "&Input settings...",
                               "De&veloper settings..."};
    for (const char* entry : all) {
        EXPECT_TRUE(stage.entry(entry).isEnabled()) << entry;
    }
    driver->hold("tt_upload_calibration_file");
    stage.controller().uploadCalibrationFile(text("/data/a.cal"));
    ASSERT_TRUE(driver->waitUntilHeld("tt_upload_calibration_file"));
    for (const char* entry : all) {
        EXPECT_EQ(stage.entry(entry).isEnabled(), std::string(entry) == "Network relay...") << entry;
    }
    driver->release("tt_upload_calibration_file");
    EXPECT_TRUE(qorn::testing::waitUntil([&] { return stage.entry("&Calibrate...").isEnabled(); }));
    stage.controller().close();
    for (const char* entry : all) {
        EXPECT_FALSE(stage.entry(entry).isEnabled()) << entry;
    }
}

// --- clock -------------------------------------------------------------------------------------------------

const QString kClockMode = QStringLiteral("setup/referenceClockMode");

TEST_F(DeviceMenu, AClockThatIsAppliedIsSentKeptAndReadAgain) {
    apply("Clock settings...", "Clock settings", [](QDialog& dialog) {
        control<QComboBox>(dialog, "source").setCurrentIndex(2);
        control<QComboBox>(dialog, "output").setCurrentIndex(1);
    });
    EXPECT_EQ(driver->callsOf("tt_set_reference_clock"), Texts{"tt_set_reference_clock(2,1)"});
    EXPECT_GE(driver->count("tt_get_reference_clock_status"), 1);
    EXPECT_EQ(testing::storedSettings().value(kClockMode).toInt(), 6);
    EXPECT_EQ(stage.status(), text("Clock settings applied."));
    EXPECT_EQ(stage.statusTime(), 3000);
    cancel("Clock settings...", "Clock settings", [](QDialog& dialog) {
        EXPECT_EQ(control<QComboBox>(dialog, "source").currentText(), text("External 10 MHz input"));
        EXPECT_EQ(control<QComboBox>(dialog, "output").currentText(), text("1 PPS"));
    });
}

TEST_F(DeviceMenu, AClockThatIsRefusedIsToldAndNotKept) {
    const std::pair<tt_status, const char*> rows[] = {
        {TT_FAILED, "set_reference_clock: general failure (no such clock)"},
        {TT_REJECTED, "Clock control is unavailable on this device image."}}; // which stays so
    for (const auto& [status, told] : rows) {
        driver->fail("tt_set_reference_clock", status, "no such clock", 1);
        stage.answer("Clock settings", [](QDialog& dialog) {
            control<QComboBox>(dialog, "source").setCurrentIndex(2);
            click(dialog, "Apply");
        });
        stage.expectBox("Clock settings", text(told));
        stage.use("Clock settings...");
        EXPECT_FALSE(testing::storedSettings().contains(kClockMode));
        EXPECT_FALSE(stage.takeShown().contains(text("Clock settings applied.")));
    }
}

TEST_F(DeviceMenu, ACanceledClockChangesNothing) {
    driver->clearLog();
    cancel("Clock settings...", "Clock settings",
           [](QDialog& dialog) { control<QComboBox>(dialog, "source").setCurrentIndex(2); });
    EXPECT_EQ(driver->count("tt_set_reference_clock"), 0);
    EXPECT_FALSE(testing::storedSettings().contains(kClockMode));
    EXPECT_TRUE(stage.takeShown().isEmpty());
}

TEST_F(DeviceMenu, TheClockDialogTellsTheLastStatus) {
    driver->change([](auto& script) {
        script.clock = {};
        script.clock.requested_source = 2;
        script.clock.active_source = 2;
        script.clock.output_signal = 1;
        script.clock.reference_present = 1;
        script.clock.reference_locked = 1;
    });
    stage.controller().refreshClockStatus();
    EXPECT_TRUE(
        qorn::testing::waitUntil([&] { return stage.flag("Clock lock:") == text("Clock lock: external"); }));
    EXPECT_EQ(stage.flagState("Clock lock:"), text("good"));
    EXPECT_EQ(stage.flag("Clock out:"), text("Clock out: 1 PPS"));
    cancel("Clock settings...", "Clock settings", [](QDialog& dialog) {
        EXPECT_EQ(control<QLabel>(dialog, "current").text(), text("Current: External source, 1 PPS output"));
    });
}

TEST(StoredClock, IsSentWhenADeviceOpens) {
    struct Row {
        int mode; // below 0: none is stored
        const char* call;
    };
    for (const Row& row : {Row{-1, "tt_set_reference_clock(1,0)"}, Row{0, "tt_set_reference_clock(0,0)"},
                           Row{1, "tt_set_reference_clock(1,0)"}, Row{3, "tt_set_reference_clock(0,0)"},
                           Row{4, "tt_set_reference_clock(0,1)"}, Row{5, "tt_set_reference_clock(1,1)"},
                           Row{6, "tt_set_reference_clock(2,1)"}}) {
        if (row.mode >= 0) {
            testing::storedSettings().setValue(kClockMode, row.mode);
        }
        qorn::testing::OperatedWindow stage;
        stage.window().openStartupPort(text("ftdi://SN0001"));
        EXPECT_TRUE(
            qorn::testing::waitUntil([&] { return stage.driver->count("tt_set_reference_clock") > 0; }));
        EXPECT_EQ(stage.driver->callsOf("tt_set_reference_clock"), Texts{row.call}) << row.mode;
    }
}

// --- inputs ------------------------------------------------------------------------------------------------

TEST_F(DeviceMenu, InputsAreSentAndKept) {
    const char* const entry = "&Input settings...";
    apply(entry, "Input settings", [](QDialog& dialog) {
        for (int input = 1; input <= 4; ++input) {
            control<QDoubleSpinBox>(dialog, QStringLiteral("threshold%1").arg(input)).setValue(input);
            control<QDoubleSpinBox>(dialog, QStringLiteral("deadTime%1").arg(input)).setValue(10.0 * input);
        }
    });
    EXPECT_EQ(driver->count("tt_set_dac_codes"), 1);
    EXPECT_EQ(driver->callsOf("tt_set_input_dead_times"),
              Texts{"tt_set_input_dead_times(10000,20000,30000,40000)"});
    EXPECT_EQ(stage.controller().inputSettings().thresholdsV, (std::array<double, 4>{1, 2, 3, 4}));
    cancel(entry, "Input settings", [](QDialog& dialog) {
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "threshold3").value(), 3.0);
        EXPECT_NEAR(control<QDoubleSpinBox>(dialog, "deadTime2").value(), 20.0, 0.01);
    });
}

TEST_F(DeviceMenu, InputsAreToldByTheAppliedValues) {
    struct Row {
        std::array<std::int64_t, 4> appliedPs;
        const char* status;
    };
    for (const Row& row :
         {Row{{0, 0, 0, 0}, "Thresholds updated; input dead time disabled"},
          Row{{6667, 6667, 6667, 6667}, "Thresholds updated; input dead time set to 6.667 ns on all inputs"},
          Row{{0, 3334, 1000000, 1000000000},
              "Input settings updated: IN1 0.000 ns, IN2 3.334 ns, IN3 1000.000 ns, IN4 1000000.000 ns"}}) {
        driver->change([&](auto& script) { script.appliedDeadTimesPs = row.appliedPs; });
        stage.takeShown();
        apply("&Input settings...", "Input settings", [](QDialog& dialog) {
            control<QCheckBox>(dialog, "applyDeadTimeToAll").setChecked(true);
            control<QDoubleSpinBox>(dialog, "deadTimeAll").setValue(5.0);
        });
        EXPECT_EQ(stage.statusTime(), 4000);
        EXPECT_EQ(stage.takeShown(), QStringList{text(row.status)});
    }
    EXPECT_EQ(driver->callsOf("tt_set_input_dead_times").front(),
              "tt_set_input_dead_times(5000,5000,5000,5000)");
}

TEST_F(DeviceMenu, NoDeadTimeOnAllInputsReadsDisabled) {
    apply("&Input settings...", "Input settings", [](QDialog& dialog) {
        control<QCheckBox>(dialog, "applyDeadTimeToAll").setChecked(true);
        control<QDoubleSpinBox>(dialog, "deadTimeAll").setValue(0.0);
    });
    EXPECT_EQ(stage.status(), text("Thresholds updated; input dead time disabled"));
}

TEST_F(DeviceMenu, RefusedThresholdsAreToldAndNoDeadTimeIsSent) {
    driver->fail("tt_set_dac_codes", TT_REJECTED, "dac");
    stage.answer("Input settings", [](QDialog& dialog) { click(dialog, "Apply"); });
    stage.expectBox("Input settings", text("set_dac_codes: rejected (dac)"));
    stage.use("&Input settings...");
    EXPECT_EQ(driver->count("tt_set_input_dead_times"), 0);
    EXPECT_TRUE(stage.takeShown().isEmpty());
}

TEST_F(DeviceMenu, RefusedDeadTimesAreToldBesideTheThresholds) {
    driver->fail("tt_set_input_dead_times", TT_REJECTED, "too long");
    stage.answer("Input settings", [](QDialog& dialog) { click(dialog, "Apply"); });
    stage.expectBox("Input settings", text("Thresholds were updated, but dead time could not be applied: "
                                           "rejected: too long"));
    stage.use("&Input settings...");
    EXPECT_EQ(driver->count("tt_set_dac_codes"), 1);
}

TEST_F(DeviceMenu, CanceledInputsChangeNothing) {
    cancel("&Input settings...", "Input settings", [](QDialog& dialog) {
        control<QDoubleSpinBox>(dialog, "threshold1").setValue(3.0);
        control<QDoubleSpinBox>(dialog, "deadTime1").setValue(30.0);
    });
    EXPECT_EQ(driver->count("tt_set_dac_codes"), 0);
    EXPECT_EQ(driver->count("tt_set_input_dead_times"), 0);
    EXPECT_TRUE(stage.takeShown().isEmpty());
}

// --- relay -------------------------------------------------------------------------------------------------

const QString kStreamPort = QStringLiteral("relay/streamPort");
const QString kStatusPort = QStringLiteral("relay/statusPort");

// Two ports that are free now.
std::pair<int, int> freePorts() {
    relay::RelayServer server;
    EXPECT_TRUE(server.start(0, 0, nullptr));
    return {server.stats().stream_port, server.stats().status_port};
}

TEST_F(DeviceMenu, TheRelayBeginsWithTheUsualPortsOrThoseOfTheSettings) {
    const auto expectPorts = [this](int streamPort, int statusPort) {
        cancel("Network relay...", "Network relay", [=](QDialog& dialog) {
            EXPECT_FALSE(control<QCheckBox>(dialog, "publish").isChecked());
            EXPECT_EQ(control<QSpinBox>(dialog, "streamPort").value(), streamPort);
            EXPECT_EQ(control<QSpinBox>(dialog, "statusPort").value(), statusPort);
        });
    };
    expectPorts(7355, 7356);
    testing::storedSettings().setValue(kStreamPort, 40001);
    testing::storedSettings().setValue(kStatusPort, 40002);
    expectPorts(40001, 40002);
}

TEST_F(DeviceMenu, ACanceledRelaySavesNoPort) {
    cancel("Network relay...", "Network relay", [](QDialog& dialog) {
        control<QCheckBox>(dialog, "publish").setChecked(true);
        control<QSpinBox>(dialog, "streamPort").setValue(1234);
    });
    EXPECT_FALSE(testing::storedSettings().contains(kStreamPort));
    EXPECT_FALSE(testing::storedSettings().contains(kStatusPort));
    EXPECT_FALSE(stage.controller().relayServerStats().running);
}

TEST_F(DeviceMenu, PublishingStartsAndStopsTheServer) {
    const std::pair<int, int> ports = freePorts();
    const int streamPort = ports.first;
    const int statusPort = ports.second;
    apply("Network relay...", "Network relay", [&](QDialog& dialog) {
        control<QCheckBox>(dialog, "publish").setChecked(true);
        control<QSpinBox>(dialog, "streamPort").setValue(streamPort);
        control<QSpinBox>(dialog, "statusPort").setValue(statusPort);
    });
    EXPECT_EQ(stage.status(), QStringLiteral("Network relay listening on stream port %1 and status port %2.")
                                  .arg(streamPort)
                                  .arg(statusPort));
    EXPECT_EQ(stage.statusTime(), 6000);
    EXPECT_EQ(testing::storedSettings().value(kStreamPort).toInt(), streamPort);
    EXPECT_EQ(testing::storedSettings().value(kStatusPort).toInt(), statusPort);
    EXPECT_TRUE(stage.controller().relayServerStats().running);
    testing::storedSettings().setValue(kStreamPort, 40001); // the running ports are shown all the same
    apply("Network relay...", "Network relay", [&](QDialog& dialog) {
        EXPECT_TRUE(control<QCheckBox>(dialog, "publish").isChecked());
        EXPECT_EQ(control<QSpinBox>(dialog, "streamPort").value(), streamPort);
        EXPECT_EQ(control<QSpinBox>(dialog, "statusPort").value(), statusPort);
        EXPECT_TRUE(
            qorn::testing::tellsMuted(dialog, text("0 peer stream connection(s), 0 status connection(s)")));
        control<QCheckBox>(dialog, "publish").setChecked(false);
    });
    EXPECT_EQ(stage.status(), text("Network relay stopped."));
    EXPECT_EQ(stage.statusTime(), 6000);
    EXPECT_FALSE(stage.controller().relayServerStats().running);
}

TEST_F(DeviceMenu, APortInUseIsToldAndTheChoiceIsSavedAllTheSame) {
    relay::RelayServer occupant;
    ASSERT_TRUE(occupant.start(0, 0, nullptr));
    const int port = occupant.stats().stream_port;
    stage.answer("Network relay", [&](QDialog& dialog) {
        control<QCheckBox>(dialog, "publish").setChecked(true);
        control<QSpinBox>(dialog, "streamPort").setValue(port);
        control<QSpinBox>(dialog, "statusPort").setValue(freePorts().second);
        click(dialog, "Apply");
    });
    bool told = false;
    stage.answer("Network relay", [&](QDialog& dialog) {
        auto* box = qobject_cast<QMessageBox*>(&dialog);
        ASSERT_NE(box, nullptr);
        told = box->icon() == QMessageBox::Warning && !box->text().isEmpty();
        box->accept();
    });
    stage.use("Network relay...");
    EXPECT_TRUE(told);
    EXPECT_EQ(testing::storedSettings().value(kStreamPort).toInt(), port);
    EXPECT_FALSE(stage.controller().relayServerStats().running);
    EXPECT_TRUE(stage.takeShown().isEmpty());
}

// --- developer ---------------------------------------------------------------------------------------------

const char* const kDeveloper = "De&veloper settings...";

void tickLines(const QWidget& dialog, int input, int mask) {
    for (int line = 0; line < 3; ++line) {
        control<QCheckBox>(dialog, QStringLiteral("tdl%1%2").arg(input).arg(line + 1))
            .setChecked((mask >> line & 1) != 0);
    }
}

TEST_F(DeviceMenu, DeveloperSettingsAreSentAndKept) {
    apply(kDeveloper, "Developer settings", [](QDialog& dialog) {
        tickLines(dialog, 1, 3);
        tickLines(dialog, 4, 6);
        control<QComboBox>(dialog, "streamFormat").setCurrentIndex(2);
        control<QCheckBox>(dialog, "internalSource").setChecked(true);
        control<QDoubleSpinBox>(dialog, "internalRate").setValue(55.5);
        control<QDoubleSpinBox>(dialog, "duration").setValue(0.5);
        control<QDoubleSpinBox>(dialog, "rate").setValue(20.0);
        control<QSpinBox>(dialog, "steps").setValue(8);
    });
    EXPECT_EQ(driver->callsOf("tt_set_tdl_active_masks"), Texts{"tt_set_tdl_active_masks(3,7,7,6)"});
    EXPECT_EQ(stage.status(), text("Developer settings applied."));
    EXPECT_EQ(stage.statusTime(), 4000);
    const StreamSettings& stream = stage.controller().streamSettings();
    EXPECT_EQ(stream.format, StreamChoice::Raw64);
    EXPECT_EQ(stream.interface, StreamInterface::Usb);
    EXPECT_FALSE(stream.uartArmed);
    EXPECT_EQ(stream.packedDeltaBits, 16);
    EXPECT_EQ(stream.packedQuantumPs, 8);
    cancel(kDeveloper, "Developer settings", [](QDialog& dialog) {
        EXPECT_FALSE(control<QCheckBox>(dialog, "tdl13").isChecked());
        EXPECT_FALSE(control<QCheckBox>(dialog, "tdl41").isChecked());
        EXPECT_TRUE(control<QCheckBox>(dialog, "tdl43").isChecked());
        EXPECT_EQ(control<QComboBox>(dialog, "streamFormat").currentIndex(), 2);
        EXPECT_TRUE(control<QCheckBox>(dialog, "internalSource").isChecked());
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "internalRate").value(), 55.5);
        EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 8);
    });
    stage.answer("Calibration", [](QDialog& dialog) { // the same three numbers there
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "duration").value(), 0.5);
        EXPECT_EQ(control<QDoubleSpinBox>(dialog, "rate").value(), 20.0);
        EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 8);
        dialog.reject();
    });
    stage.use("&Calibrate...");
}

TEST_F(DeviceMenu, AlwaysSelectsTheUsbPath) {
    StreamSettings service;
    service.interface = StreamInterface::UartService;
    service.uartArmed = true;
    service.packedDeltaBits = 20;
    service.packedQuantumPs = 16;
    stage.controller().setStreamSettings(service);
    apply(kDeveloper, "Developer settings", [](QDialog&) {});
    const StreamSettings& stream = stage.controller().streamSettings();
    EXPECT_EQ(stream.interface, StreamInterface::Usb);
    EXPECT_FALSE(stream.uartArmed);
    EXPECT_EQ(stream.packedDeltaBits, 16);
    EXPECT_EQ(stream.packedQuantumPs, 8);
}

TEST_F(DeviceMenu, TheInternalSourceIsThatOfTheNextMeasurement) {
    ExperimentTab* tab = createExperiment(text("Time tags"));
    stage.window().addExperimentTab(tab);
    apply(kDeveloper, "Developer settings", [](QDialog& dialog) {
        control<QCheckBox>(dialog, "internalSource").setChecked(true);
        control<QDoubleSpinBox>(dialog, "internalRate").setValue(55.5);
    });
    driver->clearLog();
    Q_EMIT tab->startRequested();
    ASSERT_TRUE(driver->waitForCall("tt_start_stream_mode"));
    EXPECT_TRUE(driver->callsOf("tt_start_stream_mode")[0].starts_with("tt_start_stream_mode(0,"));
    EXPECT_EQ(driver->callsOf("tt_set_calibration_freq"), Texts{"tt_set_calibration_freq(55500)"});
    stage.controller().stopCapture();
    EXPECT_TRUE(qorn::testing::waitUntil([&] { return !stage.controller().isCapturing(); }));
}

TEST_F(DeviceMenu, AllTabsLearnOfTheSourceAndTheFormat) {
    const qorn::testing::TemporaryFolder folder;
    ExperimentTab* first = createExperiment(text("Counter"));
    ExperimentTab* second = createExperiment(text("Counter"));
    stage.window().addExperimentTab(first);
    stage.window().addExperimentTab(second);
    apply(kDeveloper, "Developer settings", [](QDialog& dialog) {
        control<QComboBox>(dialog, "streamFormat").setCurrentIndex(1);
        control<QCheckBox>(dialog, "internalSource").setChecked(true);
    });
    for (ExperimentTab* tab : {first, second}) {
        ASSERT_TRUE(tab->startLogInDirectory(QString::fromStdString(folder.path().string())));
        const std::string path = tab->currentLogPath().toStdString();
        tab->stopLog();
        const qorn::testing::Bytes bytes = qorn::testing::readBytes(path);
        const std::string log(bytes.begin(), bytes.end());
        EXPECT_NE(log.find("# Source: internal\n"), std::string::npos) << log;
        EXPECT_NE(log.find("# Stream transport: USB / Delta32\n"), std::string::npos) << log;
    }
}

TEST_F(DeviceMenu, OneLineAloneIsAskedAbout) {
    struct Row {
        std::array<int, 4> masks;
        const char* inputs;
    };
    for (const Row& row :
         {Row{{1, 7, 7, 7}, "IN1"}, Row{{7, 2, 7, 4}, "IN2, IN4"}, Row{{1, 1, 2, 4}, "IN1, IN2, IN3, IN4"}}) {
        for (const bool yes : {false, true}) {
            driver->clearLog();
            stage.takeShown();
            stage.answer("Developer settings", [&](QDialog& dialog) {
                for (int input = 1; input <= 4; ++input) {
                    tickLines(dialog, input, row.masks[static_cast<std::size_t>(input - 1)]);
                }
                click(dialog, "Apply");
            });
            bool asked = false;
            const auto answerQuestion = [&](QDialog& dialog) {
                auto* box = qobject_cast<QMessageBox*>(&dialog);
                ASSERT_NE(box, nullptr);
                asked = true;
                EXPECT_EQ(box->icon(), QMessageBox::Warning);
                EXPECT_EQ(
                    box->text(),
                    QStringLiteral("Only one TDL is active on %1. This is useful for diagnostics, but it "
                                   "reduces timing resolution. Continue?")
                        .arg(text(row.inputs)));
                EXPECT_EQ(box->standardButtons(), QMessageBox::Yes | QMessageBox::No);
                EXPECT_EQ(box->defaultButton(), box->button(QMessageBox::No));
                box->button(yes ? QMessageBox::Yes : QMessageBox::No)->click();
            };
            stage.answerAny(answerQuestion);
            stage.use(kDeveloper);
            EXPECT_TRUE(asked);
            EXPECT_EQ(driver->count("tt_set_tdl_active_masks"), yes ? 1 : 0);
            EXPECT_EQ(stage.takeShown().contains(text("Developer settings applied.")), yes);
        }
    }
}

TEST_F(DeviceMenu, NoLineAtAllPasses) {
    apply(kDeveloper, "Developer settings", [](QDialog& dialog) {
        for (int input = 1; input <= 4; ++input) {
            tickLines(dialog, input, input == 2 ? 0 : 7);
        }
    });
    EXPECT_EQ(driver->callsOf("tt_set_tdl_active_masks"), Texts{"tt_set_tdl_active_masks(7,0,7,7)"});
    EXPECT_EQ(stage.status(), text("Developer settings applied."));
}

TEST_F(DeviceMenu, RefusedMasksAreTold) {
    driver->fail("tt_set_tdl_active_masks", TT_REJECTED, "no lines");
    stage.answer("Developer settings", [](QDialog& dialog) { click(dialog, "Apply"); });
    stage.expectBox("TDL masks",
                    text("Could not apply TDL masks: set_tdl_active_masks: rejected (no lines)"));
    stage.use(kDeveloper);
}

TEST_F(DeviceMenu, CanceledDeveloperSettingsChangeNothing) {
    cancel(kDeveloper, "Developer settings", [](QDialog& dialog) {
        tickLines(dialog, 1, 3);
        control<QComboBox>(dialog, "streamFormat").setCurrentIndex(2);
        control<QSpinBox>(dialog, "steps").setValue(8);
    });
    EXPECT_EQ(driver->count("tt_set_tdl_active_masks"), 0);
    EXPECT_EQ(stage.controller().streamSettings().format, StreamChoice::PackedDelta);
    EXPECT_TRUE(stage.takeShown().isEmpty());
    cancel(kDeveloper, "Developer settings",
           [](QDialog& dialog) { EXPECT_EQ(control<QSpinBox>(dialog, "steps").value(), 72); });
}

TEST_F(DeviceMenu, DeveloperUploadsActAtOnce) {
    driver->change([](auto& script) { script.calibrationPath = "/data/saved.cal"; });
    stage.answer("Developer settings", [](QDialog& dialog) {
        tickLines(dialog, 1, 3);
        click(dialog, "Upload saved calibration");
    });
    stage.use(kDeveloper);
    EXPECT_TRUE(driver->waitForCall("tt_upload_calibration_file"));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(/data/saved.cal)"});
    EXPECT_TRUE(qorn::testing::waitUntil([&] { return !stage.controller().isCalibrating(); }));
    EXPECT_EQ(driver->callsOf("tt_set_tdl_active_masks"), Texts{"tt_set_tdl_active_masks(7,7,7,7)"});
    EXPECT_FALSE(stage.takeShown().contains(text("Developer settings applied.")));
}

TEST_F(DeviceMenu, ADeveloperUploadOfAFileSendsTheChosenOne) {
    const qorn::testing::TemporaryFolder folder;
    qorn::testing::writeBytes(folder.path() / "some.cal", qorn::testing::Bytes{1});
    const QString path = QString::fromStdString(folder.file("some.cal"));
    qorn::testing::withFileDialog([&](QFileDialog& files) { qorn::testing::choose(files, path); },
                                  [&] {
                                      stage.answer("Developer settings", [](QDialog& dialog) {
                                          click(dialog, "Upload calibration file...");
                                      });
                                      stage.use(kDeveloper);
                                  });
    EXPECT_TRUE(driver->waitForCall("tt_upload_calibration_file"));
    EXPECT_EQ(driver->callsOf("tt_upload_calibration_file"),
              Texts{"tt_upload_calibration_file(" + path.toStdString() + ")"});
    EXPECT_TRUE(qorn::testing::waitUntil([&] { return !stage.controller().isCalibrating(); }));
}

} // namespace
} // namespace qorn::timetagger::gui

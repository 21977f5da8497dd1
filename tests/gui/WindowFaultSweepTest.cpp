// Each call that a session makes of the driver fails once, at each place where the session makes it. The
// operator is told, the window stays of use, recordings stay whole, and the next session works.
//
// tt_close and tt_discover_free cannot fail. Calls that poll come without end: of these the first, the
// second, the tenth and the one that a stop finds running.
#include "QtPrinting.h"
#include "WindowFaultSweepSteps.h"

#include <QMessageBox>

#include <algorithm>
#include <set>
#include <vector>

namespace qorn::testing {
namespace {

constexpr const char* kCannotFail[] = {"tt_close", "tt_discover_free"};
constexpr const char* kRecordingSteps[] = {"Recording", "InternalRecording", "CloseWhileRecording"};

// One session of the sweep.
struct Case {
    FaultingDriver::Fault fault;
    bool holdLast = false;

    std::string text() const {
        return std::string(fault.effect == FaultingDriver::Effect::Whole ? "answer lost of " : "") +
               fault.function + (holdLast ? " at the stop" : " number " + std::to_string(fault.number)) +
               (fault.after.empty() ? ""
                                    : " behind " + fault.after + " " + std::to_string(fault.afterNumber));
    }
};

bool isPolled(const Step& step, const std::string& function) {
    // The coincidence counter is set anew for each gate.
    const bool perGate = step.name == std::string("Coincidence") &&
                         (function == "tt_set_period_cycles" || function == "tt_set_window_cycles");
    return perGate || (step.polled != nullptr && function == step.polled);
}

template <typename Names>
bool isOneOf(const Names& names, const std::string& name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Whether a call on an open unit may have its effect and fail all the same. What others leave behind then
// belongs to nobody.
bool canLoseItsAnswer(const std::string& function) {
    return function.starts_with("tt_") && !function.starts_with("tt_discover") &&
           !function.starts_with("tt_open");
}

std::vector<Case> casesOf(const Step& step, const FaultingDriver::Counts& counts) {
    std::vector<Case> cases;
    for (const auto& [function, count] : counts) {
        if (isOneOf(kCannotFail, function) || (!step.only.empty() && !isOneOf(step.only, function))) {
            continue;
        }
        const bool polled = isPolled(step, function);
        for (std::uint64_t number = 1; number <= count; ++number) {
            const bool chosen = polled ? number <= 2 || number == kPolls - 1 : true;
            // The act's own poll of the clock; further ones are the timer's, for which ClockPolls stands.
            const bool byTimer = function == kClockPoll && !polled && number > 1;
            if (chosen && !byTimer) {
                cases.push_back({{function, number, "", 0}});
                if (canLoseItsAnswer(function)) {
                    cases.push_back({{function, number, "", 0, FaultingDriver::Effect::Whole}});
                }
            }
        }
    }
    for (const FaultingDriver::Fault& fault : step.more) {
        cases.push_back({fault});
    }
    if (step.polled != nullptr && step.polled != std::string(kClockPoll) && step.more.empty()) {
        cases.push_back({{step.polled, 0, "", 0}, true});
    }
    return cases;
}

const Telling* tellingOf(const Step& step, const Case& wanted) {
    for (const Telling& row : step.tellings) {
        if (row.function == wanted.fault.function && (row.number == 0 || row.number == wanted.fault.number)) {
            return &row;
        }
    }
    return nullptr;
}

void begin(FaultSweepStage& stage, const Step& step) {
    if (!step.connected) {
        stage.closeDevice();
    }
    step.prepare(stage);
    EXPECT_TRUE(stage.boxes().isEmpty());
    stage.listen();
}

void expectTold(FaultSweepStage& stage, const Telling& row) {
    const QString words = QString::fromUtf8(row.words);
    const QList<QMessageBox*> boxes = stage.boxes();
    ASSERT_EQ(boxes.size(), row.shown == Shown::Box ? 1 : 0)
        << (boxes.isEmpty() ? "" : boxes.constFirst()->text().toStdString());
    switch (row.shown) {
    case Shown::Box:
        EXPECT_EQ(boxes.constFirst()->windowTitle(), QString::fromUtf8(row.title));
        EXPECT_EQ(boxes.constFirst()->icon(), QMessageBox::Warning);
        EXPECT_TRUE(boxes.constFirst()->text().contains(words)) << boxes.constFirst()->text().toStdString();
        EXPECT_FALSE(words.isEmpty()) << "any text would do";
        if (boxes.constFirst()->windowTitle() == QLatin1String("Open failed")) {
            EXPECT_FALSE(stage.controller().hasDevice());
            EXPECT_TRUE(stage.saysOnConnectPage(words));
        }
        break;
    case Shown::Flag:
        EXPECT_TRUE(stage.waitForFlag(row.title));
        EXPECT_EQ(stage.flagState(row.title), QStringLiteral("warning"));
        break;
    case Shown::Message:
        EXPECT_TRUE(stage.messages().contains(words))
            << stage.messages().join(QStringLiteral(" | ")).toStdString();
        break;
    case Shown::ConnectPage:
        EXPECT_TRUE(stage.saysOnConnectPage(words));
        break;
    case Shown::Nowhere:
        for (const QString& message : stage.messages()) {
            EXPECT_FALSE(message.contains(QLatin1String("general failure"))) << message.toStdString();
        }
        break;
    }
}

void expectMeasures(FaultSweepStage& stage) {
    gui::ExperimentTab& tab = stage.counterTab();
    WindowStage::press(tab, "Play");
    EXPECT_TRUE(stage.waitForData(tab));
    WindowStage::press(tab, "Stop");
    EXPECT_TRUE(stage.waitForIdle());
    EXPECT_TRUE(stage.waitForFlag("Clock lock: internal"));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

// Close, scan, connect, and measure for a moment. The device is open then.
void expectNextSession(FaultSweepStage& stage) {
    if (stage.controller().hasDevice()) {
        stage.closeDevice();
    }
    stage.scan();
    EXPECT_TRUE(stage.saysOnConnectPage(QStringLiteral("Found 2 customer USB device(s).")));
    stage.connectDevice();
    ASSERT_TRUE(stage.controller().hasDevice());
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: uploaded"));
    expectMeasures(stage);
}

void expectRecordings(FaultSweepStage& stage, const Case& tried) {
    const FaultSweepStage::Recorded recorded = stage.takeRecordings();
    EXPECT_LE(recorded.files, 1);
    const bool late =
        tried.holdLast || tried.fault.number == kPolls - 1 || tried.fault.function == "tt_stop_stream_mode";
    if (late) {
        EXPECT_EQ(recorded.files, 1);
        EXPECT_GT(recorded.tags, 0U) << "of what came before the failure";
    }
}

void runCase(FaultSweepStage& stage, const Step& step, const Case& tried) {
    const Telling* row = tellingOf(step, tried);
    ASSERT_NE(row, nullptr) << "it is not said what an operator sees of this";
    begin(stage, step);
    stage.driver().begin(tried.holdLast ? std::nullopt : std::optional(tried.fault));
    step.act(stage, tried.holdLast);
    EXPECT_TRUE(stage.driver().hasFailed());
    expectTold(stage, *row);
    stage.takeBox();
    stage.rejectDialogs();
    stage.driver().begin();
    if (isOneOf(kRecordingSteps, step.name)) {
        expectRecordings(stage, tried);
    }
    if (stage.controller().hasDevice()) {
        expectMeasures(stage);
    }
    expectNextSession(stage);
}

// A step's share of the sweep.
struct Part {
    std::string step;
    std::size_t index = 0;
    std::size_t of = 1;
};

void PrintTo(const Part& part, std::ostream* out) {
    *out << part.step << part.index;
}

Step stepOf(const std::string& name) {
    const std::vector<Step> steps = allSteps();
    return *std::find_if(steps.begin(), steps.end(), [&](const Step& step) { return name == step.name; });
}

FaultingDriver::Counts recordedCalls(FaultSweepStage& stage, const Step& step) {
    begin(stage, step);
    stage.driver().begin();
    step.act(stage, false);
    const FaultingDriver::Counts counts = stage.driver().counts();
    if (step.name != std::string("FailureText")) {
        EXPECT_TRUE(stage.boxes().isEmpty()) << step.name;
    }
    stage.takeBox();
    stage.rejectDialogs();
    stage.takeRecordings();
    expectNextSession(stage);
    return counts;
}

class FaultSweep : public ::testing::TestWithParam<Part> {};

TEST_P(FaultSweep, IsToldAndTheNextSessionWorks) {
    const Step step = stepOf(GetParam().step);
    auto stage = std::make_unique<FaultSweepStage>(step.scene);
    const std::vector<Case> cases = casesOf(step, recordedCalls(*stage, step));
    ASSERT_FALSE(HasFailure());
    ASSERT_FALSE(cases.empty());
    int tried = 0;
    for (std::size_t index = GetParam().index; index < cases.size(); index += GetParam().of) {
        SCOPED_TRACE(cases[index].text());
        runCase(*stage, step, cases[index]);
        ++tried;
        if (HasFailure()) { // what follows would fail for this
            break;
        }
    }
    RecordProperty("sessions", tried);
}

// tt_open is for other rates than that of USB.
TEST(FaultSweepActs, CallEveryFunctionOfTheDriver) {
    std::set<std::string> called;
    for (const Step& step : allSteps()) {
        FaultSweepStage stage(step.scene);
        for (const auto& [function, count] : recordedCalls(stage, step)) {
            called.insert(function);
        }
    }
    EXPECT_EQ(FaultingDriver::functions().size(), sizeof(timing::DriverTable) / sizeof(void (*)()));
    for (const std::string& function : FaultingDriver::functions()) {
        EXPECT_EQ(called.contains(function), function != "tt_open") << function;
    }
}

std::vector<Part> allParts() {
    std::vector<Part> parts;
    for (const Step& step : allSteps()) {
        const std::size_t shares = step.name == std::string("Calibration") ? 3 : 1;
        for (std::size_t index = 0; index < shares; ++index) {
            parts.push_back({step.name, index, shares});
        }
    }
    return parts;
}

INSTANTIATE_TEST_SUITE_P(EachCall, FaultSweep, ::testing::ValuesIn(allParts()), [](const auto& test) {
    return test.param.step + (test.param.of > 1 ? std::to_string(test.param.index + 1) : std::string());
});

} // namespace
} // namespace qorn::testing

// The library from outside, loaded as the application loads it.
#include "LoadedLibrary.h"
#include "SceneRun.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

// A function of the library under its own name.
#define CALL(function) library.find<decltype(::function)>(#function)

namespace qorn::simulator::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kFirstPort = "ftdi://SIM00001";

const std::set<std::string> kInterface{
    "tt_discover",
    "tt_discover_count",
    "tt_discover_port",
    "tt_discover_identity",
    "tt_discover_free",
    "tt_open",
    "tt_open_serial",
    "tt_close",
    "tt_identify",
    "tt_last_error",
    "tt_status_string",
    "tt_set_dac_codes",
    "tt_set_input_dead_times",
    "tt_set_tdl_active_masks",
    "tt_set_reference_clock",
    "tt_get_reference_clock_status",
    "tt_set_period_cycles",
    "tt_set_window_cycles",
    "tt_start_count_stream",
    "tt_read_count_stream_sample",
    "tt_stop_measurement_stream",
    "tt_set_hw_coincidence_mask",
    "tt_set_hw_coincidence_offset_ps",
    "tt_run_coincidence",
    "tt_set_stream_interface",
    "tt_set_stream_channel_mask",
    "tt_set_packed_delta_config",
    "tt_set_calibration_freq",
    "tt_enable_calibration_source",
    "tt_disable_calibration_source",
    "tt_set_test_signal",
    "tt_start_stream_mode",
    "tt_stop_stream_mode",
    "tt_read_stream_bytes",
    "tt_start_calibration_stream",
    "tt_start_calibration_sweep_stream",
    "tt_stop_calibration_stream",
    "tt_upload_calibration_file",
    "tt_get_calibration_path",
    "_ZN4qorn6timing29cycle_ftdi_usb_device_summaryEPKcPcm",
    "_ZN4qorn6timing31ensure_ftdi_fifo_eeprom_summaryEPcm",
};

using SummaryOfPort = bool(const char*, char*, unsigned long);
using Summary = bool(char*, unsigned long);
constexpr const char* kCycle = "_ZN4qorn6timing29cycle_ftdi_usb_device_summaryEPKcPcm";
constexpr const char* kEnsure = "_ZN4qorn6timing31ensure_ftdi_fifo_eeprom_summaryEPcm";

class SimulatorLibrary : public testing::Test {
protected:
    ~SimulatorLibrary() override {
        if (device != nullptr) {
            CALL(tt_close)(device);
        }
    }

    // Puts a scene of one unpaced unit with these keys in force.
    void play(const std::string& sources, const std::string& more = "") {
        playText(R"({"pace": "unpaced", "duration_s": 2, "units": [{"sources": [)" + sources + "]" +
                 (more.empty() ? "" : ", " + more) + "}]}");
    }
    void playText(const std::string& json) {
        const auto path = folder.path("scene.json");
        writeFile(path, json);
        scene.reset(); // puts the environment back first
        scene = std::make_unique<SceneInForce>(path.string());
    }

    tt_status open(const char* port = kFirstPort) { return CALL(tt_open_serial)(&device, port); }
    void close() {
        CALL(tt_close)(device);
        device = nullptr;
    }
    std::string lastError() { return CALL(tt_last_error)(device); }

    std::vector<std::string> ports() {
        tt_discovery* list = nullptr;
        EXPECT_EQ(CALL(tt_discover)(&list), TT_OK);
        std::vector<std::string> found;
        for (std::size_t i = 0; i < CALL(tt_discover_count)(list); ++i) {
            found.emplace_back(CALL(tt_discover_port)(list, i));
        }
        CALL(tt_discover_free)(list);
        return found;
    }

    tt_status read(std::vector<std::uint8_t>& bytes, int timeoutMs = 20000) {
        bytes.resize(1 << 16);
        std::size_t count = 77;
        const tt_status status =
            CALL(tt_read_stream_bytes)(device, bytes.data(), bytes.size(), &count, timeoutMs);
        bytes.resize(count);
        return status;
    }

    LoadedLibrary library;
    TestFolder folder;
    std::unique_ptr<SceneInForce> scene;
    tt_device* device = nullptr;
};

TEST_F(SimulatorLibrary, ExportsTheInterfaceAndNothingElse) {
    const std::unique_ptr<FILE, int (*)(FILE*)> nm(popen("nm -D --defined-only " QORN_SIMULATOR, "r"),
                                                   pclose);
    ASSERT_TRUE(nm);
    std::set<std::string> exported;
    std::array<char, 512> line{};
    while (std::fgets(line.data(), line.size(), nm.get()) != nullptr) {
        std::istringstream words(line.data());
        std::string address;
        std::string kind;
        std::string name;
        words >> address >> kind >> name;
        exported.insert(name);
    }
    EXPECT_EQ(exported, kInterface);
    for (const std::string& name : kInterface) {
        EXPECT_NE(library.find<void()>(name.c_str()), nullptr) << name;
    }
}

TEST_F(SimulatorLibrary, ListsItsTwoUnitsWithIdentitiesThatNobodyTakesForReal) {
    EXPECT_EQ(ports(), (std::vector<std::string>{"ftdi://SIM00001", "ftdi://SIM00002"}));
    tt_discovery* list = nullptr;
    ASSERT_EQ(CALL(tt_discover)(&list), TT_OK);
    const tt_identity* second = CALL(tt_discover_identity)(list, 1);
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(second->vendor, "QORN");
    EXPECT_STREQ(second->product, "TDC simulator");
    EXPECT_STREQ(second->serial, "SIM00002");
    EXPECT_STREQ(second->description, "Simulated four-input TDC, serial SIM00002");
    EXPECT_EQ(CALL(tt_discover_identity)(list, 2), nullptr);
    EXPECT_EQ(CALL(tt_discover_port)(list, 2), nullptr);
    CALL(tt_discover_free)(list);
    CALL(tt_discover_free)(nullptr);
    EXPECT_EQ(CALL(tt_discover_count)(nullptr), 0u);

    ASSERT_EQ(open(), TT_OK);
    tt_identity identity{};
    ASSERT_EQ(CALL(tt_identify)(device, &identity), TT_OK);
    EXPECT_STREQ(identity.description, "Simulated four-input TDC, serial SIM00001");
}

TEST_F(SimulatorLibrary, OpensAUnitOnceAtATimeAndOnlyWhatIsThere) {
    ASSERT_EQ(open(), TT_OK);
    tt_device* other = nullptr;
    EXPECT_EQ(CALL(tt_open)(&other, kFirstPort, 3000000), TT_REJECTED);
    EXPECT_STREQ(CALL(tt_last_error)(nullptr), "the unit at ftdi://SIM00001 is open already");
    EXPECT_EQ(other, nullptr);
    ASSERT_EQ(CALL(tt_open)(&other, "ftdi://SIM00002", 115200), TT_OK);
    CALL(tt_close)(other);
    close();
    EXPECT_EQ(open(), TT_OK);
    EXPECT_EQ(CALL(tt_open)(&other, "ftdi://SIM00003", 3000000), TT_NO_DEVICE);
    EXPECT_EQ(CALL(tt_open)(&other, "ftdi://SIM00002", 0), TT_REJECTED);
    EXPECT_EQ(CALL(tt_open)(&other, nullptr, 3000000), TT_FAILED);
    EXPECT_EQ(CALL(tt_open)(nullptr, "ftdi://SIM00002", 3000000), TT_FAILED);
    CALL(tt_close)(nullptr);
}

TEST_F(SimulatorLibrary, NamesEveryStatus) {
    std::set<std::string> texts;
    for (tt_status status = 0; status >= -7; --status) {
        texts.insert(CALL(tt_status_string)(status));
    }
    EXPECT_EQ(texts.size(), 8u);
    EXPECT_FALSE(std::string(CALL(tt_status_string)(-12345)).empty());
}

TEST_F(SimulatorLibrary, RefusesCallsWithoutAHandleOrAPointer) {
    EXPECT_EQ(CALL(tt_identify)(nullptr, nullptr), TT_NOT_OPEN);
    EXPECT_EQ(CALL(tt_start_count_stream)(nullptr), TT_NOT_OPEN);
    ASSERT_EQ(open(), TT_OK);
    EXPECT_EQ(CALL(tt_identify)(device, nullptr), TT_FAILED);
    EXPECT_FALSE(lastError().empty());
    EXPECT_EQ(CALL(tt_set_dac_codes)(device, nullptr), TT_FAILED);
    EXPECT_EQ(CALL(tt_read_stream_bytes)(device, nullptr, 0, nullptr, 0), TT_FAILED);
    std::uint32_t applied = 0;
    EXPECT_EQ(CALL(tt_set_period_cycles)(device, 5, &applied), TT_OK);
    EXPECT_EQ(applied, 5u);
    EXPECT_EQ(CALL(tt_set_period_cycles)(device, 5, nullptr), TT_OK)
        << "what is not wanted need not be taken";
    EXPECT_EQ(lastError(), "") << "the last failure is that of the last call";
}

TEST_F(SimulatorLibrary, CountsWhatTheScenePlays) {
    play(R"({"kind": "periodic", "input": 1, "frequency_hz": 1e5, "phase_ps": 1000},
            {"kind": "periodic", "input": 2, "frequency_hz": 2e5, "phase_ps": 1000})");
    ASSERT_EQ(open(), TT_OK);
    std::uint32_t applied = 0;
    ASSERT_EQ(CALL(tt_set_period_cycles)(device, 30'000'000, &applied), TT_OK);
    ASSERT_EQ(CALL(tt_start_count_stream)(device), TT_OK);
    tt_count_sample sample{};
    ASSERT_EQ(CALL(tt_read_count_stream_sample)(device, &sample, 20000), TT_OK);
    EXPECT_EQ(sample.counts[0], 10'000u);
    EXPECT_EQ(sample.counts[1], 20'000u);
    EXPECT_EQ(sample.total, 30'000u);
    EXPECT_EQ(sample.period_cycles, 30'000'000u);
    EXPECT_EQ(CALL(tt_stop_measurement_stream)(device, 1), TT_OK);

    ASSERT_EQ(CALL(tt_set_window_cycles)(device, 3, &applied), TT_OK);
    ASSERT_EQ(CALL(tt_set_hw_coincidence_mask)(device, 15), TT_OK);
    ASSERT_EQ(CALL(tt_set_hw_coincidence_offset_ps)(device, 0, 0), TT_OK);
    tt_coincidence_result result{};
    ASSERT_EQ(CALL(tt_run_coincidence)(device, &result, 20000), TT_OK);
    EXPECT_EQ(result.singles[0], 10'000u);
    EXPECT_EQ(result.singles[1], 20'000u);
    EXPECT_EQ(result.total, 30'000u);
    EXPECT_EQ(result.pairs[0], 10'000u);
    EXPECT_EQ(result.triples[0], 0u);
    EXPECT_EQ(result.quadruple, 0u);
    EXPECT_EQ(result.period_cycles, 30'000'000u);
    EXPECT_EQ(result.window_cycles, 3u);
}

TEST_F(SimulatorLibrary, StreamsTheSceneThroughTheOrderOfASession) {
    play(poisson(1, 1e5) + "," + poisson(2, 1e5));
    ASSERT_EQ(open(), TT_OK);
    const std::array<std::uint16_t, 4> codes{38502, 38502, 38502, 38502};
    const std::array<std::int64_t, 4> deadTimes{0, 5000, 0, 0};
    std::array<std::int64_t, 4> applied{};
    const std::array<std::uint8_t, 4> masks{7, 7, 7, 7};
    EXPECT_EQ(CALL(tt_set_dac_codes)(device, codes.data()), TT_OK);
    EXPECT_EQ(CALL(tt_set_input_dead_times)(device, deadTimes.data(), applied.data()), TT_OK);
    EXPECT_EQ(applied[1], 6666);
    EXPECT_EQ(CALL(tt_set_tdl_active_masks)(device, masks.data()), TT_OK);
    std::uint8_t bits = 16;
    std::uint16_t quantum = 8;
    EXPECT_EQ(CALL(tt_set_packed_delta_config)(device, 20, 16, &bits, &quantum), TT_OK);
    EXPECT_EQ(bits, 20);
    EXPECT_EQ(quantum, 16);
    EXPECT_EQ(CALL(tt_set_stream_interface)(device, 1, 2), TT_OK);
    EXPECT_EQ(CALL(tt_set_stream_channel_mask)(device, 3), TT_OK);
    EXPECT_EQ(CALL(tt_disable_calibration_source)(device), TT_OK);
    EXPECT_EQ(CALL(tt_start_stream_mode)(device, 1, 0), TT_OK);
    std::vector<std::uint8_t> bytes;
    EXPECT_EQ(read(bytes), TT_OK);
    EXPECT_EQ(bytes.size(), 65536u);
    while (read(bytes, 1) == TT_OK) {
    }
    EXPECT_EQ(read(bytes, 1), TT_TIMED_OUT) << "at the end of the scene";
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(CALL(tt_stop_stream_mode)(device, 0), TT_OK);
    EXPECT_EQ(read(bytes, 1), TT_FAILED);
    EXPECT_EQ(lastError(), "no tag stream is running");
}

TEST_F(SimulatorLibrary, StreamsAndSweepsForACalibration) {
    play("");
    ASSERT_EQ(open(), TT_OK);
    std::uint32_t divider = 0;
    EXPECT_EQ(CALL(tt_set_calibration_freq)(device, &divider, 100000), TT_OK);
    EXPECT_EQ(divider, 310u);
    double applied = 0;
    EXPECT_EQ(CALL(tt_set_test_signal)(device, 0, &applied, 1.0), TT_OK);
    EXPECT_NEAR(applied, 1, 1e-6);
    EXPECT_EQ(CALL(tt_enable_calibration_source)(device), TT_OK);
    for (const bool sweep : {false, true}) {
        const tt_status started = sweep ? CALL(tt_start_calibration_sweep_stream)(device, 2, 72, 100)
                                        : CALL(tt_start_calibration_stream)(device, 0);
        ASSERT_EQ(started, TT_OK);
        std::vector<std::uint8_t> bytes;
        ASSERT_EQ(read(bytes), TT_OK);
        ASSERT_GE(bytes.size(), 8u);
        EXPECT_EQ(bytes[0] & 0x9F, 0x14) << "the marker of a word with codes";
        EXPECT_EQ(CALL(tt_stop_calibration_stream)(device, 0), TT_OK);
    }
    EXPECT_EQ(CALL(tt_start_calibration_stream)(device, 3), TT_REJECTED);
}

TEST_F(SimulatorLibrary, TellsOfItsReferenceClock) {
    play("", R"("reference": {"lock_delay_s": 0})");
    ASSERT_EQ(open(), TT_OK);
    tt_reference_clock_status status{};
    ASSERT_EQ(CALL(tt_set_reference_clock)(device, 2, 1, &status), TT_OK);
    EXPECT_EQ(status.requested_source, 2u);
    EXPECT_EQ(status.active_source, 2u);
    EXPECT_EQ(status.output_signal, 1u);
    EXPECT_EQ(status.reference_present, 1u);
    EXPECT_EQ(status.reference_locked, 1u);
    EXPECT_EQ(status.fallback_active, 0u);
    EXPECT_EQ(status.lock_fault, 0u);
    tt_reference_clock_status again{};
    ASSERT_EQ(CALL(tt_get_reference_clock_status)(device, &again), TT_OK);
    EXPECT_EQ(again.status_word, status.status_word);
    close();
    play("", R"("reference": {"control": false})");
    ASSERT_EQ(open(), TT_OK);
    EXPECT_EQ(CALL(tt_set_reference_clock)(device, 1, 0, &status), TT_NOT_SUPPORTED);
    EXPECT_EQ(CALL(tt_get_reference_clock_status)(device, &status), TT_NOT_SUPPORTED);
}

TEST_F(SimulatorLibrary, TellsWhereACalibrationFileBelongs) {
    std::array<char, 1024> path{};
    const char* before = getenv("HOME");
    const std::string kept = before == nullptr ? "" : before;
    const std::string home = folder.path("home").string();
    setenv("HOME", home.c_str(), 1);
    ASSERT_EQ(CALL(tt_get_calibration_path)("SIM00001", path.data(), path.size()), TT_OK);
    EXPECT_EQ(std::string(path.data()), home + "/.qorn.timing/calibrations/qorn_cal_SIM00001.cal");
    ASSERT_EQ(CALL(tt_get_calibration_path)("A/b-c d\xC3\xA4", path.data(), path.size()), TT_OK);
    EXPECT_EQ(std::string(path.data()), home + "/.qorn.timing/calibrations/qorn_cal_A_b-c_d__.cal");
    setenv("HOME", "", 1);
    EXPECT_EQ(CALL(tt_get_calibration_path)("S", path.data(), path.size()), TT_OK);
    EXPECT_STREQ(path.data(), "./.qorn.timing/calibrations/qorn_cal_S.cal");
    EXPECT_EQ(CALL(tt_get_calibration_path)("S", path.data(), 10), TT_FAILED);
    EXPECT_EQ(CALL(tt_get_calibration_path)("", path.data(), path.size()), TT_REJECTED);
    EXPECT_EQ(CALL(tt_get_calibration_path)(nullptr, path.data(), path.size()), TT_FAILED);
    setenv("HOME", kept.c_str(), 1);
}

TEST_F(SimulatorLibrary, ChecksACalibrationFileThatIsUploaded) {
    ASSERT_EQ(open(), TT_OK);
    const std::string path = folder.path("broken \xC3\xA4.cal").string();
    writeFile(path, "XCAL and nothing else");
    EXPECT_EQ(CALL(tt_upload_calibration_file)(device, path.c_str()), TT_FILE_ERROR);
    EXPECT_NE(lastError().find("version"), std::string::npos) << lastError();
    EXPECT_EQ(CALL(tt_upload_calibration_file)(device, "/nowhere/x.cal"), TT_FILE_ERROR);
    close();
    play("", R"("faults": {"upload_fails": "the flash is worn out"})");
    ASSERT_EQ(open(), TT_OK);
    EXPECT_EQ(CALL(tt_upload_calibration_file)(device, path.c_str()), TT_FAILED);
    EXPECT_EQ(lastError(), "the flash is worn out");
}

TEST_F(SimulatorLibrary, FailsTheCallsThatTheSceneNames) {
    play(poisson(1, 1e5), R"("faults": {"calls": [
        {"call": "tt_read_stream_bytes", "at": 2, "status": -1},
        {"call": "tt_read_stream_bytes", "at": 4, "count": 2, "status": -3},
        {"call": "tt_open", "at": 1, "status": -7},
        {"call": "tt_identify", "status": 0, "delay_ms": 50}]})");
    EXPECT_EQ(open(), TT_REJECTED);
    EXPECT_STREQ(CALL(tt_last_error)(nullptr), "the scene lets tt_open fail");
    ASSERT_EQ(open(), TT_OK) << "a failed opening holds nothing";
    ASSERT_EQ(CALL(tt_start_stream_mode)(device, 1, 0), TT_OK);
    std::vector<std::uint8_t> bytes;
    const std::array<tt_status, 6> expected{TT_OK, TT_FAILED, TT_OK, TT_TIMED_OUT, TT_TIMED_OUT, TT_OK};
    for (const tt_status status : expected) {
        EXPECT_EQ(read(bytes, 10), status);
        EXPECT_EQ(bytes.empty(), status != TT_OK);
    }
    const auto before = steady_clock::now();
    tt_identity identity{};
    EXPECT_EQ(CALL(tt_identify)(device, &identity), TT_OK);
    EXPECT_GE(steady_clock::now() - before, milliseconds(50));
}

TEST_F(SimulatorLibrary, IsGoneWhenUnpluggedAndComesBack) {
    playText(R"({"units": [{"sources": [)" + poisson(1, 1e5) + "," + poisson(2, 1e5) +
             R"(], "faults": {"unplug_after_s": 0.2, "replug_after_s": 0.3}}]})");
    EXPECT_EQ(ports().size(), 1u);
    ASSERT_EQ(open(), TT_OK);
    ASSERT_EQ(CALL(tt_start_stream_mode)(device, 1, 0), TT_OK);
    std::vector<std::uint8_t> bytes;
    tt_status status = TT_OK;
    while (status == TT_OK || status == TT_TIMED_OUT) {
        status = read(bytes, 20);
    }
    EXPECT_EQ(status, TT_NO_DEVICE);
    EXPECT_EQ(lastError(), "the unit was unplugged");
    EXPECT_EQ(CALL(tt_stop_stream_mode)(device, 0), TT_NO_DEVICE);
    const auto limit = steady_clock::now() + std::chrono::seconds(20);
    while (ports().empty() && steady_clock::now() < limit) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    EXPECT_EQ(ports().size(), 1u);
    EXPECT_EQ(read(bytes, 1), TT_NO_DEVICE) << "the old handle stays dead";
    close();
    ASSERT_EQ(open(), TT_OK);
    ASSERT_EQ(CALL(tt_start_stream_mode)(device, 1, 0), TT_OK);
    EXPECT_EQ(read(bytes), TT_OK);
    EXPECT_FALSE(bytes.empty());
}

TEST_F(SimulatorLibrary, IsUnpluggedAtARead) {
    play(poisson(1, 1e5), R"("faults": {"unplug_at_read": 3})");
    ASSERT_EQ(open(), TT_OK);
    ASSERT_EQ(CALL(tt_start_stream_mode)(device, 1, 0), TT_OK);
    std::vector<std::uint8_t> bytes;
    EXPECT_EQ(read(bytes), TT_OK);
    EXPECT_EQ(read(bytes), TT_OK);
    EXPECT_EQ(read(bytes), TT_NO_DEVICE);
    EXPECT_TRUE(ports().empty());
    close();
    EXPECT_EQ(open(), TT_NO_DEVICE);
}

TEST_F(SimulatorLibrary, RefusesABadSceneWhereAPersonLooks) {
    const std::string place = R"(line 2, key "units[0].sources[0].rate_hz": must be a number)";
    playText("{\"units\": [{\"sources\": [{\"kind\": \"poisson\", \"input\": 1,\n\"rate_hz\": \"many\"}]}]}");
    EXPECT_EQ(ports().size(), 2u) << "the units are listed, but none opens";
    const tt_status status = open();
    EXPECT_NE(status, TT_OK);
    EXPECT_EQ(device, nullptr);
    EXPECT_NE(std::string(CALL(tt_status_string)(status)).find(place), std::string::npos);
    EXPECT_NE(std::string(CALL(tt_last_error)(nullptr)).find(place), std::string::npos);
    std::array<char, 512> note{};
    EXPECT_TRUE(library.find<Summary>(kEnsure)(note.data(), note.size()));
    EXPECT_NE(std::string(note.data()).find(place), std::string::npos);
    EXPECT_NE(std::string(note.data()).find("scene.json"), std::string::npos);

    play(poisson(1, 1000));
    EXPECT_EQ(ports().size(), 1u) << "the file is looked at again";
    EXPECT_EQ(open(), TT_OK);
    note.fill(0);
    EXPECT_FALSE(library.find<Summary>(kEnsure)(note.data(), note.size()));
    EXPECT_STREQ(note.data(), "");
}

TEST_F(SimulatorLibrary, RefusesASceneFileThatIsNotThere) {
    const SceneInForce missing(folder.path("none.json").string());
    EXPECT_NE(open(), TT_OK);
    EXPECT_NE(std::string(CALL(tt_last_error)(nullptr)).find("none.json: it cannot be read"),
              std::string::npos);
}

TEST_F(SimulatorLibrary, CyclesAUnitThatIsNotOpen) {
    auto* cycle = library.find<SummaryOfPort>(kCycle);
    std::array<char, 512> summary{};
    const auto before = steady_clock::now();
    EXPECT_TRUE(cycle(kFirstPort, summary.data(), summary.size()));
    EXPECT_GE(steady_clock::now() - before, milliseconds(900));
    EXPECT_NE(std::string(summary.data()).find(kFirstPort), std::string::npos);
    ASSERT_EQ(open(), TT_OK);
    EXPECT_FALSE(cycle(kFirstPort, summary.data(), summary.size()));
    EXPECT_NE(std::string(summary.data()).find("is open"), std::string::npos);
    EXPECT_FALSE(cycle("ftdi://SIM00009", summary.data(), summary.size()));
    std::array<char, 4> small{'x', 'x', 'x', 'x'};
    EXPECT_FALSE(cycle(nullptr, small.data(), 3));
    EXPECT_EQ(std::string(small.data(), 4), "USBx") << "a text that is too long fills the buffer and no more";
}

} // namespace

} // namespace qorn::simulator::test

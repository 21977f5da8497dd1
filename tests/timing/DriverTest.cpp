#include "Driver.h"

#include "Error.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::readBytes;
using testing::TemporaryFolder;
using testing::writeBytes;

struct Function {
    const char* name;   // as an error tells it
    const char* symbol; // as the library has it
};

constexpr std::array kFunctions = {
    Function{"tt_discover", "tt_discover"},
    Function{"tt_discover_count", "tt_discover_count"},
    Function{"tt_discover_port", "tt_discover_port"},
    Function{"tt_discover_identity", "tt_discover_identity"},
    Function{"tt_discover_free", "tt_discover_free"},
    Function{"tt_open", "tt_open"},
    Function{"tt_open_serial", "tt_open_serial"},
    Function{"tt_close", "tt_close"},
    Function{"tt_identify", "tt_identify"},
    Function{"tt_last_error", "tt_last_error"},
    Function{"tt_status_string", "tt_status_string"},
    Function{"tt_set_dac_codes", "tt_set_dac_codes"},
    Function{"tt_set_input_dead_times", "tt_set_input_dead_times"},
    Function{"tt_set_tdl_active_masks", "tt_set_tdl_active_masks"},
    Function{"tt_set_reference_clock", "tt_set_reference_clock"},
    Function{"tt_get_reference_clock_status", "tt_get_reference_clock_status"},
    Function{"tt_set_period_cycles", "tt_set_period_cycles"},
    Function{"tt_set_window_cycles", "tt_set_window_cycles"},
    Function{"tt_start_count_stream", "tt_start_count_stream"},
    Function{"tt_read_count_stream_sample", "tt_read_count_stream_sample"},
    Function{"tt_stop_measurement_stream", "tt_stop_measurement_stream"},
    Function{"tt_set_hw_coincidence_mask", "tt_set_hw_coincidence_mask"},
    Function{"tt_set_hw_coincidence_offset_ps", "tt_set_hw_coincidence_offset_ps"},
    Function{"tt_run_coincidence", "tt_run_coincidence"},
    Function{"tt_set_stream_interface", "tt_set_stream_interface"},
    Function{"tt_set_stream_channel_mask", "tt_set_stream_channel_mask"},
    Function{"tt_set_packed_delta_config", "tt_set_packed_delta_config"},
    Function{"tt_set_calibration_freq", "tt_set_calibration_freq"},
    Function{"tt_enable_calibration_source", "tt_enable_calibration_source"},
    Function{"tt_disable_calibration_source", "tt_disable_calibration_source"},
    Function{"tt_set_test_signal", "tt_set_test_signal"},
    Function{"tt_start_stream_mode", "tt_start_stream_mode"},
    Function{"tt_stop_stream_mode", "tt_stop_stream_mode"},
    Function{"tt_read_stream_bytes", "tt_read_stream_bytes"},
    Function{"tt_start_calibration_stream", "tt_start_calibration_stream"},
    Function{"tt_start_calibration_sweep_stream", "tt_start_calibration_sweep_stream"},
    Function{"tt_stop_calibration_stream", "tt_stop_calibration_stream"},
    Function{"tt_upload_calibration_file", "tt_upload_calibration_file"},
    Function{"tt_get_calibration_path", "tt_get_calibration_path"},
    Function{"cycle_ftdi_usb_device_summary", "_ZN4qorn6timing29cycle_ftdi_usb_device_summaryEPKcPcm"},
    Function{"ensure_ftdi_fifo_eeprom_summary", "_ZN4qorn6timing31ensure_ftdi_fifo_eeprom_summaryEPcm"},
};

Bytes plainLibrary() {
    return readBytes(QORN_PLAIN_DRIVER);
}

// The plain library without one function: its name is changed, so that a look-up does not find it.
Bytes plainWithout(const std::string& symbol) {
    Bytes bytes = plainLibrary();
    Bytes name{0};
    name.insert(name.end(), symbol.begin(), symbol.end());
    name.push_back(0);
    int places = 0;
    for (auto at = bytes.begin();; ++places) {
        at = std::search(at, bytes.end(), name.begin(), name.end());
        if (at == bytes.end()) {
            break;
        }
        *(at + 1) = 'X';
        ++at;
    }
    EXPECT_GE(places, 1) << symbol;
    return bytes;
}

std::optional<Error> errorOfLoading(const std::string& file) {
    try {
        load_driver(file);
    } catch (const Error& error) {
        return error;
    }
    return std::nullopt;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Not as a part of a longer name.
bool containsWord(const std::string& text, const std::string& word) {
    const auto isPart = [&text](std::size_t at) {
        return at < text.size() &&
               (std::isalnum(static_cast<unsigned char>(text[at])) != 0 || text[at] == '_');
    };
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        if ((at == 0 || !isPart(at - 1)) && !isPart(at + word.size())) {
            return true;
        }
    }
    return false;
}

TEST(DriverLoading, TheListOfFunctionsIsComplete) {
    EXPECT_EQ(sizeof(DriverTable), kFunctions.size() * sizeof(void*));
    EXPECT_EQ(kFunctions.size(), 41U);
}

TEST(DriverLoading, ACompleteLibraryFillsEveryEntry) {
    const DriverTable table = load_driver(QORN_PLAIN_DRIVER);
    std::array<void*, kFunctions.size()> entries{};
    static_assert(sizeof(entries) == sizeof(table));
    std::memcpy(entries.data(), &table, sizeof table);
    for (std::size_t index = 0; index < entries.size(); ++index) {
        EXPECT_NE(entries[index], nullptr) << kFunctions[index].name;
        for (std::size_t other = 0; other < index; ++other) {
            EXPECT_NE(entries[index], entries[other]) << kFunctions[index].name;
        }
    }
    EXPECT_STREQ(table.tt_status_string(0), "status of the plain driver");
    char summary[512] = {};
    EXPECT_TRUE(table.ensure_ftdi_fifo_eeprom_summary(summary, sizeof summary));
    EXPECT_STREQ(summary, "eeprom of the plain driver");
}

TEST(DriverLoading, EachMissingFunctionIsNamedWithItsLibrary) {
    const TemporaryFolder folder;
    int number = 0;
    for (const Function& function : kFunctions) {
        const std::string file = folder.file(std::to_string(number++) + ".so");
        writeBytes(file, plainWithout(function.symbol));
        const std::optional<Error> error = errorOfLoading(file);
        ASSERT_TRUE(error.has_value()) << function.name;
        const std::string text = error->what();
        EXPECT_TRUE(contains(text, file)) << text;
        EXPECT_TRUE(containsWord(text, function.symbol)) << text;
    }
}

TEST(DriverLoading, AMissingLibraryIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.file("missing.so");
    const std::optional<Error> error = errorOfLoading(file);
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(contains(error->what(), file)) << error->what();
}

TEST(DriverLoading, AFileThatIsNoLibraryIsNamed) {
    const TemporaryFolder folder;
    const std::string file = folder.file("text.so");
    writeBytes(file, testing::bytesFromHex("41 42 43"));
    const std::optional<Error> error = errorOfLoading(file);
    ASSERT_TRUE(error.has_value());
    EXPECT_TRUE(contains(error->what(), file)) << error->what();
}

TEST(DriverSeam, TheTableInForceIsTheOneGiven) {
    const DriverTable first = load_driver(QORN_PLAIN_DRIVER);
    const DriverTable second = first;
    const DriverTable* const before = exchange_driver(&first);
    EXPECT_EQ(&driver(), &first);
    EXPECT_FALSE(driver_is_simulated());
    EXPECT_EQ(exchange_driver(&second), &first);
    EXPECT_EQ(&driver(), &second);
    EXPECT_EQ(exchange_driver(before), &second);
}

TEST(DriverSeam, TheScriptedDriverIsInForceAndHasNoHoles) {
    testing::ScopedDriver scripted;
    EXPECT_EQ(&driver(), &scripted->table());
    std::array<void*, kFunctions.size()> entries{};
    std::memcpy(entries.data(), &driver(), sizeof(DriverTable));
    EXPECT_EQ(std::ranges::count(entries, nullptr), 0);
}

// The probe program in a folder of its own, with libraries beside it and in the loader's search.
class DriverSearch : public ::testing::Test {
protected:
    DriverSearch() {
        std::filesystem::create_directories(folder.path() / "app");
        std::filesystem::create_directories(folder.path() / "search");
        std::filesystem::copy_file(QORN_DRIVER_PROBE, folder.path() / "app" / "probe");
    }

    void putBeside(const Bytes& library) { writeBytes(folder.path() / "app" / kDriverLibrary, library); }
    void putIntoSearch(const Bytes& library) {
        writeBytes(folder.path() / "search" / kDriverLibrary, library);
    }

    std::vector<std::string> run() {
        const std::string command =
            "cd / && LD_LIBRARY_PATH='" + folder.file("search") + "' '" + folder.file("app/probe") + "'";
        const auto close = [](std::FILE* pipe) { pclose(pipe); };
        const std::unique_ptr<std::FILE, decltype(close)> pipe(popen(command.c_str(), "r"), close);
        std::vector<std::string> lines;
        char line[4096];
        while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
            lines.emplace_back(line, std::strlen(line) - 1);
        }
        return lines;
    }

    std::string besideLine() const { return "beside " + folder.file("app/libqorn_timing.so.0"); }

    TemporaryFolder folder;
};

TEST_F(DriverSearch, TheSimulatedInstrumentStandsInForAMissingLibrary) {
    putBeside(plainLibrary());
    EXPECT_EQ(run(), (std::vector<std::string>{"status of the plain driver", "simulated 1",
                                               "status of the plain driver", "simulated 1", besideLine()}));
}

TEST_F(DriverSearch, ALibraryInTheLoadersSearchIsTheDriver) {
    putIntoSearch(plainLibrary());
    EXPECT_EQ(run(), (std::vector<std::string>{"status of the plain driver", "simulated 0",
                                               "status of the plain driver", "simulated 0", besideLine()}));
}

TEST_F(DriverSearch, ALibraryThatLacksAFunctionIsAnErrorAndNoReasonToFallBack) {
    putBeside(plainLibrary());
    putIntoSearch(plainWithout("tt_run_coincidence"));
    const std::vector<std::string> lines = run();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(contains(lines[0], "tt_run_coincidence")) << lines[0];
    EXPECT_TRUE(contains(lines[0], "libqorn_timing.so.0")) << lines[0];
    EXPECT_EQ(lines[1], lines[0]);
}

TEST_F(DriverSearch, ALibraryThatCannotBeLoadedIsAnErrorAndNoReasonToFallBack) {
    putBeside(plainLibrary());
    putIntoSearch(testing::bytesFromHex("41 42 43 44"));
    const std::vector<std::string> lines = run();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(contains(lines[0], "error ")) << lines[0];
    EXPECT_TRUE(contains(lines[0], "libqorn_timing.so.0")) << lines[0];
}

TEST_F(DriverSearch, WithNeitherLibraryTheErrorNamesTheLibrary) {
    const std::vector<std::string> lines = run();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(contains(lines[0], "error ")) << lines[0];
    EXPECT_TRUE(contains(lines[0], "libqorn_timing.so.0")) << lines[0];
    EXPECT_EQ(lines[1], lines[0]);
    EXPECT_EQ(lines[2], besideLine());
}

} // namespace
} // namespace qorn::timing

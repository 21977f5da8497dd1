#include "Device.h"

#include "Error.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace qorn::timing {
namespace {

using testing::CurrentFolder;
using testing::makeIdentity;
using testing::ScopedDriver;
using testing::ScriptedDriver;
using testing::TemporaryFolder;
using Texts = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<Device> && !std::is_copy_assignable_v<Device>);
static_assert(std::is_nothrow_move_constructible_v<Device> && std::is_nothrow_move_assignable_v<Device>);
static_assert(std::is_nothrow_destructible_v<Device>);

template <typename Work>
Error errorOf(Work&& work) {
    try {
        work();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing was thrown";
    return Error(0, "");
}

void expectError(const Error& error, tt_status status, const std::string& message) {
    EXPECT_EQ(error.status(), status);
    EXPECT_EQ(std::string(error.what()), message);
}

const std::array<FineLut, kChannels> kIdentityTables{FineLut::identity(), FineLut::identity(),
                                                     FineLut::identity(), FineLut::identity()};

void addDevice(ScriptedDriver& driver, std::optional<std::string> port, std::optional<tt_identity> identity) {
    driver.change([&](ScriptedDriver::Script& script) {
        script.devices.push_back({std::move(port), std::move(identity)});
    });
}

TEST(Identity, FieldsEndAtTheirFirstNul) {
    tt_identity raw = makeIdentity("QORN", "TDC", "S1", "A text");
    raw.vendor[6] = 'x'; // behind the NUL
    EXPECT_EQ(Identity::from_c(raw), (Identity{"QORN", "TDC", "S1", "A text"}));
}

TEST(Identity, UnterminatedFieldsAreKeptWhole) {
    const Identity identity = Identity::from_c(
        makeIdentity(std::string(16, 'v'), std::string(16, 'p'), "0123456789ABCDEF", std::string(48, 'd')));
    EXPECT_EQ(identity.serial, "0123456789ABCDEF");
    EXPECT_EQ(identity.vendor, std::string(16, 'v'));
    EXPECT_EQ(identity.product, std::string(16, 'p'));
    EXPECT_EQ(identity.description, std::string(48, 'd'));
}

TEST(Identity, AnEmptyRecordGivesEmptyTexts) {
    EXPECT_EQ(Identity::from_c(tt_identity{}), Identity{});
}

TEST(DeviceDiscovery, ListsEveryEntryInOrderAndFreesTheList) {
    ScopedDriver driver;
    addDevice(*driver, "ftdi://A", makeIdentity("QORN", "TDC", "A", "first"));
    addDevice(*driver, "ftdi://B", makeIdentity("QORN", "TDC", "B", "second"));
    const auto found = Device::discover();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].port, "ftdi://A");
    EXPECT_EQ(found[0].identity, (Identity{"QORN", "TDC", "A", "first"}));
    EXPECT_EQ(found[1].port, "ftdi://B");
    EXPECT_EQ(found[1].identity.description, "second");
    EXPECT_EQ(driver->count("tt_discover_free"), 1);
}

TEST(DeviceDiscovery, AMissingPortOrIdentityGivesAnEntryOfEmptyTexts) {
    ScopedDriver driver;
    addDevice(*driver, std::nullopt, makeIdentity("QORN", "TDC", "A", "first"));
    addDevice(*driver, "ftdi://B", std::nullopt);
    const auto found = Device::discover();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].port, "");
    EXPECT_EQ(found[0].identity.serial, "A");
    EXPECT_EQ(found[1].port, "ftdi://B");
    EXPECT_EQ(found[1].identity, Identity{});
}

TEST(DeviceDiscovery, NoEntriesGiveAnEmptyVectorAndTheListIsFreed) {
    ScopedDriver driver;
    EXPECT_TRUE(Device::discover().empty());
    EXPECT_EQ(driver->count("tt_discover_free"), 1);
}

TEST(DeviceDiscovery, AFailureIsNamedWithoutDetail) {
    ScopedDriver driver;
    driver->fail("tt_discover", -9, "not to be shown");
    expectError(errorOf([] { Device::discover(); }), -9, "discover: unknown status");
    EXPECT_EQ(driver->count("tt_discover_free"), 0);
}

TEST(DeviceOpenFirst, WithoutDevicesFailsWithStatusMinusFive) {
    ScopedDriver driver;
    expectError(errorOf([] { Device::open_first(Device::kDefaultBaud); }), -5,
                "open_first: no QORN device found");
}

TEST(DeviceOpenFirst, TheDefaultBaudUsesTheSerialOpeningOfTheFirstEntry) {
    const TemporaryFolder folder;
    const CurrentFolder current(folder.path());
    ScopedDriver driver;
    addDevice(*driver, "ftdi://A", std::nullopt);
    addDevice(*driver, "ftdi://B", std::nullopt);
    {
        const Device device = Device::open_first(3000000);
        EXPECT_NE(device.handle, nullptr);
        EXPECT_TRUE(device.owns_handle);
        EXPECT_EQ(device.luts, kIdentityTables);
        EXPECT_EQ(driver->openHandles(), 1);
    }
    EXPECT_EQ(driver->callsOf("tt_open_serial"), Texts{"tt_open_serial(ftdi://A)"});
    EXPECT_EQ(driver->count("tt_open"), 0);
    EXPECT_EQ(driver->count("tt_close"), 1);
}

TEST(DeviceOpenFirst, AnotherBaudIsPassedOn) {
    const TemporaryFolder folder;
    const CurrentFolder current(folder.path());
    ScopedDriver driver;
    addDevice(*driver, "/dev/ttyUSB0", std::nullopt);
    const Device device = Device::open_first(115200);
    EXPECT_EQ(driver->callsOf("tt_open"), Texts{"tt_open(/dev/ttyUSB0,115200)"});
    EXPECT_EQ(driver->count("tt_open_serial"), 0);
}

TEST(DeviceOpenFirst, AFailedOpenIsNamedWithoutDetail) {
    for (const auto& [function, baud] : {std::pair("tt_open_serial", 3000000), std::pair("tt_open", 9600)}) {
        ScopedDriver driver;
        addDevice(*driver, "ftdi://A", std::nullopt);
        driver->fail(function, -1, "not to be shown");
        expectError(errorOf([baud = baud] { Device::open_first(baud); }), -1, "open: general failure");
        EXPECT_EQ(driver->count("tt_close"), 0);
    }
}

TEST(DeviceOpenFirst, AFailedDiscoveryPassesOn) {
    ScopedDriver driver;
    driver->fail("tt_discover", -1);
    expectError(errorOf([] { Device::open_first(3000000); }), -1, "discover: general failure");
}

TEST(DeviceOpenSerial, OpensThePortAndOwnsTheHandle) {
    ScopedDriver driver;
    {
        const Device device = Device::open_serial("ftdi://A");
        EXPECT_EQ(device.port, "ftdi://A");
        EXPECT_TRUE(device.owns_handle);
        EXPECT_EQ(device.luts, kIdentityTables);
    }
    EXPECT_EQ(driver->calls(), (Texts{"tt_open_serial(ftdi://A)", "tt_close()"}));
}

TEST(DeviceOpenSerial, AFailureIsNamedWithoutDetail) {
    ScopedDriver driver;
    driver->fail("tt_open_serial", -5, "not to be shown");
    expectError(errorOf([] { Device::open_serial("ftdi://A"); }), -5, "open: no device");
}

TEST(DeviceOwner, ABorrowedHandleIsNotClosed) {
    ScopedDriver driver;
    Device owner = Device::open_serial("A");
    {
        const Device borrower(owner.handle, false);
        EXPECT_EQ(borrower.luts, kIdentityTables);
        EXPECT_EQ(borrower.port, "");
    }
    EXPECT_EQ(driver->count("tt_close"), 0);
}

TEST(DeviceOwner, ANullHandleIsNotClosed) {
    ScopedDriver driver;
    { const Device none(nullptr, true); }
    EXPECT_EQ(driver->count("tt_close"), 0);
}

TEST(DeviceOwner, MovingHandsOverTheHandle) {
    ScopedDriver driver;
    {
        Device first = Device::open_serial("A");
        tt_device* const handle = first.handle;
        first.luts[2].entries[5] = 77;
        Device second = std::move(first);
        EXPECT_EQ(second.handle, handle);
        EXPECT_TRUE(second.owns_handle);
        EXPECT_EQ(second.port, "A");
        EXPECT_EQ(second.luts[2].entries[5], 77);
        EXPECT_EQ(driver->count("tt_close"), 0);
    }
    EXPECT_EQ(driver->count("tt_close"), 1);
}

TEST(DeviceOwner, AssigningClosesTheEarlierHandleOnce) {
    ScopedDriver driver;
    {
        Device device = Device::open_serial("A");
        device = Device::open_serial("B");
        EXPECT_EQ(device.port, "B");
        EXPECT_EQ(driver->count("tt_close"), 1);
        EXPECT_EQ(driver->openHandles(), 1);
    }
    EXPECT_EQ(driver->count("tt_close"), 2);
}

TEST(DeviceOwner, AssigningToItselfKeepsTheHandle) {
    ScopedDriver driver;
    Device device = Device::open_serial("A");
    Device& same = device;
    device = std::move(same);
    EXPECT_NE(device.handle, nullptr);
    EXPECT_EQ(driver->count("tt_close"), 0);
}

TEST(DeviceIdentify, ReadsTheIdentity) {
    ScopedDriver driver;
    const Device device = Device::open_serial("A");
    EXPECT_EQ(device.identify(),
              (Identity{"QORN", "Scripted", "SN0001", "Scripted instrument, serial SN0001"}));
}

TEST(DeviceIdentify, AFailureCarriesTheLastError) {
    ScopedDriver driver;
    const Device device = Device::open_serial("A");
    driver->fail("tt_identify", -1, "no answer");
    expectError(errorOf([&] { device.identify(); }), -1, "identify: general failure (no answer)");
}

TEST(DeviceClock, SettingPassesTheNumbersAndReturnsTheState) {
    ScopedDriver driver;
    driver->change([](ScriptedDriver::Script& script) { script.clock = {2, 2, 1, 1, 1, 1, 0, 0, 0xABCD}; });
    Device device = Device::open_serial("A");
    const ReferenceClockStatus status =
        device.set_reference_clock(ReferenceClockSource::External, ReferenceSignal::OnePps);
    EXPECT_EQ(driver->callsOf("tt_set_reference_clock"), Texts{"tt_set_reference_clock(2,1)"});
    EXPECT_EQ(status.activeSource, ReferenceClockSource::External);
    EXPECT_TRUE(status.referenceLocked);
    EXPECT_EQ(status.statusWord, 0xABCD);
    EXPECT_EQ(device.reference_clock_status().requestedSource, ReferenceClockSource::External);
}

TEST(DeviceClock, FailuresNameTheirOperation) {
    ScopedDriver driver;
    Device device = Device::open_serial("A");
    driver->fail("tt_set_reference_clock", -4, "no such image");
    driver->fail("tt_get_reference_clock_status", -3);
    expectError(errorOf([&] {
                    device.set_reference_clock(ReferenceClockSource::Internal, ReferenceSignal::TenMegahertz);
                }),
                -4, "set_reference_clock: not supported (no such image)");
    expectError(errorOf([&] { device.reference_clock_status(); }), -3, "reference_clock_status: timed out");
}

TEST(ReferenceClockStatus, EachWordHasItsPlace) {
    const auto none = ReferenceClockStatus::from_c({});
    EXPECT_FALSE(none.referencePresent || none.referenceLocked || none.thirdFlag || none.fallbackActive ||
                 none.lockFault);
    // Booleans are 32-bit words: anything but 0 is true.
    const auto present = ReferenceClockStatus::from_c({0, 0, 0, 256, 0, 0, 0, 0, 0});
    EXPECT_TRUE(present.referencePresent && !present.referenceLocked && !present.thirdFlag);
    const auto locked = ReferenceClockStatus::from_c({0, 0, 0, 0, 2, 0, 0, 0, 0});
    EXPECT_TRUE(locked.referenceLocked && !locked.referencePresent && !locked.thirdFlag);
    const auto third = ReferenceClockStatus::from_c({0, 0, 0, 0, 0, 0x80000000, 0, 0, 0});
    EXPECT_TRUE(third.thirdFlag && !third.referenceLocked && !third.fallbackActive);
    const auto fallback = ReferenceClockStatus::from_c({0, 0, 0, 0, 0, 0, 1, 0, 0});
    EXPECT_TRUE(fallback.fallbackActive && !fallback.thirdFlag && !fallback.lockFault);
    const auto fault = ReferenceClockStatus::from_c({1, 2, 1, 0, 0, 0, 0, 0xFFFFFFFF, 0xFFFFFFFE});
    EXPECT_TRUE(fault.lockFault && !fault.fallbackActive);
    EXPECT_EQ(fault.requestedSource, ReferenceClockSource::Internal);
    EXPECT_EQ(fault.activeSource, ReferenceClockSource::External);
    EXPECT_EQ(fault.outputSignal, ReferenceSignal::OnePps);
    EXPECT_EQ(fault.statusWord, -2);
}

TEST(FailureTexts, AnOperationAStatusAndADetail) {
    struct Row {
        const char* detail;
        std::string message;
    };
    ScopedDriver driver;
    for (const Row& row :
         {Row{nullptr, "op: timed out"}, Row{"", "op: timed out"}, Row{"cable", "op: timed out (cable)"}}) {
        expectError(errorOf([&] { detail::throw_status(-3, "op", row.detail); }), -3, row.message);
    }
}

TEST(FailureTexts, CheckPassesSuccessAndAsksTheDeviceAboutAFailure) {
    ScopedDriver driver;
    Device device = Device::open_serial("A");
    EXPECT_NO_THROW(detail::check(0, "op", device.handle));
    EXPECT_NO_THROW(detail::check(0, "op", nullptr));
    EXPECT_EQ(driver->count("tt_last_error"), 0);
    driver->fail("tt_identify", -7, "said no");
    EXPECT_THROW(device.identify(), Error);
    expectError(errorOf([&] { detail::check(-7, "op", device.handle); }), -7, "op: rejected (said no)");
    expectError(errorOf([&] { detail::check(-7, "op", nullptr); }), -7, "op: rejected");
}

TEST(FailureTexts, SettingsReportStatusAndLastErrorByColon) {
    ScopedDriver driver;
    Device device = Device::open_serial("A");
    EXPECT_EQ(detail::failure_text(-1, device.handle), "general failure");
    driver->fail("tt_identify", -1, "said no");
    EXPECT_THROW(device.identify(), Error);
    EXPECT_EQ(detail::failure_text(-1, device.handle), "general failure: said no");
}

} // namespace
} // namespace qorn::timing

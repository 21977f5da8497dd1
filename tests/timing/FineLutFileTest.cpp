#include "FineLutFile.h"

#include "Device.h"
#include "ScriptedDriver.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace qorn::timing {
namespace {

using testing::appendBytes;
using testing::appendLittle32;
using testing::appendLittle64;
using testing::Bytes;
using testing::bytesFromHex;
using testing::CurrentFolder;
using testing::ScopedDriver;
using testing::ScriptedDriver;
using testing::TemporaryFolder;
using testing::writeBytes;

using Tables = std::array<FineLut, kChannels>;

Bytes head(std::uint32_t version = 1) {
    Bytes bytes = bytesFromHex("54 4C 55 54"); // "TLUT"
    appendLittle32(bytes, version);
    return bytes;
}

void appendTable(Bytes& bytes, std::span<const std::int64_t> entries) {
    appendLittle32(bytes, static_cast<std::uint32_t>(entries.size()));
    for (const std::int64_t entry : entries) {
        appendLittle64(bytes, static_cast<std::uint64_t>(entry));
    }
}

Tables sampleTables() {
    return {FineLut{{1, 2, 3}}, FineLut{{-1, 0x7FFFFFFFFFFFFFFF}}, FineLut{{0}}, FineLut{{9, 8, 7, 6}}};
}

Bytes fileOf(const Tables& tables, std::size_t count = kChannels) {
    Bytes bytes = head();
    for (std::size_t input = 0; input < count; ++input) {
        appendTable(bytes, tables[input].entries);
    }
    return bytes;
}

TEST(FineLut, TheIdentityTableRoundsHalfStepsOf37AndEndsBelowThePeriod) {
    const FineLut table = FineLut::identity();
    ASSERT_EQ(table.entries.size(), 8192U);
    for (std::int64_t code = 0; code < 8192; ++code) {
        ASSERT_EQ(table.entries[static_cast<std::size_t>(code)],
                  std::min<std::int64_t>((37 * code + 1) / 2, 3332))
            << code;
    }
    EXPECT_EQ(table.entries[1], 19);
    EXPECT_EQ(table.entries[8191], 3332);
    EXPECT_EQ(FineLut::identity(100).entries[8191], 99);
}

TEST(FineLutFile, ACompleteFileGivesAllFourTables) {
    const TemporaryFolder folder;
    writeBytes(folder.path() / "fine_lut.bin", fileOf(sampleTables()));
    const auto tables = load_fine_lut_file(folder.path() / "fine_lut.bin");
    ASSERT_TRUE(tables.has_value());
    EXPECT_EQ(*tables, sampleTables());
}

TEST(FineLutFile, ATableMayHold1048576Entries) {
    const TemporaryFolder folder;
    Tables tables = sampleTables();
    tables[3].entries.assign(1048576, 5);
    writeBytes(folder.path() / "lut", fileOf(tables));
    const auto loaded = load_fine_lut_file(folder.path() / "lut");
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->at(3).entries.size(), 1048576U);
}

struct BadFile {
    const char* name;
    Bytes bytes;
};

std::vector<BadFile> badFiles() {
    std::vector<BadFile> files;
    Bytes wrongMagic = fileOf(sampleTables());
    wrongMagic[3] = 'X';
    files.push_back({"WrongMagic", wrongMagic});
    for (const std::uint32_t version : {0U, 2U, 256U}) {
        Bytes bytes = fileOf(sampleTables());
        Bytes other = head(version);
        std::copy(other.begin(), other.end(), bytes.begin());
        files.push_back({"WrongVersion", bytes});
    }
    Bytes noEntries = fileOf(sampleTables(), 3);
    appendTable(noEntries, {});
    files.push_back({"TableOfNoEntries", noEntries});
    Bytes many = fileOf(sampleTables(), 3);
    appendTable(many, std::vector<std::int64_t>(1048577, 1));
    files.push_back({"TableOfTooManyEntries", many});
    files.push_back({"ThreeTables", fileOf(sampleTables(), 3)});
    Bytes cut = fileOf(sampleTables());
    cut.pop_back();
    files.push_back({"LastByteMissing", cut});
    files.push_back({"HeadAlone", head()});
    files.push_back({"Empty", {}});
    Bytes hugeClaim = head();
    appendLittle32(hugeClaim, 0xFFFFFFFF);
    files.push_back({"HugeClaim", hugeClaim});
    return files;
}

TEST(FineLutFile, WhatIsNotCompleteGivesNothing) {
    const TemporaryFolder folder;
    for (const BadFile& file : badFiles()) {
        writeBytes(folder.path() / "lut", file.bytes);
        EXPECT_FALSE(load_fine_lut_file(folder.path() / "lut").has_value()) << file.name;
    }
    EXPECT_FALSE(load_fine_lut_file(folder.path() / "no such file").has_value());
    EXPECT_FALSE(load_fine_lut_file(folder.path()).has_value());
}

TEST(FineLutFile, EveryCutOfAFileGivesNothing) {
    const TemporaryFolder folder;
    const Bytes whole = fileOf(sampleTables());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        writeBytes(folder.path() / "lut", std::span(whole).first(length));
        ASSERT_FALSE(load_fine_lut_file(folder.path() / "lut").has_value()) << length;
    }
}

class OpenFirstWithTables : public ::testing::Test {
protected:
    OpenFirstWithTables() : current(folder.path()) {
        driver->change([](ScriptedDriver::Script& script) { script.devices.push_back({"A", std::nullopt}); });
    }
    TemporaryFolder folder;
    CurrentFolder current;
    ScopedDriver driver;
};

TEST_F(OpenFirstWithTables, TakesTheFileOfTheCurrentFolder) {
    writeBytes("fine_lut.bin", fileOf(sampleTables()));
    EXPECT_EQ(Device::open_first(3000000).luts, sampleTables());
}

TEST_F(OpenFirstWithTables, ThreeTablesLeaveAllFourAtIdentity) {
    const Tables identity{FineLut::identity(), FineLut::identity(), FineLut::identity(), FineLut::identity()};
    EXPECT_EQ(Device::open_first(3000000).luts, identity);
    for (const BadFile& file : badFiles()) {
        writeBytes("fine_lut.bin", file.bytes);
        EXPECT_EQ(Device::open_first(3000000).luts, identity) << file.name;
    }
}

TEST_F(OpenFirstWithTables, OpeningAPortTakesNoTables) {
    writeBytes("fine_lut.bin", fileOf(sampleTables()));
    EXPECT_EQ(Device::open_serial("A").luts[0], FineLut::identity());
}

} // namespace
} // namespace qorn::timing

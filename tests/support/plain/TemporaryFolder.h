// A folder that lives as long as the object, and small files in it.
#pragma once

#include "StreamBuilder.h"

#include <filesystem>
#include <span>
#include <string>

namespace qorn::testing {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return folder; }
    std::string file(const std::string& name) const { return (folder / name).string(); }

private:
    std::filesystem::path folder;
};

// Makes a folder the current one while it lives.
class CurrentFolder {
public:
    explicit CurrentFolder(const std::filesystem::path& folder);
    ~CurrentFolder();
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;

private:
    std::filesystem::path earlier;
};

void writeBytes(const std::filesystem::path& file, std::span<const std::uint8_t> bytes);
Bytes readBytes(const std::filesystem::path& file); // empty when there is no such file

// Little-endian fields, as the calibration files hold them.
void appendLittle32(Bytes& out, std::uint32_t value);
void appendLittle64(Bytes& out, std::uint64_t value);

} // namespace qorn::testing

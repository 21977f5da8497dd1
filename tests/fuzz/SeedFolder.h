// A folder of a corpus, and the main of the programs that write one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <string_view>
#include <utility>

namespace qorn::fuzz {

class SeedFolder {
public:
    explicit SeedFolder(std::filesystem::path path) : folder(std::move(path)) {
        std::error_code failed; // shows when a file is opened
        std::filesystem::create_directories(folder, failed);
    }

    void write(const char* name, std::string_view content) {
        std::ofstream file(folder / name, std::ios::binary | std::ios::trunc);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
        file.close();
        fine = fine && file.good();
    }
    void write(const char* name, std::span<const std::uint8_t> content) {
        write(name, std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
    }
    // All seeds so far were written.
    bool isFine() const { return fine; }

private:
    std::filesystem::path folder;
    bool fine = true;
};

// Lets `writeSeeds` fill the folder that the one argument names; false when it could not. Returns the exit
// code.
inline int writeCorpus(int argc, char** argv,
                       const std::function<bool(const std::filesystem::path&)>& writeSeeds) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    if (!writeSeeds(argv[1])) {
        std::fprintf(stderr, "%s cannot be written\n", argv[1]);
        return 1;
    }
    return 0;
}

} // namespace qorn::fuzz

// Feeds the files named on the command line to a fuzz target, without a fuzzer.
#include "FuzzTarget.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE...\n", argv[0]);
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        if (!file.is_open() || file.bad()) {
            std::fprintf(stderr, "%s cannot be read\n", argv[i]);
            return 1;
        }
        // A block of exactly that size, so that a sanitizer sees the first byte too many.
        const auto bytes = std::make_unique<std::uint8_t[]>(content.size());
        std::copy(content.begin(), content.end(), bytes.get());
        LLVMFuzzerTestOneInput(bytes.get(), content.size());
    }
    std::printf("%d files replayed\n", argc - 1);
    return 0;
}

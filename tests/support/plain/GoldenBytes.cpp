#include "GoldenBytes.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace qorn::testing {

std::string goldenText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw std::runtime_error("goldenText: cannot read " + path);
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

Bytes goldenBytes(const std::string& path) {
    std::istringstream lines(goldenText(path));
    std::string digits;
    for (std::string line; std::getline(lines, line);) {
        digits += line.substr(0, line.find('#')) + ' ';
    }
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return bytesFromHex(digits);
}

} // namespace qorn::testing

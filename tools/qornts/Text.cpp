#include "Text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace qorn::qornts {

std::string printable(std::string_view text) {
    std::string clean(text);
    for (std::size_t at = 0; at < clean.size(); ++at) {
        const auto byte = static_cast<unsigned char>(clean[at]);
        if (byte < 0x20 || byte == 0x7F) {
            clean[at] = '?';
        } else if (byte == 0xC2 && at + 1 < clean.size() &&
                   static_cast<unsigned char>(clean[at + 1]) < 0xA0) { // U+0080 to U+009F
            clean.replace(at, 2, "?");
        }
    }
    return clean;
}

std::string explanation(const std::exception& error) {
    constexpr std::string_view kReader = "StreamFileReader: ";
    const std::string_view text = error.what();
    return std::string(text.starts_with(kReader) ? text.substr(kReader.size()) : text);
}

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
    }
}

void complain(std::string_view text) {
    std::fprintf(stderr, "qornts: %s\n", printable(text).c_str());
}

void warn(std::string_view text) {
    complain("warning: " + std::string(text));
}

} // namespace qorn::qornts

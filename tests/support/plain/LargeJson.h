// JSON of many values, as a file holds it by accident or to do harm.
#pragma once

#include <cstddef>
#include <string>

namespace qorn::testing {

// A list of as many such elements as fit into so many bytes, one at least.
inline std::string jsonListOf(const std::string& element, std::size_t bytes) {
    std::string list = '[' + element;
    while (list.size() + element.size() + 2 <= bytes) {
        list += ',';
        list += element;
    }
    return list += ']';
}

// An object of as many different keys as surely fit into so many bytes.
inline std::string jsonObjectOfKeys(std::size_t bytes) {
    constexpr std::size_t kMostKeyBytes = sizeof "\"18446744073709551615\":0,";
    std::string object = "{\"0\":0";
    for (std::size_t key = 1; object.size() + kMostKeyBytes <= bytes; ++key) {
        object += ",\"" + std::to_string(key) + "\":0";
    }
    return object += '}';
}

} // namespace qorn::testing

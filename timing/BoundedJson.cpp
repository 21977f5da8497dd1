#include "BoundedJson.h"

#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace qorn::timing::detail {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostDepth = 64;

// Hands the text to the parser and tells how far that is.
class TextIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TextIterator(const char* position, std::size_t* count) : at(position), bytesRead(count) {}

    reference operator*() const { return *at; }
    TextIterator& operator++() {
        ++at;
        ++*bytesRead;
        return *this;
    }
    TextIterator operator++(int) {
        const TextIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const TextIterator& other) const { return at == other.at; }

private:
    const char* at;
    std::size_t* bytesRead;
};

// Receives the parser's events and builds the tree of what is kept. The library's own way to leave values out
// looks through the whole of a list for each object or list in it. The parser names each member function that
// it calls.
class KeptTree {
public:
    KeptTree(const JsonBounds& keptBounds, const std::size_t& readSoFar)
        : bounds(keptBounds), bytesRead(readSoFar) {}

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(Json::number_integer_t value) { return add(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return add(value); }
    bool number_float(Json::number_float_t value, const std::string&) { return add(value); }
    bool string(std::string& value) { return add(std::move(value)); }
    bool binary(Json::binary_t&) { return refuse("is no JSON"); }
    bool start_object(std::size_t) { return open(Json::object()); }
    bool start_array(std::size_t) { return open(Json::array()); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& name) {
        pendingKey = std::move(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
        return refuse("is no JSON");
    }

    Json root;
    std::string fault; // empty while there is none

private:
    bool isKept() const { return depth <= static_cast<std::size_t>(bounds.kept_depth); }

    template <typename Value>
    bool add(Value&& value) {
        if (depth == 0) {
            return refuse("is no JSON object");
        }
        return !isKept() || keep(std::forward<Value>(value)) != nullptr;
    }

    // Null when there are too many.
    template <typename Value>
    Json* keep(Value&& value) {
        if (++values > bounds.most_values) {
            refuse("holds more than " + std::to_string(bounds.most_values) + " values");
            return nullptr;
        }
        Json* place = &root;
        if (depth > 0) {
            Json& parent = *kept.back();
            place = parent.is_array() ? &parent.emplace_back() : &parent[std::move(pendingKey)];
        }
        *place = std::forward<Value>(value);
        return place;
    }

    bool open(Json container) {
        if (depth == 0 && !container.is_object()) {
            return refuse("is no JSON object");
        }
        if (depth == kMostDepth) {
            return refuse("is nested deeper than " + std::to_string(kMostDepth) + " levels");
        }
        if (isKept()) {
            Json* const place = keep(std::move(container));
            if (place == nullptr) {
                return false;
            }
            kept.push_back(place); // stays put: its parent grows again only after it is closed
        }
        ++depth;
        return true;
    }

    bool close() {
        --depth;
        if (isKept()) {
            kept.pop_back();
        }
        return true;
    }

    bool refuse(const std::string& what) {
        fault = what + ", near byte " + std::to_string(bytesRead);
        return false;
    }

    const JsonBounds bounds;
    const std::size_t& bytesRead;
    std::size_t depth = 0; // of lists and objects that are open
    std::size_t values = 0;
    std::vector<Json*> kept; // of those the ones in the tree
    std::string pendingKey;
};

} // namespace

Json parse_bounded_object(std::string_view text, const JsonBounds& bounds) {
    std::size_t bytesRead = 0;
    KeptTree tree(bounds, bytesRead);
    const TextIterator first(text.data(), &bytesRead);
    const TextIterator last(text.data() + text.size(), &bytesRead);
    if (!Json::sax_parse(first, last, &tree)) {
        throw JsonFault(tree.fault);
    }
    return std::move(tree.root);
}

} // namespace qorn::timing::detail

#include "SceneNode.h"

#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

namespace qorn::simulator {

namespace {

// No scene of a sense comes near these; together they keep looking for a key and holding the paths cheap.
constexpr std::size_t kDeepestNesting = 16;
constexpr std::size_t kMostKeys = 64; // in one object
constexpr std::size_t kMostKeyBytes = 64;

[[noreturn]] void refuseAt(std::size_t line, const std::string& path, const std::string& what) {
    throw SceneError("line " + std::to_string(line) + (path.empty() ? "" : ", key \"" + path + "\"") + ": " +
                     what);
}

// Where the parser stands in the text.
struct Cursor {
    std::size_t line = 1;
    char last = 0;
};

// Hands the text to the parser and keeps the cursor up to date.
class TextIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    TextIterator(const char* position, Cursor* where) : at(position), cursor(where) {}

    reference operator*() const { return *at; }
    TextIterator& operator++() {
        cursor->last = *at++;
        cursor->line += cursor->last == '\n';
        return *this;
    }
    TextIterator operator++(int) {
        TextIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const TextIterator& other) const { return at == other.at; }

private:
    const char* at;
    Cursor* cursor;
};

} // namespace

// Receives the parser's events and builds the tree. The parser names each member function that it calls.
class SceneNodeBuilder {
public:
    using Json = nlohmann::json;

    explicit SceneNodeBuilder(const Cursor& where) : cursor(where) {}

    bool null() { return add(SceneNode::Kind::Null), true; }
    bool boolean(bool value) { return add(SceneNode::Kind::Boolean).booleanValue = value, true; }
    bool number_integer(Json::number_integer_t value) { return addNumber(static_cast<double>(value)); }
    bool number_unsigned(Json::number_unsigned_t value) { return addNumber(static_cast<double>(value)); }
    bool number_float(Json::number_float_t value, const std::string&) { return addNumber(value); }
    bool string(std::string& value) {
        add(SceneNode::Kind::String).stringValue = value;
        return true;
    }
    bool binary(Json::binary_t&) { return false; }
    bool start_object(std::size_t) { return open(SceneNode::Kind::Object); }
    bool start_array(std::size_t) { return open(SceneNode::Kind::Array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }

    bool key(std::string& name) {
        SceneNode& object = *openNodes.back();
        if (name.size() > kMostKeyBytes) {
            refuseAt(cursor.line, object.path(),
                     "holds a key of more than " + std::to_string(kMostKeyBytes) + " bytes");
        }
        if (object.elements().size() == kMostKeys) {
            refuseAt(cursor.line, object.path(), "holds more than " + std::to_string(kMostKeys) + " keys");
        }
        pendingKey = name;
        keyLine = cursor.line;
        if (object.find(name) != nullptr) {
            refuseAt(cursor.line, memberPath(object), "is given twice");
        }
        return true;
    }

    bool parse_error(std::size_t, const std::string& token, const nlohmann::detail::exception& error) {
        const std::string text = error.what();
        const std::size_t reason = text.find("syntax error");
        refuseAt(cursor.line, openNodes.empty() ? "" : nearestPath(*openNodes.back()),
                 "is no valid JSON near \"" + token +
                     "\": " + (reason == std::string::npos ? text : text.substr(reason)));
    }

    SceneNode root;

private:
    SceneNode& add(SceneNode::Kind kind) {
        const bool readAhead = kind == SceneNode::Kind::Number && cursor.last == '\n';
        const std::size_t line = keyLine.value_or(cursor.line - (readAhead ? 1 : 0));
        SceneNode* node = &root;
        if (!openNodes.empty()) {
            SceneNode& parent = *openNodes.back();
            std::string path = parent.kind() == SceneNode::Kind::Object
                                   ? memberPath(parent)
                                   : parent.path() + "[" + std::to_string(parent.children.size()) + "]";
            node = &parent.children.emplace_back();
            node->keyPath = std::move(path);
            node->ownKey = parent.kind() == SceneNode::Kind::Object ? pendingKey : std::string();
        }
        node->valueKind = kind;
        node->firstLine = line;
        keyLine.reset();
        return *node;
    }

    bool addNumber(double value) {
        add(SceneNode::Kind::Number).numberValue = value;
        return true;
    }

    bool open(SceneNode::Kind kind) {
        SceneNode& node = add(kind);
        if (openNodes.size() >= kDeepestNesting) {
            node.refuse("is nested too deeply");
        }
        openNodes.push_back(&node); // stays put: its parent grows again only after it is closed
        return true;
    }

    bool close() {
        openNodes.pop_back();
        keyLine.reset();
        return true;
    }

    // The value that is being read or was read last, which is where a person will look.
    std::string nearestPath(const SceneNode& node) const {
        if (keyLine.has_value() && node.kind() == SceneNode::Kind::Object) {
            return memberPath(node);
        }
        return node.elements().empty() ? node.path() : node.elements().back().path();
    }

    std::string memberPath(const SceneNode& object) const {
        return object.path().empty() ? pendingKey : object.path() + "." + pendingKey;
    }

    const Cursor& cursor;
    std::vector<SceneNode*> openNodes;
    std::string pendingKey;
    std::optional<std::size_t> keyLine;
};

SceneNode SceneNode::parse(std::string_view text) {
    Cursor cursor;
    SceneNodeBuilder builder(cursor);
    const TextIterator first(text.data(), &cursor);
    const TextIterator last(text.data() + text.size(), &cursor);
    nlohmann::json::sax_parse(first, last, &builder, nlohmann::json::input_format_t::json, true, true);
    return std::move(builder.root);
}

const SceneNode* SceneNode::find(std::string_view name) const {
    requireObject();
    for (const SceneNode& child : children) {
        if (child.ownKey == name) {
            return &child;
        }
    }
    return nullptr;
}

double SceneNode::number() const {
    if (valueKind != Kind::Number) {
        refuse("must be a number");
    }
    return numberValue;
}

bool SceneNode::boolean() const {
    if (valueKind != Kind::Boolean) {
        refuse("must be true or false");
    }
    return booleanValue;
}

const std::string& SceneNode::string() const {
    if (valueKind != Kind::String) {
        refuse("must be a text");
    }
    return stringValue;
}

const std::vector<SceneNode>& SceneNode::array() const {
    if (valueKind != Kind::Array) {
        refuse("must be an array");
    }
    return children;
}

void SceneNode::requireObject() const {
    if (valueKind != Kind::Object) {
        refuse("must be an object");
    }
}

void SceneNode::refuse(const std::string& what) const {
    refuseAt(firstLine, keyPath, what);
}

} // namespace qorn::simulator

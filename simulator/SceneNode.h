// A JSON document whose every value knows its line and its key path, so that whoever reads it can refuse a
// value by name. Read once when a scene is loaded; all failures are thrown as SceneError with the whole text.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qorn::simulator {

class SceneError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class SceneNode {
public:
    enum class Kind { Null, Boolean, Number, String, Array, Object };

    // Parses a whole document; comments are allowed. A key given twice is an error.
    static SceneNode parse(std::string_view text);

    Kind kind() const { return valueKind; }
    std::size_t line() const { return firstLine; }
    const std::string& path() const { return keyPath; } // "units[0].seed", empty for the document

    const std::vector<SceneNode>& elements() const {
        return children;
    }                                                 // of an array, or of an object in order
    const std::string& key() const { return ownKey; } // in its object

    // The member of that name, or null; an error unless this is an object.
    const SceneNode* find(std::string_view name) const;

    double number() const;
    bool boolean() const;
    const std::string& string() const;
    const std::vector<SceneNode>& array() const;
    void requireObject() const;

    // Throws: line <n>, key "<path>": <what>
    [[noreturn]] void refuse(const std::string& what) const;

private:
    friend class SceneNodeBuilder;

    Kind valueKind = Kind::Null;
    std::size_t firstLine = 1;
    std::string ownKey;
    std::string keyPath;
    double numberValue = 0;
    bool booleanValue = false;
    std::string stringValue;
    std::vector<SceneNode> children;
};

} // namespace qorn::simulator

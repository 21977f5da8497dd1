// A variable of the environment that a test changes.
#pragma once

#include <optional>
#include <string>

#include <stdlib.h>

namespace qorn::testing {

// A variable that is not set unless the test sets it; its earlier value comes back at the end.
class Environment {
public:
    explicit Environment(const char* variable) : name(variable) {
        if (const char* value = getenv(name)) {
            earlier = value;
        }
        set(nullptr);
    }
    ~Environment() { set(earlier ? earlier->c_str() : nullptr); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    void set(const char* value) const {
        if (value == nullptr) {
            unsetenv(name);
        } else {
            setenv(name, value, 1);
        }
    }

private:
    const char* name;
    std::optional<std::string> earlier;
};

} // namespace qorn::testing

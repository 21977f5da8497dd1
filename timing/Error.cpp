#include "Error.h"

#include "Driver.h"

namespace qorn::timing::detail {

void throw_status(tt_status status, const char* operation, const char* detail) {
    std::string message = operation;
    message += ": ";
    const char* text = driver().tt_status_string(status);
    message += text != nullptr ? text : "";
    if (detail != nullptr && *detail != '\0') {
        message += " (";
        message += detail;
        message += ")";
    }
    throw Error(status, message);
}

void check(tt_status status, const char* operation, const tt_device* device) {
    if (status != TT_OK) {
        throw_status(status, operation, device != nullptr ? driver().tt_last_error(device) : nullptr);
    }
}

std::string failure_text(tt_status status, const tt_device* device) {
    const char* text = driver().tt_status_string(status);
    std::string message = text != nullptr ? text : "";
    const char* detail = device != nullptr ? driver().tt_last_error(device) : nullptr;
    if (detail != nullptr && *detail != '\0') {
        message += ": ";
        message += detail;
    }
    return message;
}

} // namespace qorn::timing::detail

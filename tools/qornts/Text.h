// Texts for a terminal.
#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace qorn::qornts {

// The text with "?" in the place of control characters, which in foreign files could command the terminal.
std::string printable(std::string_view text);

// What an exception tells the user: the path and what is wrong with it, without the class that found it.
std::string explanation(const std::exception& error);

// Writes to the standard output, whole. Throws std::runtime_error when that fails.
void print(std::string_view text);

// Writes one line, "qornts: <text>", to the standard error.
void complain(std::string_view text);
void warn(std::string_view text); // "qornts: warning: <text>"

} // namespace qorn::qornts

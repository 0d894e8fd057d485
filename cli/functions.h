// The built-in functions of Algebra, for reading.
#pragma once

#include <span>
#include <string_view>

// In a prototype X, Y and RATE stand for the name of a variable, DEST for the name of a variable that the call fills
// (made when it does not exist), and small letters for any expression.
struct FunctionEntry {
  std::string_view name;
  std::string_view family;
  std::string_view prototype;
  std::string_view meaning;
};

std::span<const FunctionEntry> BuiltInFunctions();

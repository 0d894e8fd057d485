// The library's values as JSON, and back. The form is documented in docs/calling.md.
#pragma once

#include <morv/host.hpp>

#include <map>
#include <nlohmann/json.hpp>
#include <string>

using Json = nlohmann::ordered_json;

// Values that earlier calls of the same command gave, by the names of their outputs; results by the functions' names.
using NamedValues = std::map<std::string, morv::Value>;

// A value for an argument. Throws Failure, with `place` in front, when the JSON has none of the forms. Files that it
// names are looked for beside `folder`.
morv::Value ValueFromJson(const Json &json, const NamedValues &named, const std::string &folder,
                          const std::string &place);

// Throws Failure when a key of an object stands neither for its form nor among those that go with it.
void ExpectKeys(const Json &json, const std::string &form, const std::vector<std::string> &beside,
                const std::string &place);

// A copy; of a matrix the part that "rows": [first, last] and "columns": [first, last] keep, counted from 0, turned
// when "transposed" is true.
morv::Value Selected(const morv::Value &value, const Json &json, const std::string &place);

// Numbers are rounded to so many significant digits; 17 keep them exact.
Json ValueToJson(const morv::Value &value, int digits);

// As text for people and programs: the rows of a matrix stand on one line each.
std::string JsonText(const Json &json, int indent = 0);

// tessel call: the library's exports from the command line.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <list>
#include <set>

#include "commands.h"
#include "export_table.h"
#include "failure.h"
#include "input.h"
#include "json_values.h"
#include "text.h"

namespace {

// Found in the folder that belongs to this command, or else by the loader's search.
constexpr const char *kLibrary = "libtessel13_morv_64.so";

// Standard output holds the results alone: as long as this object lives, what the library prints there goes to standard
// error.
class PrintedToStandardError {
 public:
  PrintedToStandardError() {
    std::fflush(stdout);
    saved_ = dup(STDOUT_FILENO);
    if (saved_ < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) Fail("standard output", "it cannot be diverted");
  }
  PrintedToStandardError(const PrintedToStandardError &) = delete;
  PrintedToStandardError &operator=(const PrintedToStandardError &) = delete;
  ~PrintedToStandardError() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

 private:
  int saved_ = -1;
};

const tessel::Export &ExportOf(const std::string &name) {
  if (const tessel::Export *entry = tessel::FindExport(name); entry != nullptr) return *entry;
  std::string names;
  for (const tessel::Export &entry : tessel::kExports) names.append(names.empty() ? "" : ", ").append(entry.name);
  Misuse("tessel call", "no function '" + name + "', expected one of " + names);
}

Json ReadJson(const std::string &path) {
  constexpr int deepest = 100;
  const std::string text = ReadText(path);
  std::vector<std::set<std::string>> keys;  // of each object that is open
  try {
    return Json::parse(text, [&](int depth, Json::parse_event_t event, const Json &value) {
      if (depth > deepest) Fail(path, "values are nested more than " + std::to_string(deepest) + " deep");
      if (event == Json::parse_event_t::object_start) keys.emplace_back();
      if (event == Json::parse_event_t::object_end) keys.pop_back();
      if (event == Json::parse_event_t::key && !keys.back().insert(value.get<std::string>()).second)
        Fail(path, value.dump() + " stands twice in one object");
      return true;
    });
  } catch (const Json::exception &error) {
    const std::string what = error.what();
    Fail(path, "no JSON: " + what.substr(what.find("] ") + 2));
  }
}

// An output: what its argument asks for, and where it stands in the file. The value is a string, which no output is, as
// long as it is not written.
struct Output {
  const Json &json;
  std::string name, place;
  morv::Value value;
};

// The arguments of one call, and what keeps their values.
struct CallArguments {
  morv::Arguments list;
  std::list<morv::Value> values;
  std::list<Output> outputs;
};

void AddArgument(CallArguments &call, const Json &json, const NamedValues &named, const std::string &folder,
                 const std::string &place) {
  if (json.is_null()) {
    call.list.Decline();
  } else if (json.is_object() && json.contains("output")) {
    if (!json["output"].is_string()) Fail(place, "expected the output's name, found " + json["output"].dump());
    ExpectKeys(json, "output", {"rows", "columns", "transposed"}, place);
    for (const Output &earlier : call.outputs)
      if (json["output"] == earlier.name) Fail(place, "two outputs have the name " + json["output"].dump());
    call.outputs.push_back({json, json["output"].get<std::string>(), place, morv::Value::String("")});
    call.list.Output(call.outputs.back().value);
  } else {
    call.list.Borrow(call.values.emplace_back(ValueFromJson(json, named, folder, place)));
  }
}

// Calls one function; its result and outputs join the named values, and those that it did not store leave them.
Json CallOne(const morv::Library &library, const std::string &name, const std::string &path, const CallOptions &options,
             NamedValues &named) {
  const int count = ExportOf(name).count;
  const Json arguments = ReadJson(path);
  if (!arguments.is_array()) Fail(path, "expected an array of arguments");
  if (arguments.size() != static_cast<std::size_t>(count))
    Fail(path,
         name + " takes " + std::to_string(count) + " arguments, the file has " + std::to_string(arguments.size()));
  const std::size_t slash = path.rfind('/');
  const std::string folder = path == "-" || slash == std::string::npos ? "." : path.substr(0, slash + 1);
  CallArguments call;
  for (std::size_t i = 0; i < arguments.size(); ++i)
    AddArgument(call, arguments[i], named, folder, path + ": argument " + std::to_string(i + 1));

  morv::Outcome outcome;
  {
    const PrintedToStandardError printed;
    outcome = library.Call(name, call.list);
  }
  if (outcome.Failed()) Fail(path, outcome.message);
  const auto isShown = [&](const std::string &value) {
    return options.only.empty() || std::ranges::find(options.only, value) != options.only.end();
  };
  Json shown = {{"function", name}};
  // What was not stored leaves no value of an earlier call behind.
  const auto keep = [&](const std::string &as, bool stored, morv::Value &value) {
    named.erase(as);
    if (stored) named.emplace(as, std::move(value));
  };
  if (isShown("result") || isShown(name))
    shown["result"] = outcome.Returned() ? ValueToJson(outcome.result, options.digits) : Json();
  keep(name, outcome.Returned(), outcome.result);
  Json outputs = Json::object();
  for (Output &output : call.outputs) {
    const bool stored = output.value.Tag() != MORV_STRING;
    if (isShown(output.name))
      outputs[output.name] =
          stored ? ValueToJson(Selected(output.value, output.json, output.place), options.digits) : Json();
    keep(output.name, stored, output.value);
  }
  if (!outputs.empty()) shown["outputs"] = std::move(outputs);
  return shown;
}

// Closes the Algebra workspace that the calls may have left open, so that its memory is given back before the library
// goes.
struct ClosedWorkspace {
  const morv::Library &library;
  ~ClosedWorkspace() {
    morv::Arguments none;
    library.Call("FnExitAlgebraNls", none);
  }
};

}  // namespace

int CallCommand(const CallOptions &options) {
  const std::vector<std::string> &words = options.calls;
  if (words.size() % 2 != 0) Misuse("tessel call", "expected a file of arguments behind each function");
  morv::Library library;
  if (const std::string error = library.Open(kLibrary); !error.empty()) Fail("tessel", error);
  const ClosedWorkspace closed{library};
  NamedValues named;
  std::vector<std::string> unmet = options.only;
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const Json shown = CallOne(library, words[i], words[i + 1], options, named);
    std::erase_if(unmet, [&](const std::string &name) {
      return name == "result" || name == words[i] || (shown.contains("outputs") && shown["outputs"].contains(name));
    });
    if (options.only.empty() || shown.size() > 1) std::cout << JsonText(shown) << '\n';
  }
  if (!unmet.empty()) Misuse("--only", "no call has a result or an output " + Quoted(unmet[0]));
  return 0;
}

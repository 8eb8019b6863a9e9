#include "host/schema.h"

#include <memory>
#include <string>

#include "options.h"

namespace libmfx::host {
namespace {

int RunSchema(const std::string& name, Console& console) {
  if (name.empty()) {
    std::string names;
    for (const std::string& known : SchemaNames()) names += (names.empty() ? "" : "\n") + known;
    console.Result(names);
    return kMeasured;
  }
  const std::optional<std::string> schema = SchemaText(name);
  if (!schema) {
    throw CallError("there is no schema " + Excerpt(name) + " (mfx schema lists their names)");
  }
  console.Result(*schema);
  return kMeasured;
}

}  // namespace

void AddSchema(CLI::App& program, Execute& execute) {
  const auto name = std::make_shared<std::string>();
  CLI::App& command = Call::Add(
      program, "schema",
      {.summary = "Print a JSON Schema, or their names",
       .about = "Requests, results, recordings, scenes and the findings of a check are described "
                "by JSON "
                "Schemas, for editors and for programs that write or read them.",
       .examples = {{"mfx schema", "Lists the names."},
                    {"mfx schema request-hole", "Prints what a request for a hole may hold."}},
       .statuses = {{kMeasured, "the schema or the list was printed"}, FailedStatus()}});
  command.add_option("NAME", *name, "Of a schema; without it, the names of all")->type_name("NAME");
  command.callback([&execute, name] {
    execute = [name](Console& console) { return RunSchema(*name, console); };
  });
}

}  // namespace libmfx::host

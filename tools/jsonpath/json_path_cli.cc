#include "jsonpath/json_path_cli.h"

#include <istream>
#include <iterator>
#include <optional>
#include <ostream>

#include "jsonpath/json_path.h"

namespace tessarin {
namespace {

constexpr const char* kUsage = "usage: tessarin-jsonpath [--paths] EXPRESSION [FILE]\n";

constexpr const char* kHelp =
    "\n"
    "Evaluates EXPRESSION over the JSON document in FILE (standard input when FILE\n"
    "is missing or \"-\") and prints the results as one line of compact JSON: the\n"
    "array of values found, or with --paths the array of their normalised paths\n"
    "(\"$['a'][0]\"). An expression that matches nothing prints [].\n"
    "\n"
    "Expressions are those of the configuration's view-action rules: name, [n],\n"
    "*, .., unions a,b, slices start:end:step, the parent step ^, scripts\n"
    "(condition) and filters ?(condition). A filter on an array tests each element;\n"
    "on a dictionary it tests the dictionary itself. A condition is\n"
    "\"left operator right\" with the operators == != =~ < <= > >= and the operands\n"
    "@..., @path..., $..., 'text', /pattern/flags, NULL and numbers.\n"
    "\n"
    "Exit status: 0 results printed; 2 the document is not valid JSON;\n"
    "64 bad usage; 66 FILE cannot be read.\n";

struct Arguments {
  bool paths = false;
  std::string expression;
  std::optional<std::string> file;
};

enum class Parse { kRun, kHelp, kBad };

Parse ParseArguments(const std::vector<std::string>& args, Arguments* parsed, std::string* problem) {
  std::vector<std::string> operands;
  bool optionsEnded = false;
  for (const std::string& arg : args) {
    if (!optionsEnded && arg == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && (arg == "--help" || arg == "-h")) {
      return Parse::kHelp;
    } else if (!optionsEnded && arg == "--paths") {
      parsed->paths = true;
    } else if (!optionsEnded && arg.size() > 1 && arg[0] == '-') {
      *problem = "unknown option " + arg;
      return Parse::kBad;
    } else {
      operands.push_back(arg);
    }
  }
  if (operands.empty()) {
    *problem = "missing EXPRESSION";
    return Parse::kBad;
  }
  if (operands.size() > 2) {
    *problem = "too many arguments";
    return Parse::kBad;
  }
  parsed->expression = operands[0];
  if (operands.size() == 2 && operands[1] != "-") parsed->file = operands[1];
  return Parse::kRun;
}

}  // namespace

int RunJsonPathTool(const std::vector<std::string>& args, platform::FileSystem& files, std::istream& in,
                    std::ostream& out, std::ostream& err) {
  Arguments arguments;
  std::string problem;
  switch (ParseArguments(args, &arguments, &problem)) {
    case Parse::kHelp:
      out << kUsage << kHelp;
      return kJsonPathToolOk;
    case Parse::kBad:
      err << "tessarin-jsonpath: " << problem << "\n" << kUsage;
      return kJsonPathToolUsage;
    case Parse::kRun: break;
  }

  std::string text;
  std::string source = arguments.file.value_or("standard input");
  if (arguments.file) {
    platform::IoResult read = files.readFile(*arguments.file, &text);
    if (!read.ok) {
      err << "tessarin-jsonpath: cannot read " << *arguments.file << ": " << read.description << "\n";
      return kJsonPathToolNoInput;
    }
  } else {
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  std::optional<Json> document;
  try {
    document = Json::parse(text);
  } catch (const Json::exception& e) {
    err << "tessarin-jsonpath: " << source << " is not valid JSON: " << e.what() << "\n";
    return kJsonPathToolInvalidJson;
  }

  TSRJsonPath evaluator(std::move(document),
                        arguments.paths ? TSRJsonPath::kResultTypePath : TSRJsonPath::kResultTypeValue);
  out << JsonDump(evaluator.evaluateExpression(arguments.expression).value_or(Json::array())) << "\n";
  return kJsonPathToolOk;
}

}  // namespace tessarin

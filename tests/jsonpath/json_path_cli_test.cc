#include "jsonpath/json_path_cli.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace tessarin {
namespace {

// Files the tool may read, by path; anything else cannot be read.
class FakeFiles : public platform::FileSystem {
 public:
  std::map<std::string, std::string> files;

  std::optional<std::string> applicationSupportDirectory(std::string*) override { return std::nullopt; }
  platform::IoResult createDirectory(const std::string&) override { return Unsupported(); }
  bool fileExists(const std::string& path) override { return files.count(path) > 0; }
  platform::IoResult readFile(const std::string& path, std::string* contents) override {
    auto found = files.find(path);
    if (found == files.end()) return platform::IoResult::Failure(2, "No such file or directory");
    *contents = found->second;
    return platform::IoResult::Success();
  }
  platform::IoResult writeFileAtomically(const std::string&, const std::string&) override { return Unsupported(); }
  platform::IoResult removeFile(const std::string&) override { return Unsupported(); }
  platform::IoResult excludeFromBackup(const std::string&) override { return Unsupported(); }

 private:
  static platform::IoResult Unsupported() { return platform::IoResult::Failure(95, "unsupported"); }
};

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

ToolRun RunTool(const std::vector<std::string>& args, const std::string& input = "", FakeFiles files = {}) {
  std::istringstream in(input);
  std::ostringstream out, err;
  int status = RunJsonPathTool(args, files, in, out, err);
  return {status, out.str(), err.str()};
}

const char* const kStore = R"({"store": {"book": [{"title": "A", "price": 8}, {"title": "B", "price": 23}],
                                         "bicycle": {"color": "red"}}})";

TEST(JsonPathTool, PrintsValuesOrPathsAsOneLineOfCompactJson) {
  ToolRun values = RunTool({"$..book[?(@.price > 20)]"}, kStore);
  EXPECT_EQ(values.status, 0);
  EXPECT_EQ(values.out, "[{\"title\":\"B\",\"price\":23}]\n");
  EXPECT_EQ(values.err, "");

  ToolRun paths = RunTool({"--paths", "$..title"}, kStore);
  EXPECT_EQ(paths.status, 0);
  EXPECT_EQ(paths.out, "[\"$['store']['book'][0]['title']\",\"$['store']['book'][1]['title']\"]\n");

  EXPECT_EQ(RunTool({"$.store.nothing"}, kStore).out, "[]\n");
  // Any JSON value is a document, a bare string included.
  EXPECT_EQ(RunTool({"$[?(@ =~ /^h/)]"}, "\"hello\"").out, "[\"hello\"]\n");
}

TEST(JsonPathTool, ReadsTheNamedFileOrStandardInputForADash) {
  FakeFiles files;
  files.files["store.json"] = kStore;
  ToolRun fromFile = RunTool({"$.store.bicycle.color", "store.json"}, "", files);
  EXPECT_EQ(fromFile.status, 0);
  EXPECT_EQ(fromFile.out, "[\"red\"]\n");

  EXPECT_EQ(RunTool({"--paths", "$.store.bicycle", "-"}, kStore, files).out, "[\"$['store']['bicycle']\"]\n");

  ToolRun missing = RunTool({"$", "absent.json"}, kStore, files);
  EXPECT_EQ(missing.status, 66);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(missing.err, "tessarin-jsonpath: cannot read absent.json: No such file or directory\n");
}

TEST(JsonPathTool, InvalidJsonIsExitStatusTwoWithTheReason) {
  for (const char* input : {"{\"a\": ", "", "{'a': 1}", "[1, 2] 3"}) {
    ToolRun run = RunTool({"$"}, input);
    EXPECT_EQ(run.status, 2) << input;
    EXPECT_EQ(run.out, "") << input;
    EXPECT_EQ(run.err.rfind("tessarin-jsonpath: standard input is not valid JSON: ", 0), 0u) << run.err;
  }
}

TEST(JsonPathTool, BadUsageIsExitStatus64WithTheUsageLine) {
  const std::string usage = "usage: tessarin-jsonpath [--paths] EXPRESSION [FILE]\n";
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {}, {"--paths"}, {"--flat", "$"}, {"$", "a.json", "b.json"}}) {
    ToolRun run = RunTool(args, kStore);
    EXPECT_EQ(run.status, 64);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find(usage), std::string::npos) << run.err;
  }
  EXPECT_EQ(RunTool({}, kStore).err, "tessarin-jsonpath: missing EXPRESSION\n" + usage);
  EXPECT_EQ(RunTool({"-x", "$"}, kStore).err, "tessarin-jsonpath: unknown option -x\n" + usage);

  ToolRun help = RunTool({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind(usage, 0), 0u);
  EXPECT_NE(help.out.find("64 bad usage"), std::string::npos);

  // After "--" an argument that looks like an option is an operand.
  EXPECT_EQ(RunTool({"--", "--paths"}, "{\"--paths\": 1}").out, "[1]\n");
}

}  // namespace
}  // namespace tessarin

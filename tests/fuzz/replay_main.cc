// Runs every fuzz target over every file of its corpus, once: the seeds and
// the inputs of faults the fuzzers found, kept as regression cases.
//
//   tessarin_fuzz_replay CORPUS_DIR [TARGET...]      each target's folder of CORPUS_DIR
//   tessarin_fuzz_replay --target NAME FILE...       the given inputs only
//
// A fault aborts the process (the sanitizers say where); the last line
// printed before it names the input. A target without a folder of seeds,
// and a folder without a target, are errors: a renamed target must take its
// corpus along.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "fuzz_target.h"

namespace tessarin::fuzz {
namespace {

std::map<std::string, TargetBody>& Registry() {
  static std::map<std::string, TargetBody> targets;
  return targets;
}

bool ReadFile(const std::filesystem::path& path, std::string* contents) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  contents->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

bool Replay(const std::string& name, TargetBody body, const std::vector<std::filesystem::path>& files) {
  auto begun = std::chrono::steady_clock::now();
  for (const auto& file : files) {
    std::string input;
    if (!ReadFile(file, &input)) {
      std::fprintf(stderr, "%s: cannot read %s\n", name.c_str(), file.c_str());
      return false;
    }
    std::printf("%s: %s\n", name.c_str(), file.filename().c_str());
    std::fflush(stdout);
    PrepareProcess();
    body(input);
  }
  double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
  std::printf("%s: %zu inputs in %.0f ms\n", name.c_str(), files.size(), ms);
  return true;
}

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& dir) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
    if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

int Usage() {
  std::fprintf(stderr,
               "usage: tessarin_fuzz_replay CORPUS_DIR [TARGET...]\n"
               "       tessarin_fuzz_replay --target NAME FILE...\n"
               "targets:");
  for (const auto& [name, body] : Registry()) std::fprintf(stderr, " %s", name.c_str());
  std::fprintf(stderr, "\n");
  return 64;
}

}  // namespace

Registration::Registration(const char* name, TargetBody body) { Registry().emplace(name, body); }

}  // namespace tessarin::fuzz

int main(int argc, char** argv) {
  using namespace tessarin::fuzz;
  if (argc < 2) return Usage();
  const auto& registry = Registry();

  if (std::strcmp(argv[1], "--target") == 0) {
    if (argc < 4 || registry.count(argv[2]) == 0) return Usage();
    return Replay(argv[2], registry.at(argv[2]), std::vector<std::filesystem::path>(argv + 3, argv + argc)) ? 0 : 1;
  }

  const std::filesystem::path corpus = argv[1];
  std::set<std::string> chosen(argv + 2, argv + argc);
  bool ok = true;
  for (const auto& name : chosen) {
    if (registry.count(name) == 0) {
      std::fprintf(stderr, "no fuzz target %s\n", name.c_str());
      return Usage();
    }
  }
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(corpus, error)) {
    if (entry.is_directory() && registry.count(entry.path().filename().string()) == 0) {
      std::fprintf(stderr, "corpus folder %s has no fuzz target\n", entry.path().c_str());
      ok = false;
    }
  }
  if (error) {
    std::fprintf(stderr, "cannot list %s: %s\n", corpus.c_str(), error.message().c_str());
    return 66;
  }
  std::size_t inputs = 0, targets = 0;
  for (const auto& [name, body] : registry) {
    if (!chosen.empty() && chosen.count(name) == 0) continue;
    std::vector<std::filesystem::path> files = FilesIn(corpus / name);
    if (files.empty()) {
      std::fprintf(stderr, "%s: no seeds in %s\n", name.c_str(), (corpus / name).c_str());
      ok = false;
      continue;
    }
    ok = Replay(name, body, files) && ok;
    inputs += files.size();
    ++targets;
  }
  std::printf("replayed %zu inputs of %zu fuzz targets\n", inputs, targets);
  return ok ? 0 : 1;
}

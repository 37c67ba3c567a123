// One fuzz target: a parser of outside input, driven the way the SDK drives
// it. Each tests/fuzz/<name>_fuzz.cc defines its body once,
//
//   TESSARIN_FUZZ_TARGET(name) { ... input ... }
//
// and serves two builds. Built for libFuzzer (TESSARIN_FUZZ_LIBFUZZER, the
// clang build of scripts/fuzz.sh) the body is the executable's
// LLVMFuzzerTestOneInput. Built into the suite, the body registers itself
// with the replay (replay_main.cc), which runs it over every file of
// tests/fuzz/corpus/<name>/: the seeds, and the inputs of every fault the
// fuzzers found, stay regression cases in the ordinary and the sanitizer
// runs of the suite.
//
// A body must leave nothing behind that the next input could see: it makes
// its own objects (fresh simulated hosts, files, façades) and lets them go.
#ifndef TESSARIN_TESTS_FUZZ_FUZZ_TARGET_H_
#define TESSARIN_TESTS_FUZZ_FUZZ_TARGET_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tessarin::fuzz {

using TargetBody = void (*)(std::string_view input);

// Settles what is process-wide before each input: the SDK logs everything
// (its log formatting runs over the inputs too), to no one unless
// TESSARIN_FUZZ_LOG is set in the environment.
void PrepareProcess();

// A violated expectation of a target (a round trip that lost something):
// the message goes to standard error and the process aborts, which both the
// fuzzer and the replay report as a failure with the input that caused it.
[[noreturn]] void Fail(const char* target, const char* what);

#if !defined(TESSARIN_FUZZ_LIBFUZZER)
struct Registration {
  Registration(const char* name, TargetBody body);
};
#endif

}  // namespace tessarin::fuzz

#if defined(TESSARIN_FUZZ_LIBFUZZER)
#define TESSARIN_FUZZ_TARGET(name)                                                         \
  static void TessarinFuzzBody_##name(std::string_view input);                             \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {      \
    ::tessarin::fuzz::PrepareProcess();                                                    \
    TessarinFuzzBody_##name(std::string_view(reinterpret_cast<const char*>(data), size));  \
    return 0;                                                                              \
  }                                                                                        \
  static void TessarinFuzzBody_##name(std::string_view input)
#else
#define TESSARIN_FUZZ_TARGET(name)                                                          \
  static void TessarinFuzzBody_##name(std::string_view input);                              \
  static const ::tessarin::fuzz::Registration kTessarinFuzzRegistration_##name(#name,       \
                                                                               TessarinFuzzBody_##name); \
  static void TessarinFuzzBody_##name(std::string_view input)
#endif

#endif  // TESSARIN_TESTS_FUZZ_FUZZ_TARGET_H_

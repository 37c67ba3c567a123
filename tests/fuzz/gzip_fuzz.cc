// Gzip, both ways, through the codec the sender uses. The input is inflated
// as a gzip stream (bounded or refused, never a fault, whatever it holds),
// and it is deflated as a request body is, which must inflate back to
// exactly the input.
#include <string>

#include "fuzz_support.h"
#include "fuzz_target.h"
#include "transport/gzip.h"

namespace tessarin::fuzz {
namespace {

// A request body is at most a batch of 50 events of 100 KB estimated each;
// a few MB is past anything the codec is given.
constexpr std::size_t kMaxInput = 1 << 20;

void Expect(bool holds, const char* what) {
  if (!holds) Fail("gzip", what);
}

}  // namespace
}  // namespace tessarin::fuzz

TESSARIN_FUZZ_TARGET(gzip) {
  using namespace tessarin;
  using namespace tessarin::fuzz;
  if (input.size() > kMaxInput) return;

  TSRError error;
  std::optional<std::string> inflated = tsr_dataByGZipDecompressingDataWithError(input, &error);
  (void)inflated;

  std::optional<std::string> deflated = tsr_dataByGZipCompressingWithError(input);
  Expect(deflated.has_value(), "a body could not be deflated");
  std::optional<std::string> back = tsr_dataByGZipDecompressingDataWithError(*deflated);
  Expect(back && *back == input, "a deflated body did not inflate back to itself");
}

// Images against golden PNGs kept beside the tests (a "golden" folder next
// to the test's source), compared with a small per-channel tolerance.
// TESSARIN_UPDATE_GOLDENS=1 rewrites them instead (and skips the test).
#ifndef TESSARIN_TESTS_SUPPORT_GOLDEN_H_
#define TESSARIN_TESTS_SUPPORT_GOLDEN_H_

#include <string>

#include "platform/ui/image.h"

namespace tessarin::testing {

// Anti-aliased edges and text may shift by a shade between builds; a real
// change (a missing border, a colour, a clip) is far more than this.
inline constexpr int kGoldenTolerance = 8;

// "<folder of source_file>/golden/<name>.png"; TESSARIN_UI_GOLDEN_DIR
// names another folder.
std::string GoldenPath(const std::string& source_file, const std::string& name);
void ExpectMatchesGolden(const platform::ui::Image& image, const std::string& path);

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_GOLDEN_H_

// Gzip compression of request bodies, and the matching decompression.
//
// The codec reaches zlib through a ZlibBinding, a table of the six entry
// points it uses. The default binding is the zlib the SDK is linked with; a
// host (or a test) whose zlib is missing passes a binding without entry
// points, and the codec then behaves as it does where the library cannot be
// found: one Error line when the binding is taken, and no data from either
// direction, so the sender falls back to an uncompressed body.
#ifndef TESSARIN_TRANSPORT_GZIP_H_
#define TESSARIN_TRANSPORT_GZIP_H_

#include <zlib.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"

namespace tessarin {

// The domain of the codec's errors (the SDK identifier followed by
// ".zlib.error"); their code is zlib's return value.
inline constexpr const char* kTSRZlibErrorDomain = "com.tessarin.sdk.zlib.error";

struct ZlibBinding {
  decltype(&::deflateInit2_) deflateInit2_ = nullptr;
  decltype(&::deflate) deflate = nullptr;
  decltype(&::deflateEnd) deflateEnd = nullptr;
  decltype(&::inflateInit2_) inflateInit2_ = nullptr;
  decltype(&::inflate) inflate = nullptr;
  decltype(&::inflateEnd) inflateEnd = nullptr;
  // Why the library could not be opened at all, when it could not.
  std::optional<std::string> openError;

  // The zlib the SDK is linked with.
  static ZlibBinding Linked();
};

class TSRGzipCodec {
 public:
  // Called with the output buffer's size when it is made and each time it
  // grows; lets a caller see how much memory an operation took.
  using BufferObserver = std::function<void(std::size_t size)>;

  // Takes the binding, logging what is missing from it.
  explicit TSRGzipCodec(ZlibBinding binding);

  // The process's codec, over the linked zlib.
  static const TSRGzipCodec& shared();

  bool canDeflate() const { return can_deflate_; }
  bool canInflate() const { return can_inflate_; }

  // Nothing when the operation failed; `error` (when given) is set only for
  // a failure zlib reported, not for a direction that is unavailable.
  std::optional<std::string> compress(std::string_view data, int level, int windowSize, int memoryLevel,
                                      int strategy, TSRError* error,
                                      const BufferObserver& observer = nullptr) const;
  std::optional<std::string> decompress(std::string_view data, int windowSize, TSRError* error,
                                        const BufferObserver& observer = nullptr) const;

 private:
  ZlibBinding binding_;
  bool can_deflate_ = false;
  bool can_inflate_ = false;
};

// The codec's operations on a byte string, over the shared codec. The
// defaults are zlib's default level, window size 31 (15 bits of window
// plus 16 for the gzip wrapper), memory level 8, the default strategy.
std::optional<std::string> tsr_dataByGZipCompressingWithError(std::string_view data, TSRError* error = nullptr);
std::optional<std::string> tsr_dataByGZipCompressingAtLevel(std::string_view data, int level, int windowSize,
                                                            int memoryLevel, int strategy,
                                                            TSRError* error = nullptr);
std::optional<std::string> tsr_dataByGZipDecompressingDataWithError(std::string_view data,
                                                                    TSRError* error = nullptr);
std::optional<std::string> tsr_dataByGZipDecompressingDataWithWindowSize(std::string_view data, int windowSize,
                                                                         TSRError* error = nullptr);

}  // namespace tessarin

#endif  // TESSARIN_TRANSPORT_GZIP_H_

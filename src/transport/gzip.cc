#include "transport/gzip.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "tessarin/sdk_info.h"
#include "util/safety.h"

// Lets the shared instance confirm that the codec is part of the build.
extern "C" const char TSRCategoryMarker_NSData_TSRGzip = 1;

namespace tessarin {

static_assert(std::string_view(kTSRZlibErrorDomain).starts_with(kTessarinSDKIdentifier) &&
                  std::string_view(kTSRZlibErrorDomain).substr(std::string_view(kTessarinSDKIdentifier).size()) ==
                      ".zlib.error",
              "the zlib error domain is the SDK identifier followed by .zlib.error");

namespace {

constexpr int kDeflateMethod = Z_DEFLATED;  // 8
constexpr std::size_t kDeflateBufferStep = 1024;

const char* const kCompressTag =
    "-[NSData(TSRGzip) tsr_dataByGZipCompressingAtLevel:windowSize:memoryLevel:strategy:error:]";
const char* const kDecompressTag = "-[NSData(TSRGzip) tsr_dataByGZipDecompressingDataWithWindowSize:error:]";

void SetError(TSRError* error, int code, const char* description) {
  if (error == nullptr) return;
  *error = TSRError{kTSRZlibErrorDomain, code, description, std::nullopt, std::nullopt};
}

void Notify(const TSRGzipCodec::BufferObserver& observer, std::size_t size) {
  if (observer) observer(size);
}

Bytef* Tail(std::string& buffer, const z_stream& stream) {
  return reinterpret_cast<Bytef*>(buffer.data()) + stream.total_out;
}

// The memory of one thread's zlib streams, kept between streams. A stream
// asks for the same few blocks every time (about 270 KiB to compress at the
// SDK's parameters); freed, they would go back to the kernel and come back
// as fresh pages for the next batch, a churn that under load costs a fifth
// of compressing. What is kept is bounded and goes with its thread.
// Set once a thread's cache is gone (its thread-local objects are being
// destroyed, as at exit): a stream made after that still works, uncached.
thread_local bool tStreamMemoryGone = false;

class StreamMemory {
 public:
  ~StreamMemory() {
    for (Block& block : kept_) std::free(block.header);
    tStreamMemoryGone = true;
  }

  void* take(std::size_t size) {
    for (std::size_t i = 0; i < kept_.size(); ++i) {
      if (kept_[i].size == size) {
        Block block = kept_[i];
        kept_.erase(kept_.begin() + static_cast<std::ptrdiff_t>(i));
        kept_bytes_ -= size;
        return Payload(block.header);
      }
    }
    return Allocate(size);
  }

  void give(void* payload) {
    void* header = Header(payload);
    const std::size_t size = *static_cast<std::size_t*>(header);
    if (kept_bytes_ + size > kKeepAtMost) {
      std::free(header);
      return;
    }
    kept_.push_back(Block{size, header});
    kept_bytes_ += size;
  }

  // Each block carries its size ahead of what zlib sees, since zlib frees
  // without saying how much.
  static void* Allocate(std::size_t size) {
    void* header = std::malloc(kHeader + size);
    if (header == nullptr) return nullptr;
    *static_cast<std::size_t*>(header) = size;
    return Payload(header);
  }
  static void* Header(void* payload) { return static_cast<char*>(payload) - kHeader; }

 private:
  // Enough for one stream to compress and one to decompress.
  static constexpr std::size_t kKeepAtMost = 384 * 1024;
  // Keeps the payload as aligned as malloc's own blocks.
  static constexpr std::size_t kHeader = alignof(std::max_align_t);
  struct Block {
    std::size_t size;
    void* header;
  };
  static void* Payload(void* header) { return static_cast<char*>(header) + kHeader; }

  std::vector<Block> kept_;
  std::size_t kept_bytes_ = 0;
};

StreamMemory* ThisThreadsStreamMemory() {
  if (tStreamMemoryGone) return nullptr;
  thread_local StreamMemory memory;
  return &memory;
}

voidpf TakeStreamMemory(voidpf, uInt items, uInt size) {
  if (size != 0 && items > SIZE_MAX / size) return Z_NULL;
  const std::size_t bytes = static_cast<std::size_t>(items) * size;
  StreamMemory* memory = ThisThreadsStreamMemory();
  return memory ? memory->take(bytes) : StreamMemory::Allocate(bytes);
}

// A stream is ended on the thread that began it: the codec's operations
// each run start to end in one call.
void GiveStreamMemory(voidpf, voidpf address) {
  if (address == Z_NULL) return;
  if (StreamMemory* memory = ThisThreadsStreamMemory()) {
    memory->give(address);
  } else {
    std::free(StreamMemory::Header(address));
  }
}

void UseStreamMemory(z_stream& stream) {
  stream.zalloc = TakeStreamMemory;
  stream.zfree = GiveStreamMemory;
  stream.opaque = Z_NULL;
}

}  // namespace

ZlibBinding ZlibBinding::Linked() {
  ZlibBinding binding;
  binding.deflateInit2_ = &::deflateInit2_;
  binding.deflate = &::deflate;
  binding.deflateEnd = &::deflateEnd;
  binding.inflateInit2_ = &::inflateInit2_;
  binding.inflate = &::inflate;
  binding.inflateEnd = &::inflateEnd;
  return binding;
}

TSRGzipCodec::TSRGzipCodec(ZlibBinding binding) : binding_(std::move(binding)) {
  if (binding_.openError) {
    TSR_LOG_ERROR("Couldn't open libz.dylib %@", *binding_.openError);
    return;
  }
  can_deflate_ = binding_.deflateInit2_ && binding_.deflate && binding_.deflateEnd;
  can_inflate_ = binding_.inflateInit2_ && binding_.inflate && binding_.inflateEnd;
  if (!can_deflate_) TSR_LOG_ERROR("Can't libz deflate");
  if (!can_inflate_) TSR_LOG_ERROR("Can't libz inflate");
}

const TSRGzipCodec& TSRGzipCodec::shared() {
  // Never destroyed: a batch may be compressed while the process exits.
  static const TSRGzipCodec* codec = new TSRGzipCodec(ZlibBinding::Linked());
  return *codec;
}

std::optional<std::string> TSRGzipCodec::compress(std::string_view data, int level, int windowSize,
                                                  int memoryLevel, int strategy, TSRError* error,
                                                  const BufferObserver& observer) const {
  std::optional<std::string> result;
  TSRUtilitySafety::runWithTag(kCompressTag, [&] {
    if (data.empty()) {
      result = std::string(data);
      return;
    }
    if (!can_deflate_) return;
    // One stream takes at most 4 GiB of input; the SDK's bodies are far
    // smaller, and a larger one is refused rather than cut short.
    if (data.size() > UINT_MAX) {
      SetError(error, Z_BUF_ERROR, "Error deflating payload");
      return;
    }
    z_stream stream{};
    UseStreamMemory(stream);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    int status = binding_.deflateInit2_(&stream, level, kDeflateMethod, windowSize, memoryLevel, strategy,
                                       ZLIB_VERSION, static_cast<int>(sizeof(z_stream)));
    if (status != Z_OK) {
      SetError(error, status, "Failed deflateInit");
      return;
    }
    // Small steps keep the buffer close to the compressed size, which for
    // JSON is a fraction of the input.
    std::string buffer(kDeflateBufferStep, '\0');
    Notify(observer, buffer.size());
    do {
      if (status == Z_BUF_ERROR || stream.total_out >= buffer.size()) {
        buffer.resize(buffer.size() + kDeflateBufferStep);
        Notify(observer, buffer.size());
      }
      stream.next_out = Tail(buffer, stream);
      stream.avail_out = static_cast<uInt>(buffer.size() - stream.total_out);
      status = binding_.deflate(&stream, Z_FINISH);
    } while (status == Z_OK || status == Z_BUF_ERROR);
    binding_.deflateEnd(&stream);
    if (status != Z_STREAM_END) {
      SetError(error, status, "Error deflating payload");
      return;
    }
    buffer.resize(stream.total_out);
    result = std::move(buffer);
  });
  return result;
}

std::optional<std::string> TSRGzipCodec::decompress(std::string_view data, int windowSize, TSRError* error,
                                                    const BufferObserver& observer) const {
  std::optional<std::string> result;
  TSRUtilitySafety::runWithTag(kDecompressTag, [&] {
    if (data.empty()) {
      result = std::string(data);
      return;
    }
    if (!can_inflate_) return;
    if (data.size() > UINT_MAX) {
      SetError(error, Z_BUF_ERROR, "Error inflating payload");
      return;
    }
    z_stream stream{};
    UseStreamMemory(stream);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    int status = binding_.inflateInit2_(&stream, windowSize, ZLIB_VERSION, static_cast<int>(sizeof(z_stream)));
    if (status != Z_OK) {
      SetError(error, status, "Failed inflateInit");
      return;
    }
    const std::size_t start = data.size() + data.size() / 2;
    // A one-byte input would otherwise grow by nothing and never finish.
    const std::size_t step = std::max<std::size_t>(start / 2, 1);
    std::string buffer(start, '\0');
    Notify(observer, buffer.size());
    do {
      if (status == Z_BUF_ERROR || stream.total_out >= buffer.size()) {
        buffer.resize(buffer.size() + step);
        Notify(observer, buffer.size());
      }
      stream.next_out = Tail(buffer, stream);
      stream.avail_out = static_cast<uInt>(buffer.size() - stream.total_out);
      const uLong in_before = stream.total_in;
      const uLong out_before = stream.total_out;
      status = binding_.inflate(&stream, Z_FINISH);
      // Asked to finish, inflate reports every unfinished call as a buffer
      // error. One that moved nothing while it had room to write has run out
      // of input: the stream is truncated, and more room would not help.
      if (status == Z_BUF_ERROR && stream.total_in == in_before && stream.total_out == out_before) break;
    } while (status == Z_OK || status == Z_BUF_ERROR);
    binding_.inflateEnd(&stream);
    if (status != Z_STREAM_END) {
      SetError(error, status, "Error inflating payload");
      return;
    }
    buffer.resize(stream.total_out);
    result = std::move(buffer);
  });
  return result;
}

std::optional<std::string> tsr_dataByGZipCompressingWithError(std::string_view data, TSRError* error) {
  return tsr_dataByGZipCompressingAtLevel(data, Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, error);
}

std::optional<std::string> tsr_dataByGZipCompressingAtLevel(std::string_view data, int level, int windowSize,
                                                            int memoryLevel, int strategy, TSRError* error) {
  return TSRGzipCodec::shared().compress(data, level, windowSize, memoryLevel, strategy, error);
}

std::optional<std::string> tsr_dataByGZipDecompressingDataWithError(std::string_view data, TSRError* error) {
  return tsr_dataByGZipDecompressingDataWithWindowSize(data, 31, error);
}

std::optional<std::string> tsr_dataByGZipDecompressingDataWithWindowSize(std::string_view data, int windowSize,
                                                                         TSRError* error) {
  return TSRGzipCodec::shared().decompress(data, windowSize, error);
}

}  // namespace tessarin

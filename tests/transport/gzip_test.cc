#include "transport/gzip.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <vector>

#include "base/category_markers.h"
#include "support/log_capture.h"

namespace tessarin {
namespace {

using testing::LogCapture;

// An event batch as the queue would send it: JSON text that repeats itself.
std::string SampleBody() {
  std::string body = "[";
  for (int i = 0; i < 200; ++i) {
    if (i) body += ",";
    body += R"({".a":"viewItem",".ri":"Global","item":{"id":")" + std::to_string(i) + R"(","price":9.99}})";
  }
  return body + "]";
}

std::string RandomBytes(std::size_t size) {
  std::mt19937 random(1234);
  std::string bytes(size, '\0');
  for (char& c : bytes) c = static_cast<char>(random() & 0xff);
  return bytes;
}

// An oracle independent of the codec: zlib's own inflate in one go.
std::optional<std::string> InflateWithZlib(const std::string& compressed, std::size_t expected_size) {
  z_stream stream{};
  if (inflateInit2(&stream, 31) != Z_OK) return std::nullopt;
  std::string out(expected_size + 1, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(compressed.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  int status = inflate(&stream, Z_FINISH);
  inflateEnd(&stream);
  if (status != Z_STREAM_END) return std::nullopt;
  out.resize(stream.total_out);
  return out;
}

TEST(Gzip, CompressedBodyIsAGzipStreamOthersCanRead) {
  const std::string body = SampleBody();
  TSRError error;
  auto compressed = tsr_dataByGZipCompressingWithError(body, &error);
  ASSERT_TRUE(compressed);
  EXPECT_LT(compressed->size(), body.size() / 4);
  ASSERT_GE(compressed->size(), 2u);
  EXPECT_EQ(static_cast<unsigned char>((*compressed)[0]), 0x1f);  // the gzip wrapper's magic
  EXPECT_EQ(static_cast<unsigned char>((*compressed)[1]), 0x8b);
  EXPECT_EQ(InflateWithZlib(*compressed, body.size()), body);
  EXPECT_EQ(tsr_dataByGZipDecompressingDataWithError(*compressed), body);
}

TEST(Gzip, EmptyInputComesBackAsItIsWithoutAnError) {
  TSRError error;
  error.code = 77;
  EXPECT_EQ(tsr_dataByGZipCompressingWithError("", &error), std::string());
  EXPECT_EQ(tsr_dataByGZipDecompressingDataWithError("", &error), std::string());
  EXPECT_EQ(error.code, 77);
}

TEST(Gzip, IncompressibleInputGrowsTheOutputBufferInKilobyteSteps) {
  const std::string input = RandomBytes(100 * 1024);
  std::vector<std::size_t> sizes;
  auto compressed = TSRGzipCodec::shared().compress(input, Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY,
                                                    nullptr, [&](std::size_t size) { sizes.push_back(size); });
  ASSERT_TRUE(compressed);
  ASSERT_FALSE(sizes.empty());
  EXPECT_EQ(sizes.front(), 1024u);
  for (std::size_t i = 1; i < sizes.size(); ++i) ASSERT_EQ(sizes[i] - sizes[i - 1], 1024u) << i;
  // Random bytes do not shrink: the buffer has to pass the input's size,
  // and is trimmed to what was written.
  EXPECT_GT(sizes.back(), input.size());
  EXPECT_GT(compressed->size(), input.size());
  EXPECT_LE(compressed->size(), sizes.back());
  EXPECT_EQ(InflateWithZlib(*compressed, input.size()), input);
}

TEST(Gzip, DecompressionStartsAtOneAndAHalfTimesTheInputAndGrowsByHalfOfThat) {
  const std::string input(64 * 1024, 'z');
  auto compressed = tsr_dataByGZipCompressingWithError(input);
  ASSERT_TRUE(compressed);
  std::vector<std::size_t> sizes;
  auto restored = TSRGzipCodec::shared().decompress(*compressed, 31, nullptr,
                                                    [&](std::size_t size) { sizes.push_back(size); });
  ASSERT_EQ(restored, input);
  const std::size_t start = compressed->size() * 3 / 2;
  ASSERT_GT(sizes.size(), 2u);
  EXPECT_EQ(sizes.front(), start);
  for (std::size_t i = 1; i < sizes.size(); ++i) ASSERT_EQ(sizes[i] - sizes[i - 1], start / 2) << i;
  EXPECT_GE(sizes.back(), input.size());
}

TEST(Gzip, DataThatIsNotGzipFailsInTheZlibDomainWithZlibsCode) {
  TSRError error;
  EXPECT_FALSE(tsr_dataByGZipDecompressingDataWithError("this is plain text, not a gzip stream", &error));
  EXPECT_EQ(error.domain, "com.tessarin.sdk.zlib.error");
  EXPECT_EQ(error.code, Z_DATA_ERROR);
  EXPECT_EQ(error.description, "Error inflating payload");
}

TEST(Gzip, TruncatedStreamsFailInsteadOfGrowingForever) {
  auto compressed = tsr_dataByGZipCompressingWithError(SampleBody());
  ASSERT_TRUE(compressed);
  for (std::size_t keep : {std::size_t{1}, std::size_t{10}, compressed->size() / 2, compressed->size() - 1}) {
    TSRError error;
    EXPECT_FALSE(tsr_dataByGZipDecompressingDataWithError(compressed->substr(0, keep), &error)) << keep;
    EXPECT_EQ(error.code, Z_BUF_ERROR) << keep;
    EXPECT_EQ(error.description, "Error inflating payload") << keep;
  }
}

TEST(Gzip, ParametersZlibRefusesFailInitialisation) {
  TSRError error;
  EXPECT_FALSE(tsr_dataByGZipCompressingAtLevel("abc", 42, 31, 8, Z_DEFAULT_STRATEGY, &error));
  EXPECT_EQ(error.domain, kTSRZlibErrorDomain);
  EXPECT_EQ(error.code, Z_STREAM_ERROR);
  EXPECT_EQ(error.description, "Failed deflateInit");

  EXPECT_FALSE(tsr_dataByGZipDecompressingDataWithWindowSize("abc", 99, &error));
  EXPECT_EQ(error.code, Z_STREAM_ERROR);
  EXPECT_EQ(error.description, "Failed inflateInit");
}

TEST(Gzip, OtherWindowSizesRoundTripWhenBothSidesAgree) {
  const std::string body = SampleBody();
  // 15 is a bare zlib stream, 47 lets inflate detect the wrapper itself.
  auto zlib_stream = tsr_dataByGZipCompressingAtLevel(body, 9, 15, 9, Z_DEFAULT_STRATEGY);
  ASSERT_TRUE(zlib_stream);
  EXPECT_EQ(tsr_dataByGZipDecompressingDataWithWindowSize(*zlib_stream, 15), body);
  EXPECT_EQ(tsr_dataByGZipDecompressingDataWithWindowSize(*zlib_stream, 47), body);
  EXPECT_FALSE(tsr_dataByGZipDecompressingDataWithError(*zlib_stream));
}

TEST(GzipBinding, WithoutZlibBothDirectionsAreOffAfterOneErrorEach) {
  LogCapture logs(TSRLogLevelError);
  TSRGzipCodec codec{ZlibBinding{}};
  EXPECT_EQ(logs.messages(), (std::vector<std::string>{"Can't libz deflate", "Can't libz inflate"}));
  EXPECT_FALSE(codec.canDeflate());
  EXPECT_FALSE(codec.canInflate());

  TSRError error;
  error.code = 77;
  EXPECT_FALSE(codec.compress("payload", Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, &error));
  EXPECT_FALSE(codec.decompress("payload", 31, &error));
  EXPECT_EQ(error.code, 77);  // unavailable is not an error the caller sees
  EXPECT_EQ(codec.compress("", Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, &error), std::string());
  EXPECT_EQ(logs.messages().size(), 2u);
}

TEST(GzipBinding, AMissingEntryPointDisablesOnlyItsDirection) {
  LogCapture logs(TSRLogLevelError);
  ZlibBinding binding = ZlibBinding::Linked();
  binding.deflateEnd = nullptr;
  TSRGzipCodec codec{binding};
  EXPECT_EQ(logs.messages(), std::vector<std::string>{"Can't libz deflate"});
  EXPECT_FALSE(codec.compress("payload", Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, nullptr));
  auto compressed = tsr_dataByGZipCompressingWithError("payload");
  ASSERT_TRUE(compressed);
  EXPECT_EQ(codec.decompress(*compressed, 31, nullptr), "payload");
}

TEST(GzipBinding, ALibraryThatCannotBeOpenedIsReportedWithTheLoadersText) {
  LogCapture logs(TSRLogLevelError);
  ZlibBinding binding = ZlibBinding::Linked();
  binding.openError = "libz.so.1: cannot open shared object file";
  TSRGzipCodec codec{binding};
  EXPECT_EQ(logs.messages(),
            std::vector<std::string>{"Couldn't open libz.dylib libz.so.1: cannot open shared object file"});
  EXPECT_FALSE(codec.canDeflate());
  EXPECT_FALSE(codec.canInflate());
}

int ThrowingDeflateInit(z_streamp, int, int, int, int, int, const char*, int) {
  throw std::runtime_error("deflate exploded");
}

TEST(GzipBinding, AnExceptionInsideAnOperationYieldsNothingAndIsLoggedWithTheOperation) {
  LogCapture logs(TSRLogLevelError);
  ZlibBinding binding = ZlibBinding::Linked();
  binding.deflateInit2_ = &ThrowingDeflateInit;
  TSRGzipCodec codec{binding};
  EXPECT_FALSE(codec.compress("payload", Z_DEFAULT_COMPRESSION, 31, 8, Z_DEFAULT_STRATEGY, nullptr));
  EXPECT_EQ(logs.countContaining(
                "Tag: -[NSData(TSRGzip) tsr_dataByGZipCompressingAtLevel:windowSize:memoryLevel:strategy:error:]"),
            1);
  EXPECT_EQ(logs.countContaining("Reason: deflate exploded"), 1);
}

TEST(GzipBinding, EveryPartThatExtendsAPlatformClassIsPartOfTheBuild) {
  // The shared instance logs an Error for each part missing here.
  EXPECT_EQ(MissingCategoryMessages(), std::vector<std::string>{});
}

}  // namespace
}  // namespace tessarin

#include "kclkrt/component/kar_extractors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kar/kar.h"
#include "kar/writer.h"
#include "korel/kclkrt.h"
#include "support/captured_output.h"
#include "support/subprocess.h"

using korel::test::Captured;
using korel::test::read_file;
using korel::test::TempDir;

namespace {

const std::string kAnnouncement =
    "Extracting KAR archive. This may take a few seconds, depending on the\n size of your "
    "application. Please wait...\n";
const std::string kCompletion = "...KAR archive extraction complete.\n";

// An archive of 7 + 0 + 1000 bytes of files.
std::string make_archive(const std::string& dir) {
  std::filesystem::create_directories(dir + "/tree/key/sub");
  std::filesystem::create_directories(dir + "/tree/empty_dir");
  std::ofstream(dir + "/tree/key/f.k") << "x = 1;\n";
  std::ofstream(dir + "/tree/key/empty.k");
  std::ofstream(dir + "/tree/key/sub/data") << std::string(1000, 'd');
  kar::write_archive(dir + "/tree", dir + "/c.kar");
  return dir + "/c.kar";
}

}  // namespace

TEST(KarExtractors, FileExtractorAnnouncesAndTellsCompletionOnlyAfterAFailure) {
  TempDir dir;
  const std::string archive = make_archive(dir.path());
  kclSetInternalErrorHandler(Captured::internal);
  set_karrt_error_handler(Captured::error);

  uint64_t total = 0;
  EXPECT_TRUE(kclKarFileExtractor(archive).extract(total, dir.path() + "/out"));
  EXPECT_EQ(total, 1007u);
  EXPECT_EQ(Captured::take_internal(), kAnnouncement);

  total = 42;
  EXPECT_FALSE(kclKarFileExtractor(dir.path() + "/missing.kar").extract(total, dir.path() + "/out2"));
  EXPECT_EQ(total, 42u);
  EXPECT_EQ(Captured::take_internal(), kAnnouncement + kCompletion);
  EXPECT_NE(Captured::take_errors().find("missing.kar"), std::string::npos);

  kclDisableWarning("KRT:Extract");
  EXPECT_FALSE(kclKarFileExtractor(dir.path() + "/missing.kar").extract(total, dir.path() + "/out3"));
  kclEnableWarning("KRT:Extract");
  EXPECT_EQ(Captured::take_internal(), "") << "a warning switched off still printed";
  Captured::take_errors();

  set_karrt_error_handler(nullptr);
  kclSetInternalErrorHandler(nullptr);
}

TEST(KarExtractors, FileExtractorUsesTheCurrentRuntimesPrintHandler) {
  TempDir dir;
  const std::string archive = make_archive(dir.path());
  auto child = korel::test::run_in_child([&] {
    krtInstance* instance = nullptr;
    if (!kclInitializeApplication(nullptr, 0) || !kclInitializeInstance(&instance)) return 10;
    kclSetPrintHandler(instance, Captured::print);
    uint64_t total = 0;
    bool extracted = kclKarFileExtractor(archive).extract(total, dir.path() + "/out");
    std::printf("%d %llu [%s]", extracted, static_cast<unsigned long long>(total),
                Captured::take_printed().c_str());
    return 0;
  });
  ASSERT_EQ(child.exit_code, 0) << child.err;
  EXPECT_EQ(child.out, "1 1007 [" + kAnnouncement + "]");
  EXPECT_EQ(child.err, "");
}

TEST(KarExtractors, StreamExtractorReadsCallerBytesSilently) {
  TempDir dir;
  const std::string bytes = read_file(make_archive(dir.path()));
  kclSetInternalErrorHandler(Captured::internal);

  kclInputStream* stream = kclGetStreamFromArraySrc(bytes.data(), static_cast<int>(bytes.size()));
  ASSERT_NE(stream, nullptr);
  uint64_t total = 0;
  EXPECT_TRUE(kclKarStreamExtractor(stream, static_cast<int>(bytes.size())).extract(total, dir.path() + "/out"));
  EXPECT_EQ(total, 1007u);
  kclDestroyStream(stream);

  // An archive without entries extracts to nothing, successfully.
  const std::string empty("PK\5\6\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 22);
  stream = kclGetStreamFromArraySrc(empty.data(), 22);
  EXPECT_TRUE(kclKarStreamExtractor(stream, 22).extract(total, dir.path() + "/empty"));
  EXPECT_EQ(total, 0u);
  kclDestroyStream(stream);
  EXPECT_EQ(Captured::take_internal(), "") << "the stream extractor printed";

  EXPECT_EQ(kclGetStreamFromArraySrc(bytes.data(), 0), nullptr);
  EXPECT_EQ(kclGetStreamFromArraySrc(nullptr, 10), nullptr);
  kclDestroyStream(nullptr);
  EXPECT_FALSE(kclAlwaysFailExtractor().extract(total, dir.path() + "/never"));
  EXPECT_FALSE(std::filesystem::exists(dir.path() + "/never"));
  kclSetInternalErrorHandler(nullptr);
}

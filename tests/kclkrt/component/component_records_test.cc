#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "kclkrt/component/component_data.h"
#include "kclkrt/component/kar_extractors.h"
#include "korel/kclkrt.h"

TEST(ComponentRecords, DataHoldsPrivateCopiesAndKeepsCountsOfMissingLists) {
  std::string name = "stats", key = "stats_1a2b";
  const char* path[] = {"stats_1a2b/functions", "$TOOLBOXKORELDIR/shared"};
  const char* warnings[] = {"off:KRT:Extract"};
  const char* x11[] = {"-geometry", nullptr};
  kclComponentData* data =
      kclCreateComponentData(name.c_str(), "", path, 2, nullptr, 3, path, 0, path, 1, x11, 2,
                             key.c_str(), nullptr, warnings, 1);
  ASSERT_NE(data, nullptr);
  name[0] = 'X';
  path[0] = "changed";
  EXPECT_STREQ(data->name, "stats");
  EXPECT_STREQ(data->extraction_sub_path, "");
  EXPECT_STREQ(data->component_key, "stats_1a2b");
  EXPECT_EQ(data->component_directory, nullptr);
  ASSERT_EQ(data->path_entry_count, 2u);
  EXPECT_STREQ(data->path_entries[0], "stats_1a2b/functions");
  EXPECT_STREQ(data->path_entries[1], "$TOOLBOXKORELDIR/shared");
  // A null list, or a count of 0, is no list; the count stays as given.
  EXPECT_EQ(data->java_class_path, nullptr);
  EXPECT_EQ(data->java_class_path_count, 3u);
  EXPECT_EQ(data->reserved_list_1, nullptr);
  EXPECT_EQ(data->reserved_list_1_count, 0u);
  ASSERT_NE(data->reserved_list_2, nullptr);
  EXPECT_STREQ(data->x11_arguments[0], "-geometry");
  EXPECT_EQ(data->x11_arguments[1], nullptr);
  EXPECT_STREQ(data->warning_states[0], "off:KRT:Extract");
  kclDestroyComponentData(data);  // the sanitizer run checks that everything is freed once
  kclDestroyComponentData(nullptr);
}

TEST(ComponentRecords, OptionMakersAcceptAndRefuseAsTheirCallersExpect) {
  std::istringstream stream("PK");
  // The stream form wants a directory string even with the cache.
  EXPECT_EQ(kclCreateComponentOptions(true, false, nullptr, &stream, 10), nullptr);
  EXPECT_EQ(kclCreateComponentOptions(false, false, "/tmp/x", nullptr, 10), nullptr);
  EXPECT_EQ(kclCreateComponentOptions(false, false, "/tmp/x", &stream, 0), nullptr);

  kclComponentOptions* none = kclCreateComponentOptions(true, true, "", nullptr, 0);
  ASSERT_NE(none, nullptr);
  EXPECT_TRUE(none->use_cache && none->no_extraction);
  EXPECT_EQ(none->extractor, nullptr);
  kclDestroyComponentOptions(none);

  kclComponentOptions* streamed = kclCreateComponentOptions(false, false, "/tmp/x", &stream, 2);
  ASSERT_NE(streamed, nullptr);
  auto* stream_extractor = dynamic_cast<kclKarStreamExtractor*>(streamed->extractor);
  ASSERT_NE(stream_extractor, nullptr);
  EXPECT_EQ(stream_extractor->size(), 2);
  EXPECT_STREQ(streamed->extraction_directory, "/tmp/x");
  kclDestroyComponentOptions(streamed);
  EXPECT_EQ(stream.get(), 'P') << "the borrowed stream was closed or consumed";

  // The file form needs a directory only without the cache, and a file to extract.
  kclComponentOptions* cached = kclCreateComponentOptionsWithKarFile(true, false, nullptr, "c.kar");
  ASSERT_NE(cached, nullptr);
  EXPECT_EQ(cached->extraction_directory, nullptr);
  auto* file_extractor = dynamic_cast<kclKarFileExtractor*>(cached->extractor);
  ASSERT_NE(file_extractor, nullptr);
  EXPECT_EQ(file_extractor->path(), "c.kar");
  kclDestroyComponentOptions(cached);
  EXPECT_EQ(kclCreateComponentOptionsWithKarFile(false, false, nullptr, "c.kar"), nullptr);
  EXPECT_EQ(kclCreateComponentOptionsWithKarFile(true, false, "/tmp/x", nullptr), nullptr);
  kclComponentOptions* existing = kclCreateComponentOptionsWithKarFile(false, true, "/tmp/x", nullptr);
  ASSERT_NE(existing, nullptr);
  EXPECT_EQ(existing->extractor, nullptr);
  kclDestroyComponentOptions(existing);
  kclDestroyComponentOptions(nullptr);
}

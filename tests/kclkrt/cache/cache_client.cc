// A process that uses the component cache, for the tests that need several of them.
//
//   cache_client CACHE MAX_SIZE get KEY BYTES [options]
//     --log FILE          append "<pid> KEY" to FILE when this process extracts
//     --midway FILE       create FILE halfway through the extraction, then
//     --resume-when FILE  wait for FILE to exist before finishing it
//     --hold-until FILE   once the component is checked, print "held" and keep it until
//                         FILE exists, then check it again
//     --archive-markers   the archive brings a .created.ts and a .bytes_used of its own,
//                         extracted before everything else
//   cache_client CACHE MAX_SIZE stress ROUNDS BYTES KEY...
//     get, check, hold briefly and release the keys in turn, ROUNDS times
//
// Exit code 0 when every component read was complete, 1 otherwise.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "kclkrt/cache/cache_errors.h"
#include "kclkrt/cache/component_cache.h"
#include "support/synthetic_component.h"

namespace {

void wait_for_file(const std::string& path) {
  while (!std::filesystem::exists(path)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

void append_line(const std::string& path, const std::string& line) {
  int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return;
  std::string text = line + "\n";
  (void)!::write(fd, text.data(), text.size());
  ::close(fd);
}

std::string option(std::vector<std::string>& args, const std::string& name) {
  for (size_t i = 0; i + 1 < args.size(); ++i)
    if (args[i] == name) return args[i + 1];
  return "";
}

// The synthetic component, behind the marker and size files an archive may hold.
class WithArchiveMarkers : public kclComponentExtractor {
 public:
  explicit WithArchiveMarkers(kclComponentExtractor& files) : files_(files) {}
  bool extract(uint64_t& total, const std::string& target) override {
    append_line(target + "/.created.ts", "");
    append_line(target + "/.bytes_used", "53");
    return files_.extract(total, target);
  }

 private:
  kclComponentExtractor& files_;
};

int get(kclComponentCache& cache, std::vector<std::string> args) {
  const std::string key = args.at(0);
  const size_t bytes = std::stoul(args.at(1));
  const std::string log = option(args, "--log"), midway = option(args, "--midway"),
                    resume = option(args, "--resume-when"), hold = option(args, "--hold-until");
  korel::test::SyntheticExtractor extractor(key, bytes, [&] {
    if (!log.empty()) append_line(log, std::to_string(::getpid()) + " " + key);
    if (!midway.empty()) append_line(midway, "");
    if (!resume.empty()) wait_for_file(resume);
  });
  WithArchiveMarkers marked(extractor);
  const bool markers = std::find(args.begin(), args.end(), "--archive-markers") != args.end();
  auto entry = cache.get_component(key, markers ? static_cast<kclComponentExtractor&>(marked)
                                                : extractor);
  std::string problem = korel::test::check_synthetic(entry->directory(), key, bytes);
  if (problem.empty() && !hold.empty()) {
    std::cout << "held" << std::endl;
    wait_for_file(hold);
    problem = korel::test::check_synthetic(entry->directory(), key, bytes);
  }
  if (!problem.empty()) {
    std::cout << problem << std::endl;
    return 1;
  }
  std::cout << "ok" << std::endl;
  return 0;
}

int stress(kclComponentCache& cache, std::vector<std::string> args) {
  const int rounds = std::stoi(args.at(0));
  const size_t bytes = std::stoul(args.at(1));
  const std::vector<std::string> keys(args.begin() + 2, args.end());
  int failures = 0;
  for (int round = 0; round < rounds; ++round) {
    const std::string& key = keys[(static_cast<size_t>(::getpid()) + round) % keys.size()];
    korel::test::SyntheticExtractor extractor(key, bytes);
    try {
      auto entry = cache.get_component(key, extractor);
      std::string problem = korel::test::check_synthetic(entry->directory(), key, bytes);
      // Holding it a moment gives other processes' maintenance the chance to misbehave.
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      if (problem.empty()) problem = korel::test::check_synthetic(entry->directory(), key, bytes);
      if (!problem.empty()) {
        std::cout << "round " << round << ": " << problem << std::endl;
        ++failures;
      }
    } catch (const std::exception& e) {
      std::cout << "round " << round << ": " << e.what() << std::endl;
      ++failures;
    }
  }
  std::cout << failures << " failures" << std::endl;
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  alarm(120);  // a scenario that hangs fails instead of stalling the suite
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() < 4) {
    std::cerr << "usage: cache_client CACHE MAX_SIZE get|stress ...\n";
    return 2;
  }
  try {
    auto cache = kclComponentCache::create(args[0], std::stoull(args[1]));
    std::vector<std::string> rest(args.begin() + 3, args.end());
    if (args[2] == "get") return get(*cache, rest);
    if (args[2] == "stress") return stress(*cache, rest);
  } catch (const std::exception& e) {
    std::cout << "failed: " << e.what() << std::endl;
    return 1;
  }
  std::cerr << "unknown command " << args[2] << "\n";
  return 2;
}

// Cold starts killed with SIGKILL at random moments: whatever a start leaves behind
// when it dies, the next start in a fresh process must succeed and compute correctly.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <thread>

#include "scenario.h"

namespace fs = std::filesystem;
using korel::scenario::Component;
using korel::scenario::Scenario;
using korel::test::BackgroundProcess;
using korel::test::Environment;
using korel::test::run_program;

namespace {

using Clock = std::chrono::steady_clock;

// Fixed, so that a failure can be replayed; KOREL_SCENARIO_SEED picks another.
unsigned seed() {
  const char* chosen = std::getenv("KOREL_SCENARIO_SEED");
  return chosen ? static_cast<unsigned>(std::strtoul(chosen, nullptr, 10)) : 20240611u;
}

// How long a whole client process takes for one start that extracts: the longest of a
// few, each made cold by `make_cold`.
Clock::duration cold_start_duration(const std::vector<std::string>& argv, const Environment& env,
                                    const std::function<void()>& make_cold) {
  Clock::duration longest{};
  for (int i = 0; i < 3; ++i) {
    make_cold();
    const auto start = Clock::now();
    auto result = run_program(argv, env);
    longest = std::max(longest, Clock::now() - start);
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
  }
  return longest;
}

// Starts `argv` and kills it after a random part of `duration`; whether it was still
// running then.
bool start_and_kill(const std::vector<std::string>& argv, const Environment& env,
                    const std::string& log, Clock::duration duration, std::mt19937& random) {
  std::uniform_int_distribution<Clock::rep> delay(0, duration.count());
  BackgroundProcess victim(argv, env, log + ".out", log + ".err");
  std::this_thread::sleep_for(Clock::duration(delay(random)));
  victim.kill(SIGKILL);
  return victim.wait().exit_code != 0;
}

}  // namespace

TEST(ColdStartKills, CachedStartsKilledAnywhereLeaveACacheTheNextStartUses) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  // The two components with native functions, in a cache with room for one: each start
  // of the other one extracts it and evicts the one before.
  const Component& a = s.components[2];
  const Component& b = s.components[3];
  const uint64_t limit = std::max(references.bytes.at(a.key), references.bytes.at(b.key));
  const auto env = s.environment(limit);

  const auto duration = cold_start_duration(s.client({}, {a}), env,
                                            [&] { fs::remove_all(s.cache_dir()); });
  fs::remove_all(s.cache_dir());
  const unsigned chosen = seed();
  std::cout << "seed " << chosen << ", kills within "
            << std::chrono::duration_cast<std::chrono::milliseconds>(duration).count() << " ms"
            << std::endl;
  std::mt19937 random(chosen);

  int killed = 0;
  for (int round = 0; round < 100; ++round) {
    const Component& component = round % 2 == 0 ? a : b;
    killed += start_and_kill(s.client({}, {component}), env, s.dir() + "/victim", duration, random);
    auto next = run_program(s.client({}, {component}), env);
    ASSERT_EQ(next.exit_code, 0) << "round " << round << ":\n" << next.out << next.err;
    ASSERT_EQ(next.out, "0 " + component.name + " ok\n") << "round " << round;
    ASSERT_EQ(next.err, "") << "round " << round;
  }
  std::cout << killed << " of 100 starts killed before they ended" << std::endl;
  EXPECT_EQ(korel::scenario::cache_problems(s.cache_dir(), references.trees),
            std::vector<std::string>{});
  EXPECT_LE(korel::scenario::indexed_bytes(s.cache_dir()), limit);
}

TEST(ColdStartKills, LocalStartsKilledAnywhereLeaveAnExtractionTheNextStartUses) {
  Scenario s;
  const auto references = s.references();
  ASSERT_EQ(references.problem, "");
  const Component& component = s.components[2];
  const std::string extraction = fs::path(component.archive).parent_path() / (component.name + "_krt");
  const auto env = s.environment();
  const auto argv = s.client({"--local"}, {component});

  const auto duration = cold_start_duration(argv, env, [&] { fs::remove_all(extraction); });
  const unsigned chosen = seed();
  std::cout << "seed " << chosen << ", kills within "
            << std::chrono::duration_cast<std::chrono::milliseconds>(duration).count() << " ms"
            << std::endl;
  std::mt19937 random(chosen);

  for (int round = 0; round < 30; ++round) {
    fs::remove_all(extraction);
    start_and_kill(argv, env, s.dir() + "/victim", duration, random);
    auto next = run_program(argv, env);
    ASSERT_EQ(next.exit_code, 0) << "round " << round << ":\n" << next.out << next.err;
    ASSERT_EQ(next.out, "0 " + component.name + " ok\n") << "round " << round;
    ASSERT_EQ(next.err, "") << "round " << round;
    ASSERT_EQ(korel::scenario::tree_difference(references.trees.at(component.key), extraction), "")
        << "round " << round;
    // Nothing a killed extraction staged is left beside the archive.
    std::set<std::string> beside;
    for (const auto& entry : fs::directory_iterator(fs::path(component.archive).parent_path()))
      beside.insert(entry.path().filename());
    ASSERT_EQ(beside, (std::set<std::string>{component.name + ".kar", component.name + "_krt",
                                             "." + component.name + "_krt.lock"}))
        << "round " << round;
  }
}

TEST(ColdStartKills, AnExtractionLeftStagedByAKilledStartIsRemovedOneInUseIsNot) {
  Scenario s;
  const Component& component = s.components[0];
  const fs::path beside = fs::path(component.archive).parent_path();
  const std::string prefix = (beside / ("." + component.name + "_krt.extract-")).string();
  // What a start killed halfway through its extraction leaves, and the staging directory
  // of an extraction still going on, which holds its read lock.
  fs::create_directories(prefix + "Killed/" + component.key);
  std::ofstream(prefix + "Killed/" + component.key + "/partial.k") << "function";
  fs::create_directories(prefix + "Active");
  const int active = ::open((prefix + "Active").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_GE(active, 0);
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  ASSERT_EQ(::fcntl(active, F_OFD_SETLK, &lock), 0);

  auto started = run_program(s.client({"--local"}, {component}), s.environment());
  ::close(active);
  EXPECT_EQ(started.exit_code, 0) << started.out << started.err;
  EXPECT_EQ(started.out, "0 " + component.name + " ok\n");
  EXPECT_FALSE(fs::exists(prefix + "Killed"));
  EXPECT_TRUE(fs::exists(prefix + "Active"));
}

// Component instances end to end: a real archive beside its module's directory,
// extracted locally or through the cache, then called and terminated.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ds/directory_exclusive_lock.h"
#include "ds/directory_read_write_lock.h"
#include "kar/writer.h"
#include "kclkrt/component/local_extraction.h"
#include "korel/kclkrt.h"
#include "support/captured_output.h"
#include "support/subprocess.h"

namespace {

namespace fs = std::filesystem;
using korel::test::Captured;

const char* const kExtracting = "Extracting KAR archive.";
const char* const kExtractDone = "...KAR archive extraction complete.";

void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

// A component "twice" whose archive holds its function under its key, a startup
// script, and the preferences template (unless told to leave that out).
struct Component {
  fs::path root;
  std::string name = "twice";
  std::string key;
  fs::path directory;

  Component(const std::string& root_path, std::string component_key, const std::string& subdirectory = "app")
      : root(root_path), key(std::move(component_key)), directory(root / subdirectory) {
    setenv("HOME", (root / "home").c_str(), 1);
    setenv("KRT_CACHE_ROOT", (root / "cache").c_str(), 1);
    fs::create_directories(root / "cache");
    build_archive(true);
  }

  void build_archive(bool with_template) {
    fs::path staging = root / ("staging-" + key);
    fs::remove_all(staging);
    write(staging / key / "twice.k", "function y = twice(x)\ny = 2 * x;\nend\n");
    write(staging / key / "startup.k", "function startup()\nfprintf('startup ran\\n');\nend\n");
    if (with_template) write(staging / ".korel" / "settings.txt", "colour=blue\n");
    fs::create_directories(directory);
    kar::write_archive(staging.string(), (directory / (name + ".kar")).string());
  }

  kclComponentData* data(bool name_directory = true) const {
    const char* path[] = {key.c_str()};
    const char* warnings[] = {"off:Korel:unused"};
    std::string dir = name_directory ? directory.string() : "";
    return kclCreateComponentData(name.c_str(), nullptr, path, 1, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                                  key.c_str(), dir.c_str(), warnings, 1);
  }

  fs::path extraction() const { return directory / (name + "_krt"); }
};

double call_twice(krtInstance* k, double x) {
  kxArray* in = kxCreateDoubleScalar(x);
  kxArray* out = nullptr;
  bool ok = kclFeval(k, "twice", 1, &out, 1, &in);
  double result = ok && out ? kxGetScalar(out) : -1;
  kxDestroyArray(in);
  kxDestroyArray(out);
  return result;
}

// Starts the runtime with its diagnostics captured; the child's exit code tells.
int start_runtime() {
  kclSetInternalErrorHandler(&Captured::internal);
  return kclInitializeApplication(nullptr, 0) ? 0 : 90;
}

#define CHILD_EXPECT(condition, code) \
  if (!(condition)) {                 \
    std::fprintf(stderr, "failed: %s\n", #condition); \
    return code;                      \
  }

}  // namespace

TEST(ComponentInstance, LocalExtractionOnceThenReusedThenReplaced) {
  korel::test::TempDir dir;
  auto result = korel::test::run_in_child([&] {
    Component c(dir.path(), "twice_k1");
    CHILD_EXPECT(start_runtime() == 0, 1);
    kclComponentData* data = c.data();
    krtInstance* k = nullptr;
    CHILD_EXPECT(kclInitializeComponentInstance(&k, data, false, 0, 0, nullptr, &Captured::print) && k, 2);
    std::string said = Captured::take_internal();
    CHILD_EXPECT(said.find(kExtracting) != std::string::npos && said.find(kExtractDone) != std::string::npos, 3);
    CHILD_EXPECT(Captured::take_printed() == "startup ran\n", 4);
    CHILD_EXPECT(call_twice(k, 21) == 42, 5);
    // The preferences template went to the user's preferences for this key.
    CHILD_EXPECT(korel::test::read_file(c.root / "home/.korel/krt_v10/twice_k1/settings.txt") == "colour=blue\n", 6);
    CHILD_EXPECT(kclTerminateInstance(&k) == 1 && k == nullptr, 7);

    // Up to date: nothing extracted, nothing said, and no staging directory left.
    CHILD_EXPECT(kclInitializeComponentInstance(&k, data, false, 0, 0, nullptr, &Captured::print), 8);
    CHILD_EXPECT(Captured::take_internal().empty(), 9);
    kclTerminateInstance(&k);
    for (const auto& entry : fs::directory_iterator(c.directory))
      CHILD_EXPECT(entry.path().filename().string().find("extract-") == std::string::npos, 10);

    // A rebuild under a new key replaces the old extraction.
    c.key = "twice_k2";
    c.build_archive(true);
    kclComponentData* rebuilt = c.data();
    CHILD_EXPECT(kclInitializeComponentInstance(&k, rebuilt, false, 0, 0, nullptr, &Captured::print), 11);
    CHILD_EXPECT(Captured::take_internal().find(kExtracting) != std::string::npos, 12);
    CHILD_EXPECT(fs::is_directory(c.extraction() / "twice_k2") && !fs::exists(c.extraction() / "twice_k1"), 13);
    kclTerminateInstance(&k);

    // The archive gone from beside an existing extraction: refused, no handle.
    fs::remove(c.directory / "twice.kar");
    k = reinterpret_cast<krtInstance*>(1);
    CHILD_EXPECT(!kclInitializeComponentInstance(&k, rebuilt, false, 0, 0, nullptr, nullptr) && k == nullptr, 14);
    said = Captured::take_internal();
    CHILD_EXPECT(said.find("Cannot find KAR archive '" + (c.directory / "twice.kar").string()) == 0, 15);
    CHILD_EXPECT(said.find("Error initializing KAR Archive\n") != std::string::npos, 16);
    kclDestroyComponentData(data);
    kclDestroyComponentData(rebuilt);
    return 0;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(ComponentInstance, RefusedPlacesTargetsAndArchives) {
  korel::test::TempDir dir;
  auto result = korel::test::run_in_child([&] {
    CHILD_EXPECT(start_runtime() == 0, 1);
    krtInstance* k = nullptr;
    struct Case {
      const char* subdirectory;
      int target;
      const char* said;  // empty: starts
    } cases[] = {
        {"a/private", 0, "The directory containing the KAR archive for this application is named \n 'private'."},
        {"a/Private", 0, ""},
        {"a/privates", 0, ""},
        {"@method/x", 0, "The path to the KAR archive file for this application contains one \n or more"},
        {"a/x@y", 0, ""},
        {"b", 2, "The KRT does not run KEX files generated by the Korel Compiler."},
        {"c", 7, "Internal error: the component 'twice' has a \"Target Type\" which the KRT\n"},
    };
    int n = 0;
    for (const Case& test : cases) {
      Component c(dir.path() + "/" + std::to_string(n++), "twice_k", test.subdirectory);
      kclComponentData* data = c.data();
      unsigned ok = kclInitializeComponentInstance(&k, data, false, 0, test.target, nullptr, &Captured::print);
      std::string said = Captured::take_internal();
      Captured::take_printed();
      kclDestroyComponentData(data);
      if (*test.said == '\0') {
        CHILD_EXPECT(ok && k && call_twice(k, 1) == 2, 10 + n);
        kclTerminateInstance(&k);
      } else {
        CHILD_EXPECT(!ok && !k && said.find(test.said) == 0, 20 + n);
      }
    }

    // An archive without the preferences template belongs to some other target.
    Component bare(dir.path() + "/bare", "twice_k");
    bare.build_archive(false);
    kclComponentData* data = bare.data();
    CHILD_EXPECT(!kclInitializeComponentInstance(&k, data, false, 0, 0, nullptr, nullptr) && !k, 30);
    std::string said = Captured::take_internal();
    CHILD_EXPECT(said.find("The '" + (bare.directory / "twice.kar").string() + "' kar file \n and the corresponding 'twice' target") != std::string::npos, 31);
    CHILD_EXPECT(said.find("Error initializing preferences required to run the application\n") != std::string::npos, 32);
    kclDestroyComponentData(data);

    // Found by target type when the data names no directory: the archive on PATH (4),
    // then on LD_LIBRARY_PATH for a library that is not loaded (1).
    Component searched(dir.path() + "/searched", "twice_k");
    data = searched.data(/*name_directory=*/false);
    setenv("PATH", ("/nonexistent::" + searched.directory.string()).c_str(), 1);
    CHILD_EXPECT(kclInitializeComponentInstance(&k, data, false, 0, 4, nullptr, &Captured::print) && k, 40);
    kclTerminateInstance(&k);
    Captured::take_internal();  // the extraction's progress
    setenv("PATH", "/nonexistent", 1);
    CHILD_EXPECT(!kclInitializeComponentInstance(&k, data, false, 0, 4, nullptr, nullptr), 41);
    said = Captured::take_internal();
    CHILD_EXPECT(said.find("Cannot find the directory containing the 'twice' component") == 0, 42);
    setenv("LD_LIBRARY_PATH", searched.directory.c_str(), 1);
    CHILD_EXPECT(kclInitializeComponentInstance(&k, data, false, 0, 1, nullptr, &Captured::print) && k, 43);
    kclTerminateInstance(&k);
    kclDestroyComponentData(data);

    // Missing arguments fail quietly.
    CHILD_EXPECT(!kclInitializeComponentInstance(nullptr, data, false, 0, 0, nullptr, nullptr), 50);
    CHILD_EXPECT(!kclInitializeComponentInstance(&k, nullptr, false, 0, 0, nullptr, nullptr), 51);
    CHILD_EXPECT(Captured::take_internal().empty(), 52);
    return 0;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(ComponentInstance, LockHeldElsewhereWarnsThenExtractsAnyway) {
  korel::test::TempDir dir;
  auto result = korel::test::run_in_child([&] {
    CHILD_EXPECT(start_runtime() == 0, 1);
    Component c(dir.path(), "twice_k");
    fs::create_directories(c.extraction());
    dsDirectoryExclusiveLock holder(c.extraction().string(), "");
    CHILD_EXPECT(holder.acquire(0, Tenbrook::System::TimeUnit::sSeconds(), false), 2);
    kcl::LocalExtraction job;
    job.archive = (c.directory / "twice.kar").string();
    job.directory = c.extraction().string();
    job.name = c.name;
    job.key = c.key;
    job.lock_wait = 50;
    job.lock_wait_unit = Tenbrook::System::TimeUnit::sMilliseconds();
    CHILD_EXPECT(kcl::extract_under_lock(job), 3);
    std::string said = Captured::take_internal();
    CHILD_EXPECT(said.find("Timed out while waiting to acquire an exclusive lock") == 0, 4);
    CHILD_EXPECT(said.find("Unable to obtain exclusive lock on KAR directory.") != std::string::npos, 5);
    CHILD_EXPECT(fs::is_directory(c.extraction() / c.key), 6);

    // Switched off by their warning identifiers, and not needed without locking.
    fs::remove_all(c.extraction());
    fs::create_directories(c.extraction());
    kclDisableWarning("KRT:KarLockWaitTimedOut");
    kclDisableWarning("KRT:ExtractNotExclusive");
    kclDisableWarning("KRT:Extract");
    CHILD_EXPECT(kcl::extract_under_lock(job) && Captured::take_internal().empty(), 7);
    fs::remove_all(c.extraction());
    setenv("KRT_INHIBIT_KAR_LOCK", "", 1);
    job.lock_wait = Tenbrook::System::kWaitForever;  // would hang if the lock were tried
    CHILD_EXPECT(kcl::extract_under_lock(job), 8);
    return 0;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(ComponentInstance, CachedEntryLivesAsLongAsItsInstance) {
  korel::test::TempDir dir;
  auto result = korel::test::run_in_child([&] {
    CHILD_EXPECT(start_runtime() == 0, 1);
    Component c(dir.path(), "twice_cached");
    kclComponentData* data = c.data();
    const std::string archive = (c.directory / "twice.kar").string();
    krtInstance* first = nullptr;
    krtInstance* second = nullptr;
    CHILD_EXPECT(kclInitializeComponentInstanceWithKarFile(&first, data, false, 0, 0, nullptr, &Captured::print, true,
                                                           false, nullptr, archive.c_str()), 2);
    const fs::path cached = c.root / "cache/.krtCache1.0/twice_cached";
    CHILD_EXPECT(fs::is_directory(cached / "twice_cached") && call_twice(first, 4) == 8, 3);
    // An existing extraction only: found while the cache holds it.
    CHILD_EXPECT(kclInitializeComponentInstanceWithKarFile(&second, data, false, 0, 0, nullptr, &Captured::print, true,
                                                           true, nullptr, nullptr), 4);

    dsDirectoryReadWriteLock::WriteLock writer(std::make_shared<dsDirectoryReadWriteLock::Impl>(cached.string()));
    const auto now = Tenbrook::System::TimeUnit::sSeconds();
    CHILD_EXPECT(!writer.acquire(0, now, false), 5);
    kclTerminateInstance(&first);
    CHILD_EXPECT(!writer.acquire(0, now, false), 6);
    kclTerminateInstance(&second);
    CHILD_EXPECT(writer.acquire(0, now, false), 7);
    writer.release(0, now);

    // Options with a directory of their own: extracted there, with no cache involved.
    const std::string chosen = (c.root / "chosen").string();
    CHILD_EXPECT(kclInitializeComponentInstanceWithKarFile(&first, data, false, 0, 0, nullptr, &Captured::print, false,
                                                           false, chosen.c_str(), archive.c_str()), 10);
    CHILD_EXPECT(fs::is_directory(c.root / "chosen/twice_cached") && call_twice(first, 5) == 10, 11);
    kclTerminateInstance(&first);
    Captured::take_internal();

    // No cache directory at all: its own message.
    fs::remove_all(c.root / "cache");
    CHILD_EXPECT(!kclInitializeComponentInstanceWithKarFile(&first, data, false, 0, 0, nullptr, nullptr, true, false,
                                                            nullptr, archive.c_str()) && !first, 8);
    CHILD_EXPECT(Captured::take_internal().find("An error occurred while trying to access the KRT component cache: directory\n not found: '") != std::string::npos, 9);
    kclDestroyComponentData(data);
    return 0;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

TEST(ComponentInstance, LastTerminationReportsOpenFigures) {
  korel::test::TempDir dir;
  auto result = korel::test::run_in_child([&] {
    CHILD_EXPECT(start_runtime() == 0, 1);
    Component c(dir.path(), "twice_k");
    kclComponentData* data = c.data();
    krtInstance* first = nullptr;
    krtInstance* second = nullptr;
    CHILD_EXPECT(kclInitializeComponentInstance(&first, data, false, 0, 0, nullptr, &Captured::print), 2);
    CHILD_EXPECT(kclInitializeComponentInstance(&second, data, false, 0, 0, nullptr, &Captured::print), 3);
    for (krtInstance* k : {first, second}) {
      kxArray* out = nullptr;
      CHILD_EXPECT(kclFeval(k, "figure", 1, &out, 0, nullptr), 4);
      kxDestroyArray(out);
    }
    // A live object of a user's class is reported; one of the runtime's own is not.
    const kxSize one[] = {1, 1};
    kxArray* shape = kxCreateObjectArray("Shape", 2, one, 0, nullptr);
    kxArray* own = kxCreateObjectArray("korel.Internal", 2, one, 0, nullptr);
    Captured::take_printed();
    Captured::take_internal();
    CHILD_EXPECT(kclTerminateInstance(&first) == 1 && Captured::take_printed().empty(), 5);
    CHILD_EXPECT(kclTerminateInstance(&second) == 1, 6);
    std::string said = Captured::take_printed();
    CHILD_EXPECT(said.find("Warning: 1 visible figure(s) exist at KRT termination.\n") == 0, 7);
    CHILD_EXPECT(said.find("If your application has terminated unexpectedly") != std::string::npos, 8);
    CHILD_EXPECT(said.find("invisible") == std::string::npos, 9);
    CHILD_EXPECT(said.find("Warning: Class\n    'Shape'\nin use at KRT termination.\n") != std::string::npos, 13);
    CHILD_EXPECT(said.find("korel.Internal") == std::string::npos, 14);
    kxDestroyArray(shape);
    kxDestroyArray(own);

    // Nothing to end, and no handle at all.
    CHILD_EXPECT(kclTerminateInstance(&second) == 1 && Captured::take_internal().empty(), 10);
    CHILD_EXPECT(kclTerminateInstance(nullptr) == 0, 11);
    CHILD_EXPECT(Captured::take_internal() == "Terminating KRT: Invalid KRT handle\n", 12);
    kclDestroyComponentData(data);
    return 0;
  });
  EXPECT_EQ(result.exit_code, 0) << result.err;
}

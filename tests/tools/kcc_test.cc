// Components built with kcc from files written here, run as programs and as a library
// the way users run them: fresh and warm caches, other working directories, rebuilds,
// many processes at once, and kcc's own complaints.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "support/subprocess.h"

using korel::test::BackgroundProcess;
using korel::test::Environment;
using korel::test::ProcessResult;
using korel::test::run_program;
using korel::test::TempDir;

namespace {

namespace fs = std::filesystem;

const std::string kExtracting = "Extracting KAR archive.";

void write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path) << text;
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

int count(const std::string& text, const std::string& part) {
  int n = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
  return n;
}

// The names in `dir` that do not begin with '.': the component keys of an extraction
// or a cache.
std::vector<std::string> keys_in(const std::string& dir) {
  std::vector<std::string> keys;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(dir, ec))
    if (entry.path().filename().string()[0] != '.') keys.push_back(entry.path().filename());
  return keys;
}

// A program `app` summing the squares of its arguments in a native function; `version`
// shows which build ran.
struct Component {
  TempDir temp;
  std::string dir = temp.path();
  std::string cache = dir + "/cache";
  Environment env = {
      {"KRT_CACHE_ROOT", cache}, {"HOME", dir + "/home"}, {"KRTROOT", std::nullopt},
      {"KOREL", std::nullopt}, {"TBE_INSTALL", std::nullopt},
      {"KCC_CC", KCC_TEST_CC[0] ? std::optional<std::string>(KCC_TEST_CC) : std::nullopt}};

  Component() { write_sources("v1"); }

  void write_sources(const std::string& version) {
    write(dir + "/src/app.k",
          "function app(varargin)\n"
          "x = zeros(1, nargin);\n"
          "for i = 1:nargin\n"
          "  x(i) = str2double(varargin{i});\n"
          "end\n"
          "fprintf('" + version + " %s %g\\n', getkrtuserdata('mode'), sumsq(x));\n");
    write(dir + "/src/sumsq.c",
          "#include \"korel/kx.h\"\n"
          "void klfFunction(int nlhs, kxArray* plhs[], int nrhs, kxArray* prhs[]) {\n"
          "  if (nrhs != 1 || !kxIsDouble(prhs[0]))\n"
          "    kxErrMsgIdAndTxt(\"app:sumsq\", \"numbers only\");\n"
          "  double total = 0, *x = kxGetPr(prhs[0]);\n"
          "  for (size_t i = 0; i < kxGetNumberOfElements(prhs[0]); ++i) total += x[i] * x[i];\n"
          "  plhs[0] = kxCreateDoubleScalar(total);\n"
          "}\n");
  }

  ProcessResult kcc(const std::string& out, std::vector<std::string> options) {
    std::vector<std::string> argv = {KCC, "--name", "app", "--output", out};
    argv.insert(argv.end(), options.begin(), options.end());
    argv.push_back(dir + "/src/app.k");
    argv.push_back(dir + "/src/sumsq.c");
    ProcessResult result = run_program(argv, env);
    if (result.exit_code != 0) ADD_FAILURE() << "kcc failed: " << result.err;
    return result;
  }

  // The program started by its absolute path from a working directory of its own.
  ProcessResult run(const std::string& program) {
    fs::create_directories(dir + "/elsewhere");
    return run_program({"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", dir + "/elsewhere", program,
                        "1", "2", "-krtuserdata", "mode:fast", "3"},
                       env);
  }
};

TEST(Kcc, ProgramsRunInEveryArchiveModeFromFreshAndWarmCaches) {
  Component app;
  for (const std::string mode : {"local", "cache", "embed"}) {
    SCOPED_TRACE(mode);
    const std::string out = app.dir + "/" + mode;
    fs::remove_all(app.cache);
    std::vector<std::string> options;
    if (mode != "local") options.push_back("--" + mode);
    // A key that generated C must quote with care.
    const std::string odd_key = "app_\"odd\\key?\?=@NAME@";
    if (mode == "cache") options.insert(options.end(), {"--key", odd_key});
    auto built = app.kcc(out, options);
    ASSERT_EQ(built.exit_code, 0) << built.err;
    EXPECT_EQ(fs::exists(out + "/app.kar"), mode != "embed");

    auto fresh = app.run(out + "/app");
    EXPECT_EQ(fresh.exit_code, 0) << fresh.err;
    EXPECT_TRUE(ends_with(fresh.out, "v1 fast 14\n")) << fresh.out << fresh.err;
    // The stream extractor of an embedded archive works silently.
    EXPECT_EQ(count(fresh.out + fresh.err, kExtracting), mode == "embed" ? 0 : 1);

    auto extraction = keys_in(mode == "local" ? out + "/app_krt" : app.cache + "/.krtCache1.0");
    ASSERT_EQ(extraction.size(), 1u);
    if (mode == "cache") {
      EXPECT_EQ(extraction[0], odd_key);
    } else {
      EXPECT_EQ(extraction[0].rfind("app_", 0), 0u);
    }
    EXPECT_EQ(fs::exists(out + "/app_krt"), mode == "local");

    auto warm = app.run(out + "/app");
    EXPECT_EQ(warm.exit_code, 0) << warm.err;
    EXPECT_EQ(warm.out, "v1 fast 14\n");
    EXPECT_EQ(count(warm.out + warm.err, kExtracting), 0);
  }
}

TEST(Kcc, LibrariesServeACHostFromFreshAndWarmCaches) {
  Component app;
  write(app.dir + "/host.c",
        "#include <stdio.h>\n"
        "#include \"app.h\"\n"
        "int main(void) {\n"
        "  if (!appInitialize()) return 2;\n"
        "  kxArray* in[1] = {kxCreateDoubleScalar(3)};\n"
        "  kxArray* out[1] = {NULL};\n"
        "  if (!app_sumsq(1, out, 1, in)) return 3;\n"
        "  printf(\"sumsq %g\\n\", kxGetScalar(out[0]));\n"
        "  kclFreeArrayList(1, out);\n"
        "  kclFreeArrayList(1, in);\n"
        "  in[0] = kxCreateString(\"x\");\n"
        "  if (app_sumsq(1, out, 1, in)) return 4;\n"
        "  printf(\"error %s\\n\", appGetLastErrorMessage());\n"
        "  kclFreeArrayList(1, in);\n"
        "  appTerminate();\n"
        "  return 0;\n"
        "}\n");
  const std::string root = korel::test::binary_dir() + "/krt";
  const std::string libs = root + "/bin/linux-x86_64";
  for (const std::string mode : {"local", "cache"}) {
    SCOPED_TRACE(mode);
    const std::string out = app.dir + "/lib-" + mode;
    fs::remove_all(app.cache);
    std::vector<std::string> options = {"--target", "lib"};
    if (mode == "cache") options.push_back("--cache");
    auto built = app.kcc(out, options);
    ASSERT_EQ(built.exit_code, 0) << built.err;

    std::vector<std::string> cc = {"/usr/bin/env"};
    std::istringstream compiler(KCC_TEST_CC[0] ? KCC_TEST_CC : "cc");
    for (std::string word; compiler >> word;) cc.push_back(word);
    cc.insert(cc.end(), {"-I" + root + "/include", "-I" + out, app.dir + "/host.c", "-o",
                         out + "/host", out + "/app.so", "-L" + libs, "-lkclkrt", "-lkorel_kx",
                         "-Wl,--enable-new-dtags,-rpath," + out + ":" + libs});
    auto linked = run_program(cc, app.env);
    ASSERT_EQ(linked.exit_code, 0) << linked.err;

    for (int pass = 0; pass < 2; ++pass) {
      auto hosted = app.run(out + "/host");
      EXPECT_EQ(hosted.exit_code, 0) << hosted.err;
      EXPECT_NE(hosted.out.find("sumsq 9\nerror "), std::string::npos) << hosted.out;
      EXPECT_NE(hosted.out.find("numbers only"), std::string::npos) << hosted.out;
      EXPECT_EQ(count(hosted.out + hosted.err, kExtracting), pass == 0 ? 1 : 0);
    }
    const std::string extracted = mode == "local" ? out + "/app_krt" : app.cache + "/.krtCache1.0";
    EXPECT_EQ(keys_in(extracted).size(), 1u);
  }
}

TEST(Kcc, ChangedFilesGetANewKeyAndAreExtractedAgain) {
  Component app;
  const std::string out = app.dir + "/out";
  ASSERT_EQ(app.kcc(out, {}).exit_code, 0);
  ASSERT_TRUE(ends_with(app.run(out + "/app").out, "v1 fast 14\n"));
  const auto old_keys = keys_in(out + "/app_krt");

  // The same files again: the same key.
  ASSERT_EQ(app.kcc(out, {}).exit_code, 0);
  EXPECT_EQ(count(app.run(out + "/app").out, kExtracting), 0);

  app.write_sources("v2");
  ASSERT_EQ(app.kcc(out, {}).exit_code, 0);
  auto rerun = app.run(out + "/app");
  EXPECT_EQ(rerun.exit_code, 0) << rerun.err;
  EXPECT_EQ(count(rerun.out + rerun.err, kExtracting), 1);
  EXPECT_TRUE(ends_with(rerun.out, "v2 fast 14\n")) << rerun.out;
  const auto new_keys = keys_in(out + "/app_krt");
  ASSERT_EQ(new_keys.size(), 1u);
  ASSERT_EQ(old_keys.size(), 1u);
  EXPECT_NE(new_keys[0], old_keys[0]);

  // "off ID" reaches the runtime as "off:ID": the next extraction is silent.
  app.write_sources("v3");
  ASSERT_EQ(app.kcc(out, {"--warning", "off KRT:Extract"}).exit_code, 0);
  auto quiet = app.run(out + "/app");
  EXPECT_EQ(quiet.out, "v3 fast 14\n");
  EXPECT_EQ(quiet.err, "");
}

TEST(Kcc, SixteenProgramsStartingTogetherExtractOnce) {
  Component app;
  const std::string out = app.dir + "/out";
  ASSERT_EQ(app.kcc(out, {"--cache"}).exit_code, 0);
  const std::string go = app.dir + "/go";
  std::vector<std::unique_ptr<BackgroundProcess>> programs;
  for (int i = 0; i < 16; ++i) {
    const std::string log = app.dir + "/log" + std::to_string(i);
    programs.push_back(std::make_unique<BackgroundProcess>(
        std::vector<std::string>{"/bin/sh", "-c",
                                 "while [ ! -e \"$0\" ]; do sleep 0.01; done; exec \"$@\"", go,
                                 out + "/app", "4", "-krtuserdata", "mode:many"},
        app.env, log + ".out", log + ".err"));
  }
  write(go, "");
  int extractions = 0;
  for (auto& program : programs) {
    auto result = program->wait();
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out.find("v1 many 16\n"), std::string::npos) << result.out << result.err;
    extractions += count(result.out + result.err, kExtracting);
  }
  EXPECT_EQ(extractions, 1);
  EXPECT_EQ(keys_in(app.cache + "/.krtCache1.0").size(), 1u);
}

TEST(Kcc, RefusesBadInputClearly) {
  Component app;
  const std::string out = app.dir + "/out", entry = app.dir + "/src/app.k";
  auto kcc = [&](std::vector<std::string> files, std::vector<std::string> options = {}) {
    std::vector<std::string> argv = {KCC, "--name", "app", "--output", out};
    argv.insert(argv.end(), options.begin(), options.end());
    argv.insert(argv.end(), files.begin(), files.end());
    return run_program(argv, app.env);
  };

  auto missing = kcc({entry, app.dir + "/nothere.k"});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_EQ(missing.err, "kcc: '" + app.dir + "/nothere.k' does not exist\n");

  write(app.dir + "/bad/broken.c", "void klfFunction(int n) { this is not C }\n");
  auto broken = kcc({entry, app.dir + "/bad/broken.c"});
  EXPECT_EQ(broken.exit_code, 1);
  EXPECT_NE(broken.err.find("broken.c:1"), std::string::npos) << broken.err;  // the compiler's
  EXPECT_NE(broken.err.find("kcc: cannot build the native function '" + app.dir + "/bad/broken.c'"),
            std::string::npos) << broken.err;

  auto bad_name = run_program({KCC, "--name", "9lives", "--output", out, entry});
  EXPECT_EQ(bad_name.exit_code, 2);
  EXPECT_NE(bad_name.err.find("the name '9lives' is not a C identifier"), std::string::npos)
      << bad_name.err;

  write(app.dir + "/bad/notes.txt", "");
  const std::vector<std::pair<std::vector<std::string>, std::string>> refusals = {
      {{"--key", ".hidden"}, "starts with '.'"},
      {{"--key", "a/b"}, "contains '/'"},
      {{"--key", "a b"}, "contains a space"},
      {{"--target", "lib", "--embed"}, "--embed works with --target exe only"},
      {{"--warning", "maybe X"}, "--warning takes"},
  };
  for (const auto& [options, why] : refusals) {
    auto refused = kcc({entry}, options);
    EXPECT_NE(refused.exit_code, 0) << why;
    EXPECT_NE(refused.err.find(why), std::string::npos) << refused.err;
  }
  auto unknown = kcc({app.dir + "/bad/notes.txt"});
  auto other = run_program({KCC, "--name", "other", "--output", out, entry});
  EXPECT_NE(other.err.find("needs an entry function 'other'"), std::string::npos) << other.err;
  EXPECT_NE(unknown.err.find("neither Korel source"), std::string::npos) << unknown.err;
  auto no_name = run_program({KCC, "--output", out, entry});
  EXPECT_EQ(no_name.err, "kcc: --name is required\nTry 'kcc --help'.\n");
  auto no_output = run_program({KCC, "--name", "app", entry});
  EXPECT_EQ(no_output.err, "kcc: --output is required\nTry 'kcc --help'.\n");
  // Nothing of a failed build is left behind.
  EXPECT_FALSE(fs::exists(out + "/app.kar"));
  EXPECT_FALSE(fs::exists(out + "/app"));
}

TEST(Kcc, RefusesKorelTextThatDoesNotParseAsTheRuntimeWouldReportIt) {
  Component app;
  const std::string out = app.dir + "/out", helper = app.dir + "/src/helper.k";
  // Line 3, column 8: the '2' where a ')' belongs.
  write(helper, "function y = helper(x)\ny = x;\nz = (1 2);\n");
  auto refused = run_program({KCC, "--name", "app", "--output", out, app.dir + "/src/app.k", helper},
                             app.env);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "kcc: Invalid Korel text in '" + helper +
                             "' at line 3, column 8: expected ')', found '2'.\n");
  EXPECT_FALSE(fs::exists(out + "/app"));
  EXPECT_FALSE(fs::exists(out + "/app.kar"));

  // A fifo given as a source is refused rather than waited on.
  ASSERT_EQ(::mkfifo((app.dir + "/src/fifo.k").c_str(), 0600), 0);
  auto fifo = run_program({"/usr/bin/timeout", "30", KCC, "--name", "app", "--output", out,
                           app.dir + "/src/app.k", app.dir + "/src/fifo.k"},
                          app.env);
  EXPECT_EQ(fifo.exit_code, 1);
  EXPECT_EQ(fifo.err, "kcc: '" + app.dir + "/src/fifo.k' is not a regular file\n");
}

TEST(Kcc, StoppedBySigtermOrSigintLeavesNoScratchDirectoryAndDiesByTheSignal) {
  Component app;
  const std::vector<std::pair<std::string, int>> signals = {{"TERM", SIGTERM}, {"INT", SIGINT}};
  for (const auto& [name, number] : signals) {
    SCOPED_TRACE(name);
    // The compiler kcc runs stops kcc, then takes its time.
    const std::string tmp = app.dir + "/tmp-" + name, compiler = app.dir + "/stop-" + name;
    fs::create_directories(tmp);
    write(compiler, "#!/bin/sh\nkill -" + name + " $PPID\nexec sleep 20\n");
    fs::permissions(compiler, fs::perms(0755));
    Environment env = app.env;
    env["TMPDIR"] = tmp;
    env["KCC_CC"] = compiler;
    const std::string out = app.dir + "/out-" + name;
    // The shell says how kcc ended: 128 + the signal's number when it died by it.
    auto stopped = run_program(
        {"/bin/sh", "-c", "\"$@\"; echo \"status $?\"", "sh", KCC, "--name", "app", "--output",
         out, app.dir + "/src/app.k"},
        env, [] {
          // As a user's shell would start it: the signals not ignored, not blocked.
          sigset_t none;
          sigemptyset(&none);
          return ::signal(SIGINT, SIG_DFL) != SIG_ERR && ::signal(SIGTERM, SIG_DFL) != SIG_ERR &&
                 ::sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
        });
    EXPECT_EQ(stopped.out, "status " + std::to_string(128 + number) + "\n") << stopped.err;
    EXPECT_TRUE(fs::is_empty(tmp)) << "the scratch directory is left";
    EXPECT_FALSE(fs::exists(out + "/app"));
    EXPECT_FALSE(fs::exists(out + "/app.kar"));
  }
}

}  // namespace

// The interpreter benchmark's Korel kernels run through the engine directly: one
// runtime instance whose path is a scratch copy of the kernels' .k files, each run one
// call by name, timed around that call alone.
#pragma once

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "korel/kx.h"
#include "krt/instance.h"

namespace korel::bench {

class KorelRunner {
 public:
  struct Answer {
    double seconds;
    double check;  // the kernel's scalar result
  };

  // Copies every .k file of `sources` into `scratch` and puts `scratch` on the path.
  KorelRunner(const std::filesystem::path& sources, const std::filesystem::path& scratch)
      : instance_(options_for(sources, scratch)) {}

  Answer run(const std::string& kernel, long n) {
    kxArray* in = kxCreateDoubleScalar(static_cast<double>(n));
    kxArray* out = nullptr;
    auto started = std::chrono::steady_clock::now();
    bool ok = instance_.CallKorelFunction(kernel.c_str(), 1, &out, 1, &in);
    auto stopped = std::chrono::steady_clock::now();
    kxDestroyArray(in);
    if (!ok) {
      const char* why = instance_.GetLastError();
      throw std::runtime_error("korel kernel " + kernel + ": " + (why ? why : "failed"));
    }
    bool scalar = kxIsDouble(out) && kxGetNumberOfElements(out) == 1;
    double check = scalar ? kxGetScalar(out) : 0;
    kxDestroyArray(out);
    if (!scalar) throw std::runtime_error("korel kernel " + kernel + " did not return a double scalar");
    return {std::chrono::duration<double>(stopped - started).count(), check};
  }

 private:
  static krtOptions options_for(const std::filesystem::path& sources,
                                const std::filesystem::path& scratch) {
    std::filesystem::create_directories(scratch);
    int copied = 0;
    for (const auto& entry : std::filesystem::directory_iterator(sources)) {
      if (entry.path().extension() != ".k") continue;
      std::filesystem::copy_file(entry.path(), scratch / entry.path().filename());
      ++copied;
    }
    if (copied == 0) throw std::runtime_error("no Korel kernels in " + sources.string());
    krtOptions options;
    options.current_directory = scratch.string();
    options.path = {scratch.string()};
    return options;
  }

  krtInstance instance_;
};

}  // namespace korel::bench

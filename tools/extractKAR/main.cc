// extractKAR: extracts a component archive, or lists its entries.
//
//   extractKAR [--verbose] [--max-size BYTES] ARCHIVE [DIR]
//   extractKAR --list ARCHIVE
//
// Exit codes: 0 done, 1 the archive could not be read or extracted, 2 bad usage.
#include <boost/program_options.hpp>
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <iostream>
#include <string>

#include "kar/archive_input.h"
#include "kar/error.h"
#include "kar/extract.h"
#include "kar/kar.h"
#include "kar/listing.h"

namespace po = boost::program_options;

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

int print_error(const char* text) { return std::fprintf(stderr, "extractKAR: %s", text); }
int print_output(const char* text) { return std::fputs(text, stdout); }

// Digits only: a sign or a suffix is a mistake, not something to guess at.
bool parse_size(const std::string& text, uint64_t& size) {
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, size);
  return !text.empty() && text[0] != '-' && error == std::errc() && stop == end;
}

int list(const std::string& archive) {
  try {
    auto input = kar::ArchiveInput::open_file(archive);
    for (const kar::EntryInfo& entry : kar::list_entries(*input))
      std::printf("%12" PRIu64 "  %s\n", entry.size, entry.name.c_str());
    return 0;
  } catch (const kar::Error& error) {
    std::fprintf(stderr, "extractKAR: %s\n", kar::describe("Cannot list '" + archive + "'", error).c_str());
    return kFailed;
  }
}

}  // namespace

int main(int argc, char** argv) {
  po::options_description visible("Options");
  visible.add_options()
      ("help,h", "show this text")
      ("list,l", "list the entries with their sizes instead of extracting")
      ("verbose,v", "name each entry as it is extracted")
      ("max-size", po::value<std::string>(), "refuse archives that extract to more bytes than this");
  po::options_description hidden;
  hidden.add_options()
      ("archive", po::value<std::string>())
      ("directory", po::value<std::string>());
  po::options_description all;
  all.add(visible).add(hidden);
  po::positional_options_description positional;
  positional.add("archive", 1).add("directory", 1);

  po::variables_map vm;
  try {
    po::store(po::command_line_parser(argc, argv).options(all).positional(positional).run(), vm);
    po::notify(vm);
  } catch (const po::error& error) {
    std::fprintf(stderr, "extractKAR: %s\nTry 'extractKAR --help'.\n", error.what());
    return kUsage;
  }
  const char* usage = "Usage: extractKAR [--verbose] [--max-size BYTES] ARCHIVE [DIR]\n"
                      "       extractKAR --list ARCHIVE\n"
                      "Extracts ARCHIVE into DIR, by default <name>_krt beside <name>.kar.\n";
  if (vm.count("help")) {
    std::cout << usage << visible;
    return 0;
  }
  if (!vm.count("archive") || (vm.count("list") && vm.count("directory"))) {
    std::fputs(usage, stderr);
    return kUsage;
  }
  const std::string archive = vm["archive"].as<std::string>();
  if (vm.count("list")) return list(archive);

  set_karrt_error_handler(print_error);
  set_karrt_output_handler(print_output);
  kar::ExtractOptions options;
  options.verbose = vm.count("verbose") > 0;
  if (vm.count("max-size") && !parse_size(vm["max-size"].as<std::string>(), options.max_total_bytes)) {
    std::fprintf(stderr, "extractKAR: --max-size takes a number of bytes, not '%s'\n",
                 vm["max-size"].as<std::string>().c_str());
    return kUsage;
  }
  std::string target = vm.count("directory") ? vm["directory"].as<std::string>()
                                             : kar::local_extraction_directory(archive);
  return kar::extract_file(archive, target, options) ? 0 : kFailed;
}

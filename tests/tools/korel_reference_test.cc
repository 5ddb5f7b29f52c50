// The reference's function list: how it is read from the library's help lines, laid
// out and put between its markers, and that docs/LANGUAGE.md holds the current one.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "reference.h"
#include "support/subprocess.h"

namespace ref = korel::reference;
namespace fs = std::filesystem;

namespace {

std::string read_file(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void write_file(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

TEST(KorelReference, LibrarySummaryIsTheHelpParagraphAfterTheFunctionLine) {
  struct Case {
    const char* source;
    const char* summary;
  } cases[] = {
      {"function y = f(x)\n% f(X): the thing.\ny = x;\n", "The thing."},
      {"function [a, b] = g(x)\n% g(X, Y): a pair.\n", "A pair."},
      {"function h\n% h: bare name.\n", "Bare name."},
      {"function f\n% first part\n%   second part.\nx = 1;\n", "First part second part."},
      {"function f\n% Summary.\n%\n% Details.\n", "Summary."},
      {"function f\n  %   Indented help.\n", "Indented help."},
      {"function f\r\n% Help text.\r\n", "Help text."},
      {"% Copyright line\n\nfunction f\n% Help.\n", "Help."},
      {"function m = mean(x)\n% meanly: not the call form.\n", "Meanly: not the call form."},
      {"function f\n% g(X): another function's form stays.\n", "G(X): another function's form stays."},
      {"function f\nx = 1; % after code\n", ""},
      {"function f\n\n% after a blank line\n", ""},
      {"function f\n%{\n% block\n%}\n", ""},
      {"x = 1;\n% a script\n", ""},
      {"", ""},
  };
  for (const Case& c : cases)
    EXPECT_EQ(ref::library_summary(c.source), c.summary) << "source:\n" << c.source;
}

TEST(KorelReference, LibraryAreasAreDirectoriesOfKorelFilesSortedByName) {
  korel::test::TempDir toolbox;
  const fs::path root = toolbox.path();
  write_file(root / "stats" / "zmax.k", "function y = zmax(x)\n% zmax(X): the last.\n");
  write_file(root / "stats" / "amin.k", "function y = amin(x)\n% amin(X): the first.\n");
  write_file(root / "stats" / "notes.txt", "not a function\n");
  write_file(root / "elem" / "nohelp.k", "function nohelp\nx = 1;\n");
  fs::create_directories(root / "empty");
  write_file(root / "loose.k", "function loose\n% Not in an area.\n");

  std::vector<ref::Area> areas = ref::library_areas(root);
  ASSERT_EQ(areas.size(), 2u);
  EXPECT_EQ(areas[0].title, "Library: elem");
  ASSERT_EQ(areas[0].entries.size(), 1u);
  EXPECT_EQ(areas[0].entries[0].name, "nohelp");
  EXPECT_EQ(areas[0].entries[0].summary, "");
  EXPECT_EQ(areas[1].title, "Library: stats");
  ASSERT_EQ(areas[1].entries.size(), 2u);
  EXPECT_EQ(areas[1].entries[0].name, "amin");
  EXPECT_EQ(areas[1].entries[0].summary, "The first.");
  EXPECT_EQ(areas[1].entries[1].name, "zmax");
}

TEST(KorelReference, ProblemsNameEntriesWithoutSummaryAndNamesListedTwice) {
  std::vector<ref::Area> areas = {
      {"Output", {{"disp", "Prints."}, {"fprintf", ""}}},
      {"Library: x", {{"disp", "Shadowed."}, {"blank", "  \t"}}},
  };
  std::vector<std::string> expected = {
      "'fprintf' (Output) has no summary",
      "'disp' is listed in both Output and Library: x",
      "'blank' (Library: x) has no summary",
  };
  EXPECT_EQ(ref::problems(areas), expected);
  EXPECT_TRUE(ref::problems({{"Output", {{"disp", "Prints."}}}}).empty());
}

TEST(KorelReference, RenderGivesAHeadingPerAreaAndALinePerEntry) {
  std::vector<ref::Area> areas = {
      {"Output", {{"disp", "Prints a value."}, {"fprintf", "Formats."}}},
      {"Nothing yet", {}},
      {"Library: elmat", {{"isrow", "True for a row."}}},
  };
  EXPECT_EQ(ref::render(areas),
            "\n### Output\n\n"
            "- `disp`: Prints a value.\n"
            "- `fprintf`: Formats.\n"
            "\n### Library: elmat\n\n"
            "- `isrow`: True for a row.\n"
            "\n");
}

TEST(KorelReference, SectionLiesBetweenTheMarkersAndOnlyItIsReplaced) {
  const std::string begin(ref::kBeginMarker);
  const std::string end(ref::kEndMarker);
  const std::string document = "# Title\n\n" + begin + "\nold list\n" + end + "\nAfter.\n";
  ASSERT_TRUE(ref::section_of(document));
  EXPECT_EQ(*ref::section_of(document), "old list\n");
  std::optional<std::string> updated = ref::with_section(document, "new list\n");
  ASSERT_TRUE(updated);
  EXPECT_EQ(*updated, "# Title\n\n" + begin + "\nnew list\n" + end + "\nAfter.\n");
  EXPECT_EQ(ref::with_section(*updated, "old list\n"), document);

  const std::string broken[] = {
      "no markers at all\n",
      "# Title\n" + begin + "\nlist without its end\n",
      "# Title\nlist without its beginning\n" + end + "\n",
      "# Title\n" + end + "\nreversed\n" + begin + "\n",
  };
  for (const std::string& text : broken) {
    EXPECT_FALSE(ref::section_of(text)) << text;
    EXPECT_FALSE(ref::with_section(text, "new\n")) << text;
  }
}

TEST(KorelReference, UpdateRewritesTheSectionOfAFileAndRefusesOneWithoutMarkers) {
  korel::test::TempDir dir;
  const fs::path toolbox = fs::path(dir.path()) / "toolbox";
  write_file(toolbox / "elmat" / "isrow.k", "function t = isrow(x)\n% isrow(X): true for a row.\n");
  const fs::path doc = fs::path(dir.path()) / "LANGUAGE.md";
  const std::string head = "# Korel\n" + std::string(ref::kBeginMarker) + "\n";
  const std::string tail = std::string(ref::kEndMarker) + "\nEnd.\n";
  write_file(doc, head + "stale\n" + tail);

  korel::test::ProcessResult r =
      korel::test::run_program({KOREL_REFERENCE, toolbox.string(), "--update", doc.string()});
  EXPECT_EQ(r.exit_code, 0) << r.err;
  std::string updated = read_file(doc);
  EXPECT_TRUE(updated.starts_with(head)) << updated;
  EXPECT_TRUE(updated.ends_with("\n### Library: elmat\n\n- `isrow`: True for a row.\n\n" + tail))
      << updated;
  EXPECT_NE(updated.find("- `disp`: "), std::string::npos) << updated;
  EXPECT_FALSE(fs::exists(doc.string() + ".partial"));

  write_file(doc, "# Korel without markers\n");
  r = korel::test::run_program({KOREL_REFERENCE, toolbox.string(), "--update", doc.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("lacks the lines"), std::string::npos) << r.err;
  EXPECT_EQ(read_file(doc), "# Korel without markers\n");

  write_file(toolbox / "elmat" / "nohelp.k", "function nohelp\nx = 1;\n");
  r = korel::test::run_program({KOREL_REFERENCE, toolbox.string()});
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.err.find("'nohelp' (Library: elmat) has no summary"), std::string::npos) << r.err;

  EXPECT_EQ(korel::test::run_program({KOREL_REFERENCE}).exit_code, 2);
  EXPECT_EQ(korel::test::run_program({KOREL_REFERENCE, (toolbox / "none").string()}).exit_code, 2);
}

// The reference lists exactly the functions that exist, each with its line.
TEST(KorelReference, LanguageReferenceListsEveryFunctionThereIs) {
  std::vector<ref::Area> areas = ref::builtin_areas();
  for (ref::Area& area : ref::library_areas(fs::path(KOREL_SOURCE_DIR) / "toolbox/korel"))
    areas.push_back(std::move(area));
  for (const std::string& problem : ref::problems(areas)) ADD_FAILURE() << problem;

  const std::string document = read_file(fs::path(KOREL_SOURCE_DIR) / "docs/LANGUAGE.md");
  std::optional<std::string_view> section = ref::section_of(document);
  ASSERT_TRUE(section) << "docs/LANGUAGE.md lacks the function list's marker lines";
  EXPECT_EQ(*section, ref::render(areas))
      << "docs/LANGUAGE.md's function list differs from the engine's tables and the "
         "library; rewrite it with\n  make reference\n(or: cmake --build build --target "
         "korel-reference && build/tools/korel-reference/korel-reference toolbox/korel "
         "--update docs/LANGUAGE.md)";
}

}  // namespace

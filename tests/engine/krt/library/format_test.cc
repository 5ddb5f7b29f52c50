#include <cmath>
#include <limits>

#include "krt/library/format.h"
#include "library_test_support.h"

namespace {

using namespace libtest;

// sprintf with a format written as Korel source would hold it (backslashes are escapes).
template <class... A>
std::string printed(const char* format, const A&... args) {
  Owned out = call("sprintf", text(format), args...);
  EXPECT_EQ(kxGetM(out.get()), 1u);
  return str(out);
}

TEST(Sprintf, ConversionsFlagsWidthsAndPrecisions) {
  EXPECT_EQ(printed("%d", num(42)), "42");
  EXPECT_EQ(printed("%i|%5d|%-5d|%05d", num(1), num(42), num(42), num(-42)), "1|   42|42   |-0042");
  EXPECT_EQ(printed("%+d % d %.3d", num(5), num(5), num(7)), "+5  5 007");
  EXPECT_EQ(printed("%x %X %o %#x %#o", num(255), num(255), num(8), num(255), num(8)),
            "ff FF 10 0xff 010");
  EXPECT_EQ(printed("%u", num(4000000000.0)), "4000000000");
  EXPECT_EQ(printed("%f|%.2f|%8.3f|%-8.1f|", num(M_PI), num(M_PI), num(-M_PI), num(2.25)),
            "3.141593|3.14|  -3.142|2.2     |");
  EXPECT_EQ(printed("%e %.2E", num(12345.678), num(0.000123)), "1.234568e+04 1.23E-04");
  EXPECT_EQ(printed("%g %g %G %#g", num(0.0001), num(1e10), num(1e-10), num(1.0)),
            "0.0001 1e+10 1E-10 1.00000");
  EXPECT_EQ(printed("%ld %hd %lu", num(1), num(2), num(3)), "1 2 3");
}

TEST(Sprintf, WidthAndPrecisionFromTheData) {
  EXPECT_EQ(printed("%*d|", num(5), num(3)), "    3|");
  EXPECT_EQ(printed("%*d|", num(-4), num(3)), "3   |");  // a negative width left-justifies
  EXPECT_EQ(printed("%.*f", num(2), num(M_PI)), "3.14");
  EXPECT_EQ(printed("%*.*f|", num(7), num(1), num(2.5)), "    2.5|");
  EXPECT_EQ(printed("[%*d]", row({3, 1, 2, 22})), "[  1][22]");
}

TEST(Sprintf, FormatIsReusedWhileDataRemains) {
  EXPECT_EQ(printed("%d, ", row({1, 2, 3})), "1, 2, 3, ");
  EXPECT_EQ(printed("%d %d\\n", row({1, 2, 3})), "1 2\n3 ");
  EXPECT_EQ(printed("%d", mat({{1, 2}, {3, 4}})), "1324");  // column-major
  EXPECT_EQ(printed("%d%s;", num(1), text("ab"), num(2), text("cd")), "1ab;2cd;");
  EXPECT_EQ(printed("%c", text("xyz")), "xyz");
  EXPECT_EQ(printed("(%d)", empty(), num(4), empty()), "(4)");
}

TEST(Sprintf, WithoutDataTheFormatIsPrintedOnceWithEmptyConversions) {
  EXPECT_EQ(printed("no conversions"), "no conversions");
  EXPECT_EQ(printed("no conversions", num(1), num(2)), "no conversions");
  EXPECT_EQ(printed("abc %d def"), "abc  def");
  EXPECT_EQ(printed("<%s|%5.1f>", empty()), "<|>");
  EXPECT_EQ(printed("%s", text("")), "");
  Owned out = call("sprintf", text(""));
  EXPECT_EQ(dims(out), (Dims{1, 0}));
  EXPECT_EQ(class_of(out), "char");
}

TEST(Sprintf, TextAndNumbersMeetingOtherConversions) {
  EXPECT_EQ(printed("%s=%d;", text("ab"), num(5)), "ab=5;");
  EXPECT_EQ(printed("%d", text("ab")), "9798");      // codes of the characters
  EXPECT_EQ(printed("%s|%s|%s", num(3.5), num(65), num(0.1)), "3.5|65|0.1");
  EXPECT_EQ(printed("%s", num(1e20)), "1e+20");
  EXPECT_EQ(printed("%.3s", num(M_PI)), "3.14");
  EXPECT_EQ(printed("%c%c", num(72), num(105)), "Hi");
  EXPECT_EQ(printed("%c", num(233)), "\xC3\xA9");  // U+00E9 as UTF-8
  EXPECT_EQ(printed("%.2s|%5s|%-4s|", text("abcdef"), text("ab"), text("x")), "ab|   ab|x   |");
  EXPECT_EQ(printed("%3s|", text("\xC3\xA9")), "  \xC3\xA9|");  // widths count characters
  EXPECT_EQ(printed("%d %d", boolean(true), boolean(false)), "1 0");
  EXPECT_EQ(printed("%g", complex_row({1}, {2})), "1");  // the real part
}

TEST(Sprintf, ValuesAnIntegerConversionCannotShow) {
  EXPECT_EQ(printed("%d", num(1.5)), "1.500000e+00");
  EXPECT_EQ(printed("%8.2d|", num(-0.5)), "-5.00e-01|");
  EXPECT_EQ(printed("%u %x", num(-3), num(-1)), "-3.000000e+00 -1.000000e+00");
  EXPECT_EQ(printed("%d", num(1e20)), "100000000000000000000");
  EXPECT_EQ(printed("%d", num(-0.0)), "0");
  EXPECT_EQ(printed("%f %d %e|%5.1f|%-5g|", num(INFINITY), num(-INFINITY), num(NAN), num(NAN),
                    num(INFINITY)),
            "Inf -Inf NaN|  NaN|Inf  |");
}

TEST(Sprintf, SixtyFourBitIntegersPrintEveryDigit) {
  Owned big = typed(kxINT64_CLASS, {1, 1}, {0});
  *static_cast<int64_t*>(kxGetData(big.get())) = std::numeric_limits<int64_t>::max();
  Owned huge = typed(kxUINT64_CLASS, {1, 1}, {0});
  *static_cast<uint64_t*>(kxGetData(huge.get())) = std::numeric_limits<uint64_t>::max();
  Owned low = typed(kxINT64_CLASS, {1, 1}, {0});
  *static_cast<int64_t*>(kxGetData(low.get())) = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(printed("%d %d %s %x", big, huge, low, huge),
            "9223372036854775807 18446744073709551615 -9223372036854775808 ffffffffffffffff");
}

TEST(Sprintf, EscapesInTheFormatOnly) {
  EXPECT_EQ(printed("a\\tb\\x41\\101\\\\|\\q|100%%"), "a\tbAA\\|\\q|100%");
  EXPECT_EQ(printed("\\x3b1"), ";1");  // at most two hex digits
  EXPECT_EQ(printed("%s", text("a\\n")), "a\\n");  // data is not unescaped
  EXPECT_EQ(printed("end\\"), "end\\");
}

TEST(Sprintf, BadCallsRaise) {
  EXPECT_EQ(error_of("sprintf"), "Korel:sprintf:notEnoughInputs");
  EXPECT_EQ(error_of("sprintf", num(5)), "Korel:sprintf:badType");
  EXPECT_EQ(error_of("sprintf", char_rows({"ab", "cd"})), "Korel:sprintf:badType");
  EXPECT_EQ(error_of("sprintf", text("%d"), cell_row(num(1))), "Korel:sprintf:badType");
  EXPECT_EQ(error_of("sprintf", text("%y"), num(1)), "Korel:format:badConversion");
  EXPECT_EQ(error_of("sprintf", text("%5"), num(1)), "Korel:format:badConversion");
  EXPECT_EQ(error_of("sprintf", text("%2000000d"), num(1)), "Korel:format:tooWide");
  EXPECT_EQ(error_of("sprintf", text("%*d"), num(NAN), num(1)), "Korel:format:badWidth");
  EXPECT_EQ(error_of("sprintf", text("%*d"), num(1e9), num(1)), "Korel:format:tooWide");
  EXPECT_EQ(error_with("sprintf", 2, {text("x").get()}), "Korel:sprintf:tooManyOutputs");
}

TEST(Format, DirectCallsAndTextOf) {
  Owned n = num(7);
  const kxArray* args[] = {n.get()};
  EXPECT_EQ(krt::library::format("<%d>", args), "<7>");
  Owned c = cell_row(num(1));
  const kxArray* bad[] = {c.get()};
  try {
    krt::library::format("%d", bad);
    ADD_FAILURE() << "a cell was formatted";
  } catch (const kx::KorelError& e) {
    EXPECT_EQ(e.identifier(), "Korel:format:badType");
  }

  Owned word = text("h\xC3\xA9llo");
  EXPECT_EQ(krt::library::text_of(word.get(), "X:y"), "h\xC3\xA9llo");
  Owned hollow = typed(kxCHAR_CLASS, {0, 3}, {});
  EXPECT_EQ(krt::library::text_of(hollow.get(), "X:y"), "");
  Owned block = char_rows({"ab", "cd"});
  try {
    krt::library::text_of(block.get(), "Korel:test:notText");
    ADD_FAILURE() << "a char matrix was taken as text";
  } catch (const kx::KorelError& e) {
    EXPECT_EQ(e.identifier(), "Korel:test:notText");
  }
}

}  // namespace

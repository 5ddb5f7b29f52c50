#include <cmath>
#include <cstdint>

#include "engine/krt/array/array_test_support.h"

namespace krt::opstest {
namespace {

Value range(const Value& start, const Value* step, const Value& stop) {
  return ops::range(start.get(), step ? step->get() : nullptr, stop.get());
}

TEST(Range, CountsAndElements) {
  Value simple = range(scalar(1), nullptr, scalar(5));
  EXPECT_EQ(dims(simple), (Shape{1, 5}));
  EXPECT_EQ(values(simple), (std::vector<double>{1, 2, 3, 4, 5}));
  EXPECT_EQ(values(range(scalar(1), nullptr, scalar(3.7))), (std::vector<double>{1, 2, 3}));
  Value down = scalar(-2);
  EXPECT_EQ(values(range(scalar(5), &down, scalar(0))), (std::vector<double>{5, 3, 1}));

  // Decimal steps that doubles only approximate still reach the end.
  Value tenth = scalar(0.1);
  Value eleven = range(scalar(0), &tenth, scalar(1));
  ASSERT_EQ(kxGetNumberOfElements(eleven.get()), 11u);
  EXPECT_EQ(values(eleven).back(), 1.0);
  EXPECT_DOUBLE_EQ(values(eleven)[3], 0.3);
  EXPECT_EQ(kxGetNumberOfElements(range(scalar(0), &tenth, scalar(0.3)).get()), 4u);
  Value twentieth = scalar(0.05);
  Value fine = range(scalar(1), &twentieth, scalar(2));
  EXPECT_EQ(kxGetNumberOfElements(fine.get()), 21u);
  for (double v : values(fine)) EXPECT_LE(v, 2.0);
  Value single_step = scalar(0.1, kxSINGLE_CLASS);
  Value singles = range(scalar(0, kxSINGLE_CLASS), &single_step, scalar(1, kxSINGLE_CLASS));
  EXPECT_EQ(kxGetClassID(singles.get()), kxSINGLE_CLASS);
  EXPECT_EQ(kxGetNumberOfElements(singles.get()), 11u);

  EXPECT_EQ(values(range(scalar(3), nullptr, scalar(3))), std::vector<double>{3});
}

TEST(Range, EmptyRanges) {
  Value zero = scalar(0);
  Value nan = scalar(NAN);
  Value up = scalar(1);
  for (const Value* step : {&zero, &nan}) {
    Value r = range(scalar(1), step, scalar(5));
    EXPECT_EQ(dims(r), (Shape{1, 0}));
  }
  EXPECT_EQ(dims(range(scalar(5), &up, scalar(1))), (Shape{1, 0}));
  Value down = scalar(-1);
  EXPECT_EQ(dims(range(scalar(1), &down, scalar(5))), (Shape{1, 0}));
  EXPECT_EQ(dims(range(empty(), nullptr, scalar(5))), (Shape{1, 0}));
  EXPECT_EQ(dims(range(scalar(NAN), nullptr, scalar(5))), (Shape{1, 0}));
}

TEST(Range, ClassesOfTheEndpoints) {
  Value letters = range(text("a"), nullptr, text("e"));
  EXPECT_EQ(kxGetClassID(letters.get()), kxCHAR_CLASS);
  EXPECT_EQ(string_of(letters), "abcde");
  Value two = scalar(2);
  EXPECT_EQ(string_of(range(text("a"), &two, text("e"))), "ace");

  Value ints = range(scalar(1, kxINT8_CLASS), nullptr, scalar(4));
  EXPECT_EQ(kxGetClassID(ints.get()), kxINT8_CLASS);
  EXPECT_EQ(values(ints), (std::vector<double>{1, 2, 3, 4}));
  // The operands are taken in the integer class first: a step of 0.6 is 1.
  Value fraction = scalar(0.6);
  EXPECT_EQ(values(range(scalar(1, kxUINT8_CLASS), &fraction, scalar(3))),
            (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(error_id([] { range(scalar(1, kxINT8_CLASS), nullptr, scalar(3, kxINT16_CLASS)); }),
            "Korel:mixedIntegerClasses");
  EXPECT_EQ(kxGetClassID(range(scalar(1, kxLOGICAL_CLASS), nullptr, scalar(2)).get()),
            kxDOUBLE_CLASS);

  // 64-bit endpoints step exactly where doubles could not tell them apart.
  Value far = scalar(0, kxINT64_CLASS);
  static_cast<int64_t*>(kxGetData(far.get()))[0] = int64_t{1} << 60;
  Value past = scalar(0, kxINT64_CLASS);
  static_cast<int64_t*>(kxGetData(past.get()))[0] = (int64_t{1} << 60) + 5;
  Value wide = range(far, nullptr, past);
  ASSERT_EQ(kxGetNumberOfElements(wide.get()), 6u);
  EXPECT_EQ(static_cast<int64_t*>(kxGetData(wide.get()))[5], (int64_t{1} << 60) + 5);

  // A non-scalar endpoint contributes its first element.
  EXPECT_EQ(values(range(row({2, 9}), nullptr, column({4, 0}))), (std::vector<double>{2, 3, 4}));
}

TEST(Range, BadOperands) {
  Value cell = checked(kxCreateCellMatrix(1, 1));
  EXPECT_EQ(error_of([&] { range(cell, nullptr, scalar(3)); }),
            "Korel:UndefinedFunction: Undefined operator ':' for input arguments of type 'cell'.");
  EXPECT_EQ(error_id([] { range(scalar(1), nullptr, scalar(INFINITY)); }), "Korel:range:TooLarge");
  EXPECT_EQ(error_id([] { range(scalar(0), nullptr, scalar(1e15)); }), "Korel:range:TooLarge");
  EXPECT_EQ(error_id([] { range(complex_scalar(1, 1), nullptr, scalar(3)); }),
            "Korel:complex:Unsupported");
}

}  // namespace
}  // namespace krt::opstest

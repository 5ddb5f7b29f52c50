// containers.Map from Korel: construction, lookups, handle semantics, errors and display.
#include <gtest/gtest.h>

#include "support/korel_cases.h"

using korel::test::expect_cases;
using korel::test::KorelCase;

namespace {

TEST(ContainersMap, Construction) {
  const KorelCase cases[] = {
      {"m = containers.Map(); fprintf('%d %s %s\\n', m.Count, m.KeyType, m.ValueType);",
       "0 char any\n"},
      {"m = containers.Map('KeyType','int32','ValueType','double');"
       "fprintf('%s %s\\n', m.KeyType, m.ValueType);",
       "int32 double\n"},
      {"m = containers.Map('valuetype','char','KEYTYPE','uint64');"
       "fprintf('%s %s\\n', m.KeyType, m.ValueType);",
       "uint64 char\n"},
      {"m = containers.Map({'b','a','c'}, {2, 1, 3}); k = keys(m); v = values(m);"
       "fprintf('%s%s%s %g%g%g %s\\n', k{:}, v{:}, m.ValueType);",
       "abc 123 double\n"},
      {"m = containers.Map('only', [1 2 3]); v = m('only');"
       "fprintf('%d %d %g %s\\n', m.Count, numel(v), v(3), m.ValueType);",
       "1 3 3 any\n"},
      {"m = containers.Map({'a','b'}, {1, 2}, 'UniformValues', false);"
       "fprintf('%s\\n', m.ValueType);",
       "any\n"},
      {"m = containers.Map({'a','b'}, {'x', 'yz'}); fprintf('%s\\n', m.ValueType);", "char\n"},
      {"m = containers.Map({'a','a'}, {1, 2}); fprintf('%d %g\\n', m.Count, m('a'));", "1 2\n"},
      {"m = containers.Map([30 10 20], {'c','a','b'}); k = keys(m);"
       "fprintf('%s %g %g %g %s %s\\n', m.KeyType, k{:}, class(k{1}), m(20));",
       "double 10 20 30 double b\n"},
      {"m = containers.Map(int32([5 2]), {'x','y'}); k = keys(m);"
       "fprintf('%s %s %d\\n', m.KeyType, class(k{1}), k{1});",
       "int32 int32 2\n"},
      {"m = containers.Map({}, {}); fprintf('%d %s\\n', m.Count, m.KeyType);", "0 char\n"},
  };
  expect_cases(cases);
}

TEST(ContainersMap, LookupsAndChanges) {
  const KorelCase cases[] = {
      {"m = containers.Map({'b','B','a','_','ab'}, {1,2,3,4,5}); k = keys(m);"
       "fprintf('%s,', k{:}); fprintf('\\n');",
       "B,_,a,ab,b,\n"},
      {"m = containers.Map(); m('Key') = 1; fprintf('%d %d\\n', isKey(m, 'Key'), isKey(m, 'key'));",
       "1 0\n"},
      {"m = containers.Map(); m('a') = 1; m('a') = 5; fprintf('%d %g\\n', m.Count, m('a'));",
       "1 5\n"},
      {"m = containers.Map({'a','b'}, {1,2}); t = isKey(m, {'a','z';'b','a'});"
       "fprintf('%d', t); fprintf(' %s %dx%d\\n', class(t), size(t,1), size(t,2));",
       "1101 logical 2x2\n"},
      {"m = containers.Map({'a','b','c'}, {1,2,3}); v = values(m, {'c','a'});"
       "fprintf('%g %g\\n', v{:});",
       "3 1\n"},
      {"m = containers.Map({'a','b','c'}, {1,2,3}); remove(m, 'b'); remove(m, {'a'});"
       "k = keys(m); fprintf('%d %s\\n', m.Count, k{1});",
       "1 c\n"},
      {"m = containers.Map({'a','b'}, {1,2});"
       "try remove(m, {'a','zz'}); catch e, disp(e.identifier); end; fprintf('%d\\n', m.Count);",
       "Korel:Map:unknownKey\n2\n"},
      {"m = containers.Map({'a','b','c'}, {1,2,3});"
       "fprintf('%d %d %d\\n', length(m), numel(m), m.length());",
       "3 1 3\n"},
      {"m = containers.Map(); fprintf('%d %s %d %d\\n', isobject(m), class(m),"
       "isa(m, 'containers.Map'), isobject(struct()));",
       "1 containers.Map 1 0\n"},
      {"m = containers.Map({'x','y'}, {10, 20}); k = m.keys(); v = m.values({'y'});"
       "fprintf('%s %g %d %d\\n', k{2}, v{1}, m.isKey('x'), m.isKey('q'));",
       "y 20 1 0\n"},
      {"m = containers.Map(); k = keys(m); fprintf('%dx%d\\n', size(k,1), size(k,2));", "1x0\n"},
      {"m = containers.Map('KeyType','char','ValueType','int8'); m('a') = 300; v = m('a');"
       "fprintf('%s %d\\n', class(v), v);",
       "int8 127\n"},
  };
  expect_cases(cases);
}

TEST(ContainersMap, NumericKeys) {
  const KorelCase cases[] = {
      {"m = containers.Map('KeyType','int32','ValueType','any'); m(2.6) = 'r';"
       "fprintf('%d %s\\n', isKey(m, 3), m(int8(3)));",
       "1 r\n"},
      {"m = containers.Map('KeyType','double','ValueType','any'); m(0) = 'z'; m(-0) = 'n';"
       "fprintf('%d %s\\n', m.Count, m(0));",
       "1 n\n"},
      {"m = containers.Map('KeyType','single','ValueType','any'); m(0.1) = 1;"
       "fprintf('%d %d\\n', isKey(m, single(0.1)), isKey(m, 0.1));",
       "1 1\n"},
      {"m = containers.Map('KeyType','double','ValueType','any'); m(2) = 'b'; m(-1) = 'a';"
       "m(10) = 'c'; v = values(m); fprintf('%s', v{:}); fprintf('\\n');",
       "abc\n"},
  };
  expect_cases(cases);
}

// 64-bit integer arithmetic (a + 1 past 2^53) is worked out in long double: see
// scripts/test-valgrind.
TEST(ContainersMap, SixtyFourBitKeysKeepEveryBit) {
  const KorelCase cases[] = {
      {"m = containers.Map('KeyType','uint64','ValueType','double'); a = uint64(9007199254740992);"
       "m(a) = 1; m(a + 1) = 2; k = keys(m); fprintf('%d %d\\n', m.Count, k{2} - k{1});",
       "2 1\n"},
  };
  expect_cases(cases);
}

TEST(ContainersMap, HandleSemantics) {
  const KorelCase cases[] = {
      {"m = containers.Map(); m2 = m; m2('a') = 1; fprintf('%d %g\\n', m.Count, m('a'));",
       "1 1\n"},
      {"m = containers.Map(); map_put(m, 'k', 7); fprintf('%d %g\\n', m.Count, m('k'));",
       "1 7\n"},
      {"m = containers.Map({'a','b'},{1,2}); r = m.remove('a'); r('c') = 3;"
       "fprintf('%d %d\\n', m.Count, isKey(m,'c'));",
       "2 1\n"},
      {"m = containers.Map(); c = {m}; s.map = m; c{1}('x') = 1; s.map('y') = 2;"
       "fprintf('%d\\n', m.Count);",
       "2\n"},
  };
  expect_cases(cases, KRT_TEST_COMPONENT);
}

TEST(ContainersMap, Errors) {
  const KorelCase cases[] = {
      {"m = containers.Map(); x = m('nope');",
       "error Korel:Map:unknownKey: The specified key is not present in this container.\n"},
      {"m = containers.Map('KeyType','char','ValueType','double'); m('a') = 'text';",
       "error Korel:Map:badValueType: Specified value type does not match the type expected "
       "for this container.\n"},
      {"m = containers.Map({'a'}, {1}); m('b') = {2};",
       "error Korel:Map:badValueType: Specified value type does not match the type expected "
       "for this container.\n"},
      {"m = containers.Map('KeyType','double','ValueType','any'); m('a') = 1;",
       "error Korel:Map:badKeyType: Specified key type does not match the type expected for "
       "this container.\n"},
      {"m = containers.Map(); m(['ab';'cd']) = 1;",
       "error Korel:Map:badKeyType: Specified key type does not match the type expected for "
       "this container.\n"},
      {"m = containers.Map('KeyType','double','ValueType','any'); m(NaN) = 1;",
       "error Korel:Map:badKey: A numeric key must be a real scalar other than NaN.\n"},
      {"m = containers.Map('KeyType','double','ValueType','any'); m([1 2]) = 1;",
       "error Korel:Map:badKey: A numeric key must be a real scalar other than NaN.\n"},
      {"m = containers.Map('KeyType', 'int8');",
       "error Korel:Map:unsupportedKeyType: KeyType must be 'char', 'double', 'single', "
       "'int32', 'uint32', 'int64' or 'uint64'.\n"},
      {"m = containers.Map('ValueType', 'cell');",
       "error Korel:Map:unsupportedValueType: ValueType must be 'any', 'char', 'double', "
       "'single', 'logical' or an integer class.\n"},
      {"m = containers.Map({'a'}, {1}, 'Colour', 'red');",
       "error Korel:Map:badOption: containers.Map takes the options 'KeyType', 'ValueType' "
       "and 'UniformValues'.\n"},
      {"m = containers.Map('KeyType');",
       "error Korel:Map:badOption: Options of containers.Map come in name-value pairs.\n"},
      {"m = containers.Map({'a','b'}, {1});",
       "error Korel:Map:countMismatch: The number of keys and values must be the same.\n"},
      {"m = containers.Map({'a','b'}, {1, 2}, 'UniformValues', 'no');",
       "error Korel:Map:badOption: UniformValues must be true or false.\n"},
      {"m = containers.Map({'a','b'}, {1, 'x'}, 'UniformValues', true);",
       "error Korel:Map:notUniform: With UniformValues true the values must be all text or "
       "all scalars of one class.\n"},
      {"m = containers.Map({'a', 1}, {1, 2});",
       "error Korel:Map:badKeyType: Keys must be all text or all numeric.\n"},
      {"m = containers.Map({2, 'a'}, {1, 2});",
       "error Korel:Map:badKeyType: Keys must be all text or all numeric.\n"},
      {"m = containers.Map({'a'});",
       "error Korel:Map:noValues: containers.Map(keys, values) needs a value for each key.\n"},
      {"m = containers.Map(); m('a') = 1; m('a', 'b')",
       "error Korel:Map:badIndex: A containers.Map is indexed by exactly one key.\n"},
      {"m = containers.Map(); m.Size",
       "error Korel:Map:noMember: Unrecognized method, property, or field 'Size' for class "
       "'containers.Map'.\n"},
      {"k = keys(5)",
       "error Korel:keys:badType: The first input of keys must be a containers.Map.\n"},
      {"m = containers.Map(); v = values(m, 'a');",
       "error Korel:values:badType: The keys to look up must be given in a cell array.\n"},
  };
  expect_cases(cases);
}

TEST(ContainersMap, Display) {
  const KorelCase cases[] = {
      {"m = containers.Map({'a','b'}, {1, 'x'})",
       "m =\n  containers.Map with properties:\n\n        Count: 2\n      KeyType: char\n"
       "    ValueType: any\n"},
      {"m = containers.Map('KeyType','uint32','ValueType','logical'); disp(m)",
       "  containers.Map with properties:\n\n        Count: 0\n      KeyType: uint32\n"
       "    ValueType: logical\n"},
      {"c = {containers.Map()}", "c =\n  1x1 cell array\n    {1x1 containers.Map}\n"},
  };
  expect_cases(cases);
}

}  // namespace

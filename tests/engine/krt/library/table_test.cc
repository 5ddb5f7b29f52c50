#include <cmath>
#include <set>
#include <string>

#include "library_test_support.h"

namespace {

using namespace libtest;

TEST(Table, NamesAreUniqueAndEveryEntryHasAFunction) {
  std::set<std::string> names;
  int count = 0;
  for_each_function([&](const krt::lang::IntrinsicEntry& e) {
    EXPECT_NE(e.function, nullptr) << e.name;
    EXPECT_TRUE(e.summary && *e.summary) << e.name << " has no line for the reference";
    EXPECT_TRUE(names.insert(e.name).second) << "twice: " << e.name;
    ++count;
  });
  EXPECT_EQ(count, static_cast<int>(names.size()));
  std::set<std::string> expected = {
      "sprintf", "num2str", "int2str", "str2double", "isempty", "numel", "length", "size",
      "ndims", "isscalar", "isvector", "class", "isa", "ischar", "isnumeric", "islogical",
      "iscell", "isstruct", "isobject", "isreal", "isfield", "isequal", "strcmp", "strcmpi",
      "strcat", "upper", "lower", "strtrim", "zeros", "ones", "true", "false", "Inf", "inf",
      "NaN", "nan", "cell", "struct", "fieldnames", "double", "single", "int8", "int16",
      "int32", "int64", "uint8", "uint16", "uint32", "uint64", "logical", "char", "abs",
      "floor", "ceil", "round", "fix", "mod", "rem", "sqrt", "sum", "prod", "max", "min",
      "any", "all", "find"};
  EXPECT_EQ(names, expected);
}

// Every function checks its counts before anything else, with its own name in the
// identifier, and leaves no output behind when it raises.
TEST(Table, EveryFunctionRejectsTooManyInputsAndOutputs) {
  std::vector<Owned> many;
  std::vector<kxArray*> args;
  for (int k = 0; k < 12; ++k) {
    many.push_back(num(1));
    args.push_back(many.back().get());
  }
  std::set<std::string> unlimited_inputs = {"sprintf", "size", "isequal", "strcat", "zeros",
                                            "ones", "true", "false", "Inf", "inf", "NaN",
                                            "nan", "cell", "struct", "char"};
  std::set<std::string> unlimited_outputs = {"size"};
  for_each_function([&](const krt::lang::IntrinsicEntry& entry) {
    const krt::lang::IntrinsicEntry* e = &entry;
    std::string name = e->name;
    if (!unlimited_inputs.count(name)) {
      EXPECT_EQ(error_with(e->name, 1, args), "Korel:" + name + ":tooManyInputs");
    }
    if (!unlimited_outputs.count(name)) {
      EXPECT_EQ(error_with(e->name, 4, {args[0]}), "Korel:" + name + ":tooManyOutputs");
    }
  });
}

// Values of every kind, for calling every function with what it does not expect.
std::vector<Owned> assorted_values() {
  std::vector<Owned> v;
  v.push_back(num(2));
  v.push_back(num(NAN));
  v.push_back(num(-1e300));
  v.push_back(empty());
  v.push_back(mat({{1, 0, 3}, {4, 5, -6}}));
  v.push_back(typed(kxDOUBLE_CLASS, {2, 1, 2}, {1, 2, 0, 4}));
  v.push_back(typed(kxINT8_CLASS, {1, 3}, {-128, 0, 127}));
  v.push_back(typed(kxUINT64_CLASS, {1, 1}, {1e19}));
  v.push_back(typed(kxSINGLE_CLASS, {1, 2}, {0.5, -2}));
  v.push_back(typed(kxLOGICAL_CLASS, {2, 2}, {1, 0, 0, 1}));
  v.push_back(text("ab c"));
  v.push_back(text("%d|%s|%*.*f|%c\\n"));
  v.push_back(char_rows({"ab", "cd"}));
  v.push_back(typed(kxCHAR_CLASS, {0, 0}, {}));
  v.push_back(complex_row({1, -4}, {2, 0}));
  v.push_back(cell_row(text("x"), num(1)));
  v.push_back(cell_of({0, 0}, {}));
  v.push_back(cell_of({2, 1}, {}));
  const char* names[] = {"a", "b"};
  Owned s(kxCreateStructMatrix(1, 2, 2, names));
  kxSetField(s.get(), 0, "a", kxCreateString("t"));
  v.push_back(std::move(s));
  v.push_back(Owned(kxCreateStructMatrix(1, 1, 0, nullptr)));
  v.push_back(Owned(kxCreateObjectArray("Point", 2, Dims{1, 1}.data(), 1, names)));
  v.push_back(Owned(kxCreateFunctionHandle("sin")));
  v.push_back(Owned(kxCreateOpaque("Thing", "xyz", 3)));
  kxIndex rows[] = {0, 2}, columns[] = {0, 1};
  double stored[] = {2, -3}, imag[] = {1, 0};
  v.push_back(Owned(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 2, 2, rows, columns, stored,
                                              nullptr, 2)));
  v.push_back(Owned(kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 2, 2, rows, columns, stored,
                                              imag, 2)));
  v.push_back(Owned(kxCreateSparseLogicalMatrix(2, 2, 1)));
  return v;
}

// Calls `name` and checks that it either gives every output it was asked for or raises
// a Korel error with an identifier of its own and a message, leaving no output.
void expect_result_or_error(const char* name, int nlhs, std::vector<kxArray*> in) {
  std::vector<kxArray*> out(static_cast<std::size_t>(nlhs > 0 ? nlhs : 1), nullptr);
  if (!engine().CallKorelFunction(name, nlhs, out.data(), static_cast<int>(in.size()), in.data())) {
    const krt::ErrorState& e = engine().GetErrorState();
    EXPECT_EQ(e.identifier.rfind("Korel:", 0), 0u) << name << ": " << e.identifier;
    EXPECT_FALSE(e.message.empty()) << name;
    for (kxArray* a : out) EXPECT_EQ(a, nullptr) << name;
    return;
  }
  for (int k = 0; k < nlhs; ++k)
    EXPECT_NE(out[static_cast<std::size_t>(k)], nullptr) << name << " with " << in.size() << " inputs";
  for (kxArray* a : out) kxDestroyArray(a);
}

TEST(Table, EveryFunctionCopesWithEveryKindOfValue) {
  std::vector<Owned> values = assorted_values();
  std::vector<kxArray*> pool;
  for (auto& v : values) pool.push_back(v.get());
  unsigned long long seed = 12345;
  auto pick = [&] {
    seed = seed * 6364136223846793005ULL + 1442695040888963407ULL;
    return pool[(seed >> 33) % pool.size()];
  };
  for_each_function([&](const krt::lang::IntrinsicEntry& entry) {
    const krt::lang::IntrinsicEntry* e = &entry;
    for (int nlhs = 0; nlhs <= 3; ++nlhs) expect_result_or_error(e->name, nlhs, {});
    for (kxArray* a : pool) {
      for (int nlhs = 0; nlhs <= 3; ++nlhs) expect_result_or_error(e->name, nlhs, {a});
      for (kxArray* b : pool) expect_result_or_error(e->name, 1, {a, b});
    }
    for (int k = 0; k < 300; ++k) {
      expect_result_or_error(e->name, 1 + k % 2, {pick(), pick(), pick()});
      expect_result_or_error(e->name, 1, {pick(), pick(), pick(), pick()});
    }
  });
}

TEST(Table, ErrorsAreRecordedAsTheLastError) {
  EXPECT_EQ(error_of("sum", cell_row()), "Korel:sum:badType");
  const char* id = nullptr;
  const char* message = nullptr;
  ASSERT_EQ(kxGetLastErrIdAndMsg(&id, &message), 1);
  EXPECT_STREQ(id, "Korel:sum:badType");
  EXPECT_NE(std::string(message).find("cell"), std::string::npos) << message;
}

}  // namespace

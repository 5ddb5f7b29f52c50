// Writes the seed corpus of kx_deserialize: serialized forms of small arrays of every
// class, made by this build's own kxSerialize, one file each, into the given directory.
#include <cstdio>
#include <string>
#include <vector>

#include "korel/kx.h"

namespace {

std::vector<std::pair<std::string, kxArray*>> seeds() {
  std::vector<std::pair<std::string, kxArray*>> out;
  auto add = [&](const char* name, kxArray* a) { out.emplace_back(name, a); };

  add("double_scalar", kxCreateDoubleScalar(-2.5));
  const kxSize cube[] = {2, 2, 3};
  kxArray* ints = kxCreateNumericArray(3, cube, kxINT16_CLASS, kxCOMPLEX);
  auto* re = static_cast<int16_t*>(kxGetData(ints));
  for (int i = 0; i < 12; ++i) re[i] = static_cast<int16_t>(i * 1000 - 6000);
  add("int16_complex_3d", ints);
  add("single_row", kxCreateNumericMatrix(1, 3, kxSINGLE_CLASS, kxREAL));
  add("uint64_column", kxCreateNumericMatrix(2, 1, kxUINT64_CLASS, kxREAL));
  add("text", kxCreateString("k\xC3\xA9y \xE2\x82\xAC"));
  kxArray* flags = kxCreateLogicalMatrix(2, 3);
  kxGetLogicals(flags)[1] = kxGetLogicals(flags)[4] = 1;
  add("logical", flags);

  const kxIndex rows[] = {0, 2, 1}, cols[] = {0, 0, 2};
  const double values[] = {1, -4, 0.5}, imag[] = {0, 2, -1};
  const kxLogical truth[] = {1, 1, 1};
  add("sparse", kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 3, 3, rows, cols, values, nullptr, 0));
  add("sparse_complex",
      kxCreateSparseFromTriples(kxDOUBLE_CLASS, 3, 3, 3, rows, cols, values, imag, 0));
  add("sparse_logical",
      kxCreateSparseFromTriples(kxLOGICAL_CLASS, 3, 4, 3, rows, cols, truth, nullptr, 0));
  add("sparse_empty", kxCreateSparse(4, 2, 3, kxREAL));

  const char* fields[] = {"name", "data"};
  kxArray* s = kxCreateStructMatrix(1, 2, 2, fields);
  kxSetField(s, 0, "name", kxCreateString("first"));
  kxSetField(s, 1, "data", kxCreateDoubleScalar(7));
  kxArray* cell = kxCreateCellMatrix(2, 2);
  kxSetCell(cell, 0, s);
  kxSetCell(cell, 1, kxCreateFunctionHandle("plot"));
  kxSetCell(cell, 3, kxCreateOpaque("blob", "\x01\x00\x02", 3));
  add("nested", cell);
  const kxSize one[] = {1, 1};
  kxArray* obj = kxCreateObjectArray("geo.Point", 2, one, 2, fields);
  kxSetField(obj, 0, "data", kxCreateCellMatrix(0, 3));
  add("object", obj);
  add("handle", kxCreateFunctionHandle("sin"));
  add("opaque", kxCreateOpaque("t", "bytes", 5));
  for (int id = 0; id <= kxOBJECT_CLASS; ++id)
    out.emplace_back("empty_" + std::to_string(id), kxCreateEmptyArray(static_cast<kxClassID>(id)));
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s corpus-directory\n", argv[0]);
    return 2;
  }
  int status = 0;
  for (auto& [name, array] : seeds()) {
    kxArray* form = kxSerialize(array);
    std::string path = std::string(argv[1]) + "/seed_" + name;
    std::FILE* f = form ? std::fopen(path.c_str(), "wb") : nullptr;
    size_t size = kxGetNumberOfElements(form);
    if (!f || std::fwrite(kxGetData(form), 1, size, f) != size) {
      std::fprintf(stderr, "cannot write the seed %s\n", path.c_str());
      status = 1;
    }
    if (f) std::fclose(f);
    kxDestroyArray(form);
    kxDestroyArray(array);
  }
  return status;
}

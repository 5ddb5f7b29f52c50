// Arrays to bytes and back.
//
// The serialized form, version 1. Every integer is little-endian; element values are
// stored in their own width and byte order is little-endian too (floats as IEEE bits).
//
//   form     := magic "\x89KXS" (4 bytes), version u32 = 1, record; nothing follows.
//   record   := class u8, flags u8, ndim u64, ndim dimensions u64, payload.
//               flags: bit 0 complex, bit 1 sparse, the other bits zero. ndim is at
//               least 2 and the last of more than two dimensions is not 1, as in memory.
//   string   := length u64, that many bytes (no terminator, no zero byte).
//
//   payload by class:
//     logical, char, numeric     the real block (every element, column-major), then the
//                                imaginary block when complex. Logical bytes are 0 or 1.
//     sparse double or logical   nnz u64, jc (n + 1 values u64), ir (nnz values u64),
//                                nnz values, then nnz imaginary values when complex.
//                                nzmax is not kept: a read array has room for max(nnz, 1).
//     cell                       one record per element. An empty place is written as a
//                                0-by-0 real double, the value it stands for, and such a
//                                record inside a container is read back as an empty place.
//     struct                     nfields u64, the field names as strings, then one record
//                                per element and field, element-major.
//     object                     the class name as a string, then as a struct.
//     function                   the function's name as a string (handles by name only).
//     opaque                     the type name as a string, size u64, size bytes.
//     unknown (0) and 5          nothing.
//
// The form is canonical: the same array always gives the same bytes, and an array read
// from a valid form serializes to exactly that form again.
//
// Reading trusts nothing: every count is checked against the bytes that remain before
// anything is allocated, so memory stays proportional to the input, and nesting is
// limited so hostile input cannot exhaust the stack.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include "kx/array.h"
#include "kx/objects.h"
#include "kx/error.h"

namespace kx {
namespace {

constexpr unsigned char kMagic[4] = {0x89, 'K', 'X', 'S'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kPreambleSize = sizeof(kMagic) + 4;
// Class, flags, ndim and two dimensions: the least any record takes.
constexpr std::size_t kMinRecordSize = 1 + 1 + 8 + 2 * 8;
// A field name takes its length and at least one byte.
constexpr std::size_t kMinNameSize = 8 + 1;
// Records nested deeper than this are refused both ways.
constexpr int kMaxDepth = 64;

constexpr unsigned kComplexFlag = 1;
constexpr unsigned kSparseFlag = 2;

// Whole blocks are copied as they are only where memory already has the stored order.
constexpr bool kLittleHost = std::endian::native == std::endian::little;
constexpr bool kIndicesAsStored = kLittleHost && sizeof(kxIndex) == 8;

const char* const kTruncated = "Korel:kxDeserialize:Truncated";
const char* const kBadMagic = "Korel:kxDeserialize:BadMagic";
const char* const kBadVersion = "Korel:kxDeserialize:UnsupportedVersion";
const char* const kBadClass = "Korel:kxDeserialize:BadClass";
const char* const kMalformed = "Korel:kxDeserialize:Malformed";
const char* const kTooDeep = "Korel:kxDeserialize:TooDeep";


// ---- Writing -----------------------------------------------------------------------

std::size_t header_size(std::size_t ndim) { return 2 + 8 + 8 * ndim; }
std::size_t string_size(const std::string& s) { return 8 + s.size(); }

void add(std::size_t& total, std::size_t more) {
  if (total > std::numeric_limits<std::size_t>::max() / 2 - more)
    raise("Korel:kxSerialize:TooLarge", "The serialized form would be too large to hold.");
  total += more;
}

[[noreturn]] void inconsistent(const char* what) {
  raise("Korel:kxSerialize:Inconsistent", std::string("The array cannot be serialized: ") + what);
}

// The exact size of an array's record, checking on the way that it can be written.
std::size_t measure(const kxArray* a, int depth) {
  if (depth > kMaxDepth)
    raise("Korel:kxSerialize:TooDeep",
          format_text("The array nests more than %d levels deep and cannot be serialized.",
                   kMaxDepth));
  if (!a) return header_size(2);
  const Storage& s = *a->data;
  std::size_t total = header_size(a->dims.size());
  if (a->sparse) {
    if (!sparse_structure_valid(*a)) inconsistent("its sparse index blocks are inconsistent.");
    kxSize n = a->dims[1];
    kxSize nnz = s.jc.as<kxIndex>()[n];
    std::size_t per_value = 8 + element_size(a->cls) * (s.complex ? 2 : 1);
    add(total, 8);
    add(total, checked_bytes(n + 1, 8));
    add(total, checked_bytes(nnz, per_value));
    return total;
  }
  kxSize count = count_elements(a->dims);
  switch (a->cls) {
    case kxCELL_CLASS:
      if (s.elements.size() != count) inconsistent("its cells do not match its dimensions.");
      for (const kxArray* e : s.elements) add(total, measure(e, depth + 1));
      return total;
    case kxOBJECT_CLASS:
      add(total, string_size(s.name));
      [[fallthrough]];
    case kxSTRUCT_CLASS:
      if (s.elements.size() != checked_bytes(count, s.fields.size()))
        inconsistent("its field values do not match its dimensions.");
      add(total, 8);
      for (const std::string& f : s.fields) add(total, string_size(f));
      for (const kxArray* e : s.elements) add(total, measure(e, depth + 1));
      return total;
    case kxFUNCTION_CLASS:
      if (s.native)
        raise("Korel:kxSerialize:NativeFunction",
              "A handle to a native function cannot be serialized: '" + s.name +
                  "' is a function pointer, not a name.");
      add(total, string_size(s.name));
      return total;
    case kxOPAQUE_CLASS:
      add(total, string_size(s.name));
      add(total, 8 + s.real.size());
      return total;
    default:
      break;
  }
  if (is_value_class(a->cls)) {
    std::size_t bytes = checked_bytes(count, element_size(a->cls));
    if (s.real.size() != bytes || (s.complex && s.imag.size() != bytes))
      inconsistent("its data blocks do not match its dimensions.");
    add(total, bytes);
    if (s.complex) add(total, bytes);
  }
  return total;
}

// Writes into a buffer that measure() sized exactly.
class Writer {
 public:
  explicit Writer(unsigned char* out) : p_(out) {}
  unsigned char* position() const { return p_; }

  void u8(unsigned v) { *p_++ = static_cast<unsigned char>(v); }
  void u32(std::uint32_t v) {
    for (int k = 0; k < 4; ++k) *p_++ = static_cast<unsigned char>(v >> (8 * k));
  }
  void u64(std::uint64_t v) {
    if constexpr (kLittleHost) {
      std::memcpy(p_, &v, 8);
      p_ += 8;
    } else {
      for (int k = 0; k < 8; ++k) *p_++ = static_cast<unsigned char>(v >> (8 * k));
    }
  }
  void bytes(const void* from, std::size_t n) {
    if (n) std::memcpy(p_, from, n);
    p_ += n;
  }
  void string(const std::string& s) {
    u64(s.size());
    bytes(s.data(), s.size());
  }
  // `count` elements of `width` bytes each.
  void block(const void* from, std::size_t count, std::size_t width) {
    if (kLittleHost || width == 1) return bytes(from, count * width);
    const auto* src = static_cast<const unsigned char*>(from);
    for (std::size_t i = 0; i < count; ++i, src += width, p_ += width)
      for (std::size_t k = 0; k < width; ++k) p_[k] = src[width - 1 - k];
  }
  // Logical values are written as 0 or 1 whatever a caller left in the bytes.
  void logicals(const kxLogical* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) p_[i] = from[i] != 0;
    p_ += count;
  }
  void indices(const kxIndex* from, std::size_t count) {
    if constexpr (kIndicesAsStored) {
      bytes(from, count * 8);
    } else {
      for (std::size_t i = 0; i < count; ++i) u64(from[i]);
    }
  }
  void values(int cls, const Block& from, std::size_t count) {
    if (cls == kxLOGICAL_CLASS)
      logicals(from.as<kxLogical>(), count);
    else
      block(from.data(), count, element_size(cls));
  }

 private:
  unsigned char* p_;
};

void write_header(Writer& out, int cls, unsigned flags, const Dims& dims) {
  out.u8(static_cast<unsigned>(cls));
  out.u8(flags);
  out.u64(dims.size());
  for (kxSize d : dims) out.u64(d);
}

void write(Writer& out, const kxArray* a) {
  if (!a) return write_header(out, kxDOUBLE_CLASS, 0, {0, 0});
  const Storage& s = *a->data;
  unsigned flags = (s.complex ? kComplexFlag : 0) | (a->sparse ? kSparseFlag : 0);
  write_header(out, a->cls, flags, a->dims);
  if (a->sparse) {
    kxSize n = a->dims[1];
    const kxIndex* jc = s.jc.as<kxIndex>();
    kxSize nnz = jc[n];
    out.u64(nnz);
    out.indices(jc, n + 1);
    out.indices(s.ir.as<kxIndex>(), nnz);
    out.values(a->cls, s.real, nnz);
    if (s.complex) out.values(a->cls, s.imag, nnz);
    return;
  }
  switch (a->cls) {
    case kxOBJECT_CLASS:
      out.string(s.name);
      [[fallthrough]];
    case kxSTRUCT_CLASS:
      out.u64(s.fields.size());
      for (const std::string& f : s.fields) out.string(f);
      [[fallthrough]];
    case kxCELL_CLASS:
      for (const kxArray* e : s.elements) write(out, e);
      return;
    case kxFUNCTION_CLASS:
      out.string(s.name);
      return;
    case kxOPAQUE_CLASS:
      out.string(s.name);
      out.u64(s.real.size());
      out.bytes(s.real.data(), s.real.size());
      return;
    default:
      break;
  }
  if (is_value_class(a->cls)) {
    kxSize count = kxGetNumberOfElements(a);
    out.values(a->cls, s.real, count);
    if (s.complex) out.values(a->cls, s.imag, count);
  }
}

ArrayPtr serialize(const kxArray& a) {
  std::size_t total = kPreambleSize;
  add(total, measure(&a, 1));
  ArrayPtr out = make_dense(kxUINT8_CLASS, {1, total}, kxREAL, false);
  unsigned char* begin = out->data->real.as<unsigned char>();
  Writer w(begin);
  w.bytes(kMagic, sizeof kMagic);
  w.u32(kVersion);
  write(w, &a);
  if (w.position() != begin + total)
    raise("Korel:kx:Internal", "The serialized form came out a different size than measured.");
  return out;
}

// ---- Reading -----------------------------------------------------------------------

class Reader {
 public:
  Reader(const unsigned char* bytes, std::size_t size)
      : begin_(bytes), p_(bytes), end_(bytes + size) {}
  std::size_t remaining() const { return static_cast<std::size_t>(end_ - p_); }
  std::size_t offset() const { return static_cast<std::size_t>(p_ - begin_); }

  // The next `n` bytes, which hold `what`.
  const unsigned char* take(std::size_t n, const char* what) {
    if (n > remaining())
      raise(kTruncated, format_text("The serialized array ends inside %s: %zu bytes are needed at "
                                 "offset %zu but only %zu remain.",
                                 what, n, offset(), remaining()));
    const unsigned char* at = p_;
    p_ += n;
    return at;
  }
  unsigned u8(const char* what) { return *take(1, what); }
  std::uint32_t u32(const char* what) {
    const unsigned char* b = take(4, what);
    std::uint32_t v = 0;
    for (int k = 3; k >= 0; --k) v = (v << 8) | b[k];
    return v;
  }
  std::uint64_t u64(const char* what) {
    const unsigned char* b = take(8, what);
    return load64(b);
  }
  // A u64 count or size, which must also fit this host's sizes.
  std::size_t size(const char* what) {
    std::size_t at = offset();
    std::uint64_t v = u64(what);
    if (v > std::numeric_limits<std::size_t>::max())
      raise(kMalformed, format_text("The %s at offset %zu is too large for this host.", what, at));
    return static_cast<std::size_t>(v);
  }
  std::string string(const char* what) {
    std::size_t at = offset();
    std::size_t n = size(what);
    const unsigned char* b = take(n, what);
    if (std::memchr(b, 0, n))
      raise(kMalformed, format_text("The %s at offset %zu holds a zero byte.", what, at));
    return std::string(reinterpret_cast<const char*>(b), n);
  }
  // Element values into `to`: count elements of `width` bytes.
  void block(void* to, std::size_t count, std::size_t width, const char* what) {
    const unsigned char* from = take(count * width, what);
    if (kLittleHost || width == 1) {
      if (count) std::memcpy(to, from, count * width);
      return;
    }
    auto* dst = static_cast<unsigned char*>(to);
    for (std::size_t i = 0; i < count; ++i, from += width, dst += width)
      for (std::size_t k = 0; k < width; ++k) dst[k] = from[width - 1 - k];
  }
  void indices(kxIndex* to, std::size_t count, const char* what) {
    const unsigned char* from = take(count * 8, what);
    if constexpr (kIndicesAsStored) {
      if (count) std::memcpy(to, from, count * 8);
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t v = load64(from + 8 * i);
        if (v > std::numeric_limits<kxIndex>::max())
          raise(kMalformed, format_text("A sparse index is too large for this host."));
        to[i] = static_cast<kxIndex>(v);
      }
    }
  }

 private:
  static std::uint64_t load64(const unsigned char* b) {
    std::uint64_t v;
    if constexpr (kLittleHost) {
      std::memcpy(&v, b, 8);
    } else {
      v = 0;
      for (int k = 7; k >= 0; --k) v = (v << 8) | b[k];
    }
    return v;
  }

  const unsigned char* begin_;
  const unsigned char* p_;
  const unsigned char* end_;
};

kxSize element_count(const Dims& dims, std::size_t at) {
  try {
    return count_elements(dims);
  } catch (const KorelError&) {
    raise(kMalformed, format_text("The dimensions of the array at offset %zu multiply to more "
                               "elements than can be addressed.", at));
  }
}

std::size_t block_bytes(kxSize count, std::size_t width, std::size_t at) {
  try {
    return checked_bytes(count, width);
  } catch (const KorelError&) {
    raise(kMalformed, format_text("The array at offset %zu is too large to be held in memory.", at));
  }
}

void check_logicals(const void* values, std::size_t count, std::size_t at) {
  const auto* v = static_cast<const kxLogical*>(values);
  for (std::size_t i = 0; i < count; ++i)
    if (v[i] > 1)
      raise(kMalformed, format_text("The logical array at offset %zu holds the value %u; logical "
                                 "values are 0 or 1.", at, static_cast<unsigned>(v[i])));
}

Dims read_dims(Reader& in, std::size_t at) {
  std::size_t ndim = in.size("the number of dimensions");
  if (ndim < 2)
    raise(kMalformed, format_text("The array at offset %zu has %zu dimensions; every array has at "
                               "least 2.", at, ndim));
  if (ndim > in.remaining() / 8)
    raise(kTruncated, format_text("The serialized array ends inside the %zu dimensions of the array "
                               "at offset %zu.", ndim, at));
  Dims dims(ndim);
  for (kxSize& d : dims) d = in.size("a dimension");
  if (ndim > 2 && dims.back() == 1)
    raise(kMalformed, format_text("The array at offset %zu ends its dimensions with a 1 past the "
                               "second.", at));
  return dims;
}

ArrayPtr read_record(Reader& in, int depth);

ArrayPtr read_sparse(Reader& in, kxClassID cls, bool complex, Dims dims, std::size_t at) {
  if (dims.size() != 2)
    raise(kMalformed, format_text("The sparse array at offset %zu is not two-dimensional.", at));
  kxSize m = dims[0], n = dims[1];
  std::size_t nnz = in.size("the stored count of a sparse array");
  // jc, ir and the values must all be there before anything is allocated.
  if (n >= in.remaining() / 8)
    raise(kTruncated, format_text("The serialized array ends inside the column starts of the sparse "
                               "array at offset %zu.", at));
  std::size_t width = element_size(cls);
  std::size_t per_value = 8 + width * (complex ? 2 : 1);
  if (nnz > (in.remaining() - (n + 1) * 8) / per_value)
    raise(kTruncated, format_text("The serialized array ends before the %zu values of the sparse "
                               "array at offset %zu.", nnz, at));
  std::size_t nzmax = std::max<std::size_t>(nnz, 1);
  ArrayPtr a = make_bare(cls, std::move(dims));
  a->sparse = true;
  Storage& s = *a->data;
  s.capacity = nzmax;
  s.complex = complex;

  s.jc = Block::allocate((n + 1) * sizeof(kxIndex), false);
  kxIndex* jc = s.jc.as<kxIndex>();
  in.indices(jc, n + 1, "the column starts of a sparse array");
  if (jc[0] != 0 || jc[n] != nnz)
    raise(kMalformed, format_text("The column starts of the sparse array at offset %zu do not run "
                               "from 0 to its %zu stored values.", at, nnz));
  for (kxSize c = 0; c < n; ++c)
    if (jc[c + 1] < jc[c])
      raise(kMalformed, format_text("The column starts of the sparse array at offset %zu decrease "
                                 "at column %zu.", at, c + 1));

  // A sparse array without values still has room for one; it is zeroed.
  bool zeroed = nnz == 0;
  s.ir = Block::allocate(nzmax * sizeof(kxIndex), zeroed);
  kxIndex* ir = s.ir.as<kxIndex>();
  in.indices(ir, nnz, "the row indices of a sparse array");
  for (kxSize c = 0; c < n; ++c)
    for (kxIndex k = jc[c]; k < jc[c + 1]; ++k)
      if (ir[k] >= m || (k > jc[c] && ir[k] <= ir[k - 1]))
        raise(kMalformed, format_text("The row indices of column %zu of the sparse array at offset "
                                   "%zu are out of range or not increasing.", c + 1, at));

  s.real = Block::allocate(nzmax * width, zeroed);
  in.block(s.real.data(), nnz, width, "the values of a sparse array");
  if (cls == kxLOGICAL_CLASS) check_logicals(s.real.data(), nnz, at);
  if (complex) {
    s.imag = Block::allocate(nzmax * width, zeroed);
    in.block(s.imag.data(), nnz, width, "the imaginary values of a sparse array");
  }
  return a;
}

ArrayPtr read_values(Reader& in, kxClassID cls, bool complex, Dims dims, std::size_t at) {
  kxSize count = element_count(dims, at);
  std::size_t width = element_size(cls);
  std::size_t bytes = block_bytes(count, width, at);
  if (bytes > in.remaining() || (complex && bytes > in.remaining() - bytes))
    raise(kTruncated, format_text("The serialized array ends before the %zu elements of the %s array "
                               "at offset %zu.", count, kxGetClassNameFromID(cls), at));
  ArrayPtr a = make_dense(cls, std::move(dims), complex ? kxCOMPLEX : kxREAL, false);
  Storage& s = *a->data;
  in.block(s.real.data(), count, width, "the values of an array");
  if (cls == kxLOGICAL_CLASS) check_logicals(s.real.data(), count, at);
  if (complex) in.block(s.imag.data(), count, width, "the imaginary values of an array");
  return a;
}

std::vector<std::string> read_fields(Reader& in, std::size_t at) {
  std::size_t nfields = in.size("the field count");
  if (nfields > in.remaining() / kMinNameSize ||
      nfields > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    raise(kMalformed, format_text("The struct at offset %zu claims %zu fields, more than the %zu "
                               "bytes that remain can name.", at, nfields, in.remaining()));
  std::vector<std::string> fields;
  fields.reserve(nfields);
  std::set<std::string_view> seen;
  for (std::size_t k = 0; k < nfields; ++k) {
    fields.push_back(in.string("a field name"));
    if (fields.back().empty())
      raise(kMalformed, format_text("The struct at offset %zu has an empty field name.", at));
  }
  for (const std::string& f : fields)
    if (!seen.insert(f).second)
      raise(kMalformed, format_text("The struct at offset %zu names the field '%.64s' twice.", at,
                                 f.c_str()));
  return fields;
}

// Reads `slots` element records into a container.
void read_elements(Reader& in, Storage& s, std::size_t slots, int depth, std::size_t at) {
  if (slots > in.remaining() / kMinRecordSize)
    raise(kMalformed, format_text("The container at offset %zu claims %zu elements, more than the "
                               "%zu bytes that remain can hold.", at, slots, in.remaining()));
  s.elements.assign(slots, nullptr);
  for (std::size_t k = 0; k < slots; ++k) {
    ArrayPtr e = read_record(in, depth + 1);
    if (stands_for_empty_place(*e)) continue;
    e->contained = true;
    s.elements[k] = e.release();
  }
}

ArrayPtr read_record(Reader& in, int depth) {
  std::size_t at = in.offset();
  if (depth > kMaxDepth)
    raise(kTooDeep, format_text("The array at offset %zu nests more than %d levels deep.", at,
                             kMaxDepth));
  unsigned cls_id = in.u8("an array header");
  unsigned flags = in.u8("an array header");
  if (cls_id > kxOBJECT_CLASS)
    raise(kBadClass, format_text("The array at offset %zu has the class id %u, which is no Korel "
                              "class.", at, cls_id));
  auto cls = static_cast<kxClassID>(cls_id);
  bool complex = flags & kComplexFlag;
  bool sparse = flags & kSparseFlag;
  if (flags & ~(kComplexFlag | kSparseFlag))
    raise(kMalformed, format_text("The array at offset %zu has unknown flags 0x%02x.", at, flags));
  if (complex && !is_numeric_class(cls))
    raise(kMalformed, format_text("The %s array at offset %zu is marked complex; only numeric arrays "
                               "can be.", kxGetClassNameFromID(cls), at));
  if (sparse && cls != kxDOUBLE_CLASS && cls != kxLOGICAL_CLASS)
    raise(kMalformed, format_text("The %s array at offset %zu is marked sparse; only double and "
                               "logical arrays can be.", kxGetClassNameFromID(cls), at));
  Dims dims = read_dims(in, at);
  if (sparse) return read_sparse(in, cls, complex, std::move(dims), at);
  if (is_value_class(cls)) return read_values(in, cls, complex, std::move(dims), at);

  kxSize count = element_count(dims, at);
  ArrayPtr a = make_bare(cls, std::move(dims));
  Storage& s = *a->data;
  switch (cls) {
    case kxCELL_CLASS:
      s.capacity = count;
      read_elements(in, s, count, depth, at);
      break;
    case kxOBJECT_CLASS:
      s.name = in.string("an object's class name");
      [[fallthrough]];
    case kxSTRUCT_CLASS: {
      s.capacity = count;
      s.fields = read_fields(in, at);
      std::size_t nfields = s.fields.size();
      if (nfields && count > in.remaining() / kMinRecordSize / nfields)
        raise(kMalformed, format_text("The struct at offset %zu claims %zu elements, more than the "
                                   "%zu bytes that remain can hold.", at, count, in.remaining()));
      read_elements(in, s, count * nfields, depth, at);
      if (cls == kxOBJECT_CLASS) count_objects(s);
      break;
    }
    case kxFUNCTION_CLASS:
      if (count > 1)
        raise(kMalformed, format_text("The function handle array at offset %zu has %zu elements; a "
                                   "handle has one.", at, count));
      s.name = in.string("a function name");
      if (count == 1 && s.name.empty())
        raise(kMalformed, format_text("The function handle at offset %zu has no name.", at));
      break;
    case kxOPAQUE_CLASS: {
      if (count > 1)
        raise(kMalformed, format_text("The opaque array at offset %zu has %zu elements; an opaque "
                                   "value has one.", at, count));
      s.name = in.string("an opaque type name");
      std::size_t size = in.size("the size of an opaque value");
      s.real = copy_block(in.take(size, "an opaque value"), size);
      break;
    }
    default:  // classes without data
      if (count != 0)
        raise(kMalformed, format_text("The %s array at offset %zu has elements; arrays of that class "
                                   "are always empty.", kxGetClassNameFromID(cls), at));
      break;
  }
  return a;
}

ArrayPtr deserialize(const void* bytes, std::size_t size) {
  if (!bytes && size > 0)
    raise("Korel:kxDeserialize:BadArgument", "The bytes to deserialize are missing.");
  Reader in(static_cast<const unsigned char*>(bytes), size);
  std::size_t head = std::min(size, sizeof kMagic);
  if (head && std::memcmp(bytes, kMagic, head) != 0)
    raise(kBadMagic, "The bytes are not a serialized Korel array: the format marker is missing.");
  in.take(sizeof kMagic, "the format marker");
  std::uint32_t version = in.u32("the format version");
  if (version != kVersion)
    raise(kBadVersion, format_text("The serialized array has format version %u; this library reads "
                                "version %u.", version, kVersion));
  ArrayPtr a = read_record(in, 1);
  if (in.remaining())
    raise(kMalformed, format_text("%zu bytes follow the serialized array.", in.remaining()));
  return a;
}

}  // namespace
}  // namespace kx

extern "C" {

kxArray* kxSerialize(const kxArray* a) {
  if (!a) {
    kx::record_error("Korel:kxSerialize:BadArgument", "There is no array to serialize.");
    return nullptr;
  }
  return kx::guarded([&] { return kx::publish(kx::serialize(*a)); },
                     static_cast<kxArray*>(nullptr));
}

kxArray* kxDeserialize(const void* bytes, size_t size) {
  return kx::guarded([&] { return kx::publish(kx::deserialize(bytes, size)); },
                     static_cast<kxArray*>(nullptr));
}

}  // extern "C"

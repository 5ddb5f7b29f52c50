// ZIP archives made byte by byte, so tests can build what no honest writer would: names
// that climb out, links and devices, wrong CRCs, understated sizes.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace korel::test {

struct ZipEntry {
  std::string name;
  std::string data;               // a link's target for a symbolic link
  uint32_t mode = 0100644;        // Unix type and permission bits
  bool deflate = false;
  bool corrupt_crc = false;       // store a CRC that does not match the data
  int64_t declared_size = -1;     // the uncompressed size the headers claim; -1: the true one
};

class ZipBuilder {
 public:
  ZipBuilder& add(ZipEntry entry) {
    entries_.push_back(std::move(entry));
    return *this;
  }
  ZipBuilder& file(const std::string& name, const std::string& data) { return add({name, data}); }
  ZipBuilder& directory(const std::string& name) { return add({name, "", 040755}); }

  std::string bytes() const {
    std::string out, central;
    for (const ZipEntry& e : entries_) {
      std::string stored = e.deflate ? deflate_raw(e.data) : e.data;
      uint32_t crc = static_cast<uint32_t>(
          crc32(0, reinterpret_cast<const Bytef*>(e.data.data()), static_cast<uInt>(e.data.size())));
      if (e.corrupt_crc) crc ^= 0x5a5a5a5a;
      uint32_t size = static_cast<uint32_t>(e.declared_size >= 0 ? e.declared_size : e.data.size());
      uint16_t method = e.deflate ? 8 : 0;
      uint32_t offset = static_cast<uint32_t>(out.size());

      put32(out, 0x04034b50);
      put16(out, 20), put16(out, 0), put16(out, method), put16(out, 0), put16(out, 0x21);
      put32(out, crc), put32(out, static_cast<uint32_t>(stored.size())), put32(out, size);
      put16(out, static_cast<uint16_t>(e.name.size())), put16(out, 0);
      out += e.name;
      out += stored;

      put32(central, 0x02014b50);
      put16(central, 0x0314), put16(central, 20), put16(central, 0), put16(central, method);
      put16(central, 0), put16(central, 0x21);
      put32(central, crc), put32(central, static_cast<uint32_t>(stored.size())), put32(central, size);
      put16(central, static_cast<uint16_t>(e.name.size())), put16(central, 0), put16(central, 0);
      put16(central, 0), put16(central, 0), put32(central, e.mode << 16), put32(central, offset);
      central += e.name;
    }
    uint32_t central_offset = static_cast<uint32_t>(out.size());
    out += central;
    put32(out, 0x06054b50);
    put16(out, 0), put16(out, 0);
    put16(out, static_cast<uint16_t>(entries_.size())), put16(out, static_cast<uint16_t>(entries_.size()));
    put32(out, static_cast<uint32_t>(central.size())), put32(out, central_offset), put16(out, 0);
    return out;
  }

  void write(const std::string& path) const { std::ofstream(path, std::ios::binary) << bytes(); }

 private:
  static void put16(std::string& out, uint16_t v) {
    out += static_cast<char>(v & 0xff), out += static_cast<char>(v >> 8);
  }
  static void put32(std::string& out, uint32_t v) { put16(out, v & 0xffff), put16(out, v >> 16); }

  static std::string deflate_raw(const std::string& data) {
    z_stream z{};
    deflateInit2(&z, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
    std::string out(deflateBound(&z, data.size()), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
  }

  std::vector<ZipEntry> entries_;
};

}  // namespace korel::test

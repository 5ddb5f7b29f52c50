// The library search path an ELF file carries in its dynamic section (DT_RUNPATH and
// DT_RPATH), read from the file with <elf.h> alone, and the check that it holds only
// what it is meant to.
#pragma once

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace korel::test {

struct ElfSearchPath {
  std::optional<std::string> runpath;  // DT_RUNPATH, when present
  std::optional<std::string> rpath;    // DT_RPATH, when present
};

// The search paths of the 64-bit little-endian ELF file `path`; nullopt when it is no such
// file or its dynamic section cannot be read.
inline std::optional<ElfSearchPath> read_elf_search_path(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Elf64_Ehdr header;
  if (bytes.size() < sizeof header) return std::nullopt;
  std::memcpy(&header, bytes.data(), sizeof header);
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
      header.e_ident[EI_DATA] != ELFDATA2LSB || header.e_shentsize != sizeof(Elf64_Shdr))
    return std::nullopt;
  auto section = [&](std::size_t index) -> std::optional<Elf64_Shdr> {
    const uint64_t at = header.e_shoff + index * sizeof(Elf64_Shdr);
    if (index >= header.e_shnum || at + sizeof(Elf64_Shdr) > bytes.size()) return std::nullopt;
    Elf64_Shdr shdr;
    std::memcpy(&shdr, bytes.data() + at, sizeof shdr);
    if (shdr.sh_offset + shdr.sh_size > bytes.size()) return std::nullopt;
    return shdr;
  };
  ElfSearchPath found;
  for (std::size_t i = 0; i < header.e_shnum; ++i) {
    const auto dynamic = section(i);
    if (!dynamic) return std::nullopt;
    if (dynamic->sh_type != SHT_DYNAMIC) continue;
    const auto strings = section(dynamic->sh_link);
    if (!strings) return std::nullopt;
    for (uint64_t at = 0; at + sizeof(Elf64_Dyn) <= dynamic->sh_size; at += sizeof(Elf64_Dyn)) {
      Elf64_Dyn entry;
      std::memcpy(&entry, bytes.data() + dynamic->sh_offset + at, sizeof entry);
      if (entry.d_tag == DT_NULL) break;
      if (entry.d_tag != DT_RUNPATH && entry.d_tag != DT_RPATH) continue;
      if (entry.d_un.d_val >= strings->sh_size) return std::nullopt;
      const char* text = bytes.data() + strings->sh_offset + entry.d_un.d_val;
      const std::string value(text, strnlen(text, strings->sh_size - entry.d_un.d_val));
      (entry.d_tag == DT_RUNPATH ? found.runpath : found.rpath) = value;
    }
  }
  return found;
}

// What is wrong with the search path of `path`: an empty element (the working
// directory), or any element not in `allowed`. Empty when nothing is.
inline std::vector<std::string> search_path_problems(const std::string& path,
                                                     const std::set<std::string>& allowed) {
  const auto found = read_elf_search_path(path);
  if (!found) return {path + ": not a readable ELF file"};
  std::vector<std::string> problems;
  for (const auto& [tag, value] : {std::pair{"RUNPATH", found->runpath}, std::pair{"RPATH", found->rpath}}) {
    if (!value) continue;
    std::size_t start = 0;
    for (;;) {
      const std::size_t stop = value->find(':', start);
      const std::string element = value->substr(start, stop == std::string::npos ? stop : stop - start);
      if (element.empty())
        problems.push_back(path + ": " + tag + " '" + *value + "' has an empty element");
      else if (!allowed.count(element))
        problems.push_back(path + ": " + tag + " '" + *value + "' has the element '" + element + "'");
      if (stop == std::string::npos) break;
      start = stop + 1;
    }
  }
  return problems;
}

}  // namespace korel::test

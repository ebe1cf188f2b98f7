#include "win/file_version.h"

#include <dlfcn.h>
#include <elf.h>

#include <cstring>
#include <fstream>
#include <vector>

namespace win {

namespace {

template <typename T>
bool ReadAt(std::ifstream& in, uint64_t offset, T* out, std::size_t count = 1) {
  in.seekg(static_cast<std::streamoff>(offset));
  in.read(reinterpret_cast<char*>(out), static_cast<std::streamsize>(sizeof(T) * count));
  return static_cast<bool>(in);
}

// Finds the ".tnversion" section of a 64-bit little-endian ELF file and reads its payload.
bool ReadVersionSection(std::ifstream& in, unsigned char payload[12]) {
  Elf64_Ehdr eh;
  if (!ReadAt(in, 0, &eh) || std::memcmp(eh.e_ident, ELFMAG, SELFMAG) != 0 ||
      eh.e_ident[EI_CLASS] != ELFCLASS64 || eh.e_ident[EI_DATA] != ELFDATA2LSB ||
      eh.e_shentsize != sizeof(Elf64_Shdr) || eh.e_shnum == 0 || eh.e_shstrndx >= eh.e_shnum) {
    return false;
  }
  std::vector<Elf64_Shdr> sections(eh.e_shnum);
  if (!ReadAt(in, eh.e_shoff, sections.data(), sections.size())) return false;
  const Elf64_Shdr& names = sections[eh.e_shstrndx];
  if (names.sh_size > (1u << 20)) return false;
  std::vector<char> strtab(names.sh_size + 1, '\0');
  if (!ReadAt(in, names.sh_offset, strtab.data(), names.sh_size)) return false;
  for (const Elf64_Shdr& s : sections) {
    if (s.sh_name >= names.sh_size || std::strcmp(&strtab[s.sh_name], ".tnversion") != 0) {
      continue;
    }
    if (s.sh_type == SHT_NOBITS || s.sh_size < 12) return false;
    return ReadAt(in, s.sh_offset, payload, 12) && std::memcmp(payload, "TNVR", 4) == 0;
  }
  return false;
}

uint32_t Word(const unsigned char* p) { return static_cast<uint32_t>(p[0] | (p[1] << 8)); }

}  // namespace

bool GetFileVersionInfo(const std::string& path, FixedFileInfo* info) {
  if (!info || path.empty()) return false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  unsigned char payload[12];
  if (!ReadVersionSection(in, payload)) return false;
  info->fileVersionMS = (Word(payload + 4) << 16) | Word(payload + 6);
  info->fileVersionLS = (Word(payload + 8) << 16) | Word(payload + 10);
  return true;
}

std::string GetModuleFileName(const void* address) {
  Dl_info dl{};
  if (!address || dladdr(address, &dl) == 0 || !dl.dli_fname) return {};
  return dl.dli_fname;
}

}  // namespace win

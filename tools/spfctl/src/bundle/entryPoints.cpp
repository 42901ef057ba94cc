#include "bundle/entryPoints.hpp"

#include <memory>
#include <set>

#include <cppmicroservices/GlobalConfig.h>
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <unistd.h>

namespace spfctl {

namespace {

struct EndElf {
  void operator()(Elf* elf) const { elf_end(elf); }
};
using ElfFile = std::unique_ptr<Elf, EndElf>;

class Descriptor {
 public:
  explicit Descriptor(const std::filesystem::path& file) : number_(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~Descriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

 private:
  const int number_;
};

ElfFile openElf(const Descriptor& file) {
  elf_version(EV_CURRENT);
  return ElfFile(file.number() < 0 ? nullptr : elf_begin(file.number(), ELF_C_READ, nullptr));
}

// A library can be loaded if it was made for the machine that this program runs on.
bool isForThisMachine(Elf* elf) {
  GElf_Ehdr header;
  if (elf == nullptr || elf_kind(elf) != ELF_K_ELF || gelf_getehdr(elf, &header) == nullptr) {
    return false;
  }
  const Descriptor self("/proc/self/exe");
  const auto own = openElf(self);
  GElf_Ehdr ownHeader;
  return own && gelf_getehdr(own.get(), &ownHeader) != nullptr && header.e_type == ET_DYN &&
         header.e_machine == ownHeader.e_machine && header.e_ident[EI_CLASS] == ownHeader.e_ident[EI_CLASS];
}

void collectNames(Elf* elf, Elf_Scn* section, const GElf_Shdr& header, std::set<std::string>& names) {
  auto* const data = elf_getdata(section, nullptr);
  const auto count = header.sh_entsize == 0 ? 0 : header.sh_size / header.sh_entsize;
  for (std::size_t index = 0; data != nullptr && index < count; ++index) {
    GElf_Sym symbol;
    if (gelf_getsym(data, static_cast<int>(index), &symbol) == nullptr || symbol.st_shndx == SHN_UNDEF) {
      continue;
    }
    const char* const name = elf_strptr(elf, header.sh_link, symbol.st_name);
    if (name != nullptr) {
      names.insert(name);
    }
  }
}

std::set<std::string> exportedNames(Elf* elf) {
  std::set<std::string> names;
  for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr; section = elf_nextscn(elf, section)) {
    GElf_Shdr header;
    if (gelf_getshdr(section, &header) != nullptr && header.sh_type == SHT_DYNSYM) {
      collectNames(elf, section, header, names);
    }
  }
  return names;
}

}  // namespace

std::vector<std::string> entryPointProblems(const std::filesystem::path& library, const std::string& symbolicName) {
  const Descriptor file(library);
  const auto elf = openElf(file);
  if (!isForThisMachine(elf.get())) {
    return {"its manifest announces an activator, but the file is no shared library for this machine"};
  }
  const auto names = exportedNames(elf.get());
  std::vector<std::string> problems;
  for (const char* const prefix :
       {US_STR(US_CREATE_ACTIVATOR_PREFIX), US_STR(US_DESTROY_ACTIVATOR_PREFIX), US_STR(US_SET_CTX_PREFIX)}) {
    const auto name = prefix + symbolicName;
    if (names.count(name) == 0) {
      problems.push_back("its manifest announces an activator, but the library does not export " + name +
                         "; was it built for another runtime?");
    }
  }
  return problems;
}

}  // namespace spfctl

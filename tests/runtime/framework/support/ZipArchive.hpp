#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace spf::test {

/// Builds zip archives byte by byte, the broken ones as well as the good ones. Nothing is compressed.
class ZipArchive {
 public:
  ZipArchive& add(const std::string& name, const std::string& content) {
    entries_.push_back({name, content, static_cast<std::uint32_t>(content.size())});
    return *this;
  }

  /// Adds an entry that claims to be of another size than it is.
  ZipArchive& addClaiming(const std::string& name, const std::string& content, std::uint32_t size) {
    entries_.push_back({name, content, size});
    return *this;
  }

  /// \param prefix  how many bytes are in front of the archive that its offsets shall count
  std::string bytes(std::size_t prefix = 0) const {
    std::string file;
    std::string directory;
    for (const auto& entry : entries_) {
      const auto offset = static_cast<std::uint32_t>(prefix + file.size());
      file += "PK\3\4" + number(20, 2) + description(entry) + entry.name + entry.content;
      directory += "PK\1\2" + number(20, 2) + number(20, 2) + description(entry) + number(0, 2) + number(0, 2) +
                   number(0, 2) + number(0, 4) + number(offset, 4) + entry.name;
    }
    const auto count = number(static_cast<std::uint32_t>(entries_.size()), 2);
    return file + directory + "PK\5\6" + number(0, 4) + count + count +
           number(static_cast<std::uint32_t>(directory.size()), 4) +
           number(static_cast<std::uint32_t>(prefix + file.size()), 4) + number(0, 2);
  }

 private:
  struct Entry {
    std::string name;
    std::string content;
    std::uint32_t size;
  };

  static std::string number(std::uint32_t value, int count) {
    std::string bytes;
    for (; count > 0; --count, value >>= 8) {
      bytes += static_cast<char>(value & 0xff);
    }
    return bytes;
  }

  static std::uint32_t checksum(const std::string& content) {
    std::uint32_t crc = 0xffffffff;
    for (const unsigned char byte : content) {
      crc ^= byte;
      for (int bit = 0; bit < 8; ++bit) {
        crc = crc & 1 ? crc >> 1 ^ 0xedb88320 : crc >> 1;
      }
    }
    return ~crc;
  }

  /// What a local header and the directory say about an entry in the same words.
  static std::string description(const Entry& entry) {
    return number(0, 2) + number(0, 2) + number(0, 2) + number(0x21, 2) + number(checksum(entry.content), 4) +
           number(entry.size, 4) + number(entry.size, 4) + number(static_cast<std::uint32_t>(entry.name.size()), 2) +
           number(0, 2);
  }

  std::vector<Entry> entries_;
};

}  // namespace spf::test

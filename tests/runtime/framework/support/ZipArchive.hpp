#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace spf::test {

/// Builds zip archives byte by byte, broken ones as well as good ones. Only bombs are compressed.
class ZipArchive {
 public:
  ZipArchive& add(const std::string& name, const std::string& content) {
    return addClaiming(name, content, static_cast<std::uint32_t>(content.size()));
  }

  /// Adds an entry with a wrong size.
  ZipArchive& addClaiming(const std::string& name, const std::string& content, std::uint32_t size) {
    entries_.push_back({name, content, stored, size, size});
    return *this;
  }

  /// Adds an entry of zeros, compressed to very few bytes.
  /// \param claimed  the number of zeros that the entry states
  /// \param size  the least number of zeros in it
  ZipArchive& addBomb(const std::string& name, std::uint32_t claimed, std::size_t size) {
    const auto content = zerosDeflated(size);
    entries_.push_back({name, content, deflated, static_cast<std::uint32_t>(content.size()), claimed});
    return *this;
  }

  /// Returns the archive.
  /// \param prefix  the number of bytes in front of the archive that its offsets include
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
    std::uint32_t method;
    std::uint32_t compressedSize;
    std::uint32_t size;
  };

  static constexpr std::uint32_t stored = 0;
  static constexpr std::uint32_t deflated = 8;

  /// Returns one block with fixed codes: a zero, and the repetitions of 258 of them.
  static std::string zerosDeflated(std::size_t size) {
    std::string bytes;
    std::size_t bits = 0;
    const auto append = [&](const char* digits) {
      for (; *digits != '\0'; ++digits, ++bits) {
        bytes.resize(bits / 8 + 1);
        bytes.back() = static_cast<char>(bytes.back() | (*digits - '0') << bits % 8);
      }
    };
    append("110");       // the last block, fixed codes
    append("00110000");  // a zero
    for (std::size_t made = 1; made < size; made += 258) {
      append("1100010100000");  // 258 bytes more, from one byte back
    }
    append("0000000");  // the end of the block
    return bytes;
  }

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

  /// Returns the fields that a local header and the directory have in common.
  static std::string description(const Entry& entry) {
    return number(0, 2) + number(entry.method, 2) + number(0, 2) + number(0x21, 2) +
           number(checksum(entry.content), 4) + number(entry.compressedSize, 4) + number(entry.size, 4) +
           number(static_cast<std::uint32_t>(entry.name.size()), 2) + number(0, 2);
  }

  std::vector<Entry> entries_;
};

}  // namespace spf::test

// Lines that the compiler has to refuse, each with the type that its message has to name, and lines that it has to
// accept; see CheckRefusals.cmake.
#include <cppmicroservices/AnyMap.h>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using namespace cppmicroservices;

enum class Scoped { value };
struct Incomparable {};
std::ostream& operator<<(std::ostream& out, Incomparable) {
  return out;
}

/// Has an operator that no other type uses, so that the compiler names this type only when it refuses it.
struct Uncopyable {
  Uncopyable() = default;
  Uncopyable(Uncopyable&&) = default;
  Uncopyable(const Uncopyable&) = delete;
  friend std::ostream& operator<<(std::ostream& out, const Uncopyable&) { return out; }
};

[[maybe_unused]] void accepted(AnyMap& map) {
  map["text"] = std::string("text");
  map["text"] = std::string_view("text");
  map["text"] = static_cast<const char*>("text");
  map["value"] = Incomparable();
  map["map"] = std::map<std::string, Any>();
  map["pointer"] = std::shared_ptr<int>();
  static_cast<void>(map["text"] == "text");
}

#ifdef SPF_REFUSED
[[maybe_unused]] void refused(AnyMap& map) {
  const Any literal("1234");                             // refused: char [5]
  map["text"] = "12345";                                 // refused: char [6]
  const AnyMap listed{{"key", "123"}, {"lock", "123"}};  // refused: char [4]
  map["enum"] = Scoped::value;                           // refused: ::Scoped
  map["optional"] = std::optional<int>();                // refused: std::optional<int>
  map["pair"] = std::pair<int, int>();                   // refused: std::pair<int, int>
  map["array"] = std::array<int, 2>();                   // refused: std::array<int, 2>
  map["time"] = std::chrono::seconds(1);                 // refused: std::chrono::duration<
  map["owner"] = std::unique_ptr<int>();                 // refused: std::unique_ptr<int>
  map["single"] = Uncopyable();                          // refused: ::Uncopyable
  map["map"] = std::unordered_map<std::string, Any>();   // refused: = std::unordered_map<
  map["map"] = std::map<int, std::vector<int>>();        // refused: std::vector<int>
  map["list"] = std::vector<Incomparable>();             // refused: ::Incomparable>
  static_cast<void>(any_cast<long&>(map["value"]));      // refused: long int&
}
#endif

}  // namespace

#pragma once

#include <string>

class Greeter {
 public:
  virtual ~Greeter() = default;
  virtual std::string greet(const std::string& name) = 0;
};

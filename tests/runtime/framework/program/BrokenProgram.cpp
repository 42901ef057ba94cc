#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <exception>
#include <iostream>

// The archive in this program's file holds a bundle whose manifest is broken.
int main() {
  auto framework = cppmicroservices::FrameworkFactory().NewFramework();
  try {
    framework.Init();
    std::cout << "initialised\n";
  } catch (const std::exception& error) {
    std::cout << error.what() << '\n';
  }
  return 0;
}

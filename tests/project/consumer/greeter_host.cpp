#include <iostream>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <agent/host/host.hpp>
#include <agent/host/services.hpp>
#include "Greeter.hpp"

int main(int, char** argv) {
  const agent::host::services::Host host;
  agent::host::filesystem::path bundles;
  const std::string folder = argv[1];
  bundles.append(std::wstring(folder.begin(), folder.end()));
  agent::host::services::installAndStart(bundles);
  auto context = agent::host::services::getFramework()->GetBundleContext();
  const auto greeting = context.GetService(context.GetServiceReference<Greeter>())->greet("consumer");
  std::cout << greeting << std::endl;
  return greeting == "Hello, consumer" ? 0 : 1;
}

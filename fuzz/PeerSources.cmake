# What PeerTarget.cpp needs of the bundles that read what other processes send.
find_package(nlohmann_json 3.11 REQUIRED)
set(bundles "${PROJECT_SOURCE_DIR}/framework/bundles")
set(SPF_PEER_FOLDERS
  "${bundles}/clients/peers" "${bundles}/serialisationproviders/json" "${bundles}/servicepublishers/publishers")
set(SPF_PEER_SOURCES
  "${bundles}/clients/peers/TransportPeerDirectory.cpp"
  "${bundles}/serialisationproviders/json/FromJson.cpp"
  "${bundles}/serialisationproviders/json/JsonSerialiser.cpp"
  "${bundles}/serialisationproviders/json/ToJson.cpp"
  "${bundles}/servicepublishers/publishers/AllowedAskers.cpp"
  "${bundles}/servicepublishers/publishers/PeerAnswer.cpp"
  "${bundles}/servicepublishers/publishers/reachableAddress.cpp")
set(SPF_PEER_LIBRARIES spf::frameworkinterfaces spf::frameworksupport nlohmann_json::nlohmann_json)

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "support/RecordedLog.hpp"
#include "support/canonicalText.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

std::string allBytes() {
  std::string bytes;
  for (int code = 0; code < 256; ++code) {
    bytes += static_cast<char>(code);
  }
  return bytes;
}

struct ByteString {
  const char* name;
  std::string value;
};

std::ostream& operator<<(std::ostream& stream, const ByteString& byteString) {
  return stream << byteString.name;
}

const ByteString byteStrings[] = {{"Empty", ""},
                                  {"Blank", " "},
                                  {"BlanksAround", " a\t\r\n"},
                                  {"OnlyANul", std::string(1, '\0')},
                                  {"WithANulInside", std::string("a\0b", 3)},
                                  {"NoUTF8", "\xC3\x28\xFF\xFE\x80"},
                                  {"Separator", "~"},
                                  {"LikeAPid", "zk.spf.framework~a"},
                                  {"Dots", "..a.b."},
                                  {"LikeAFilter", "(&(a=*)(b=\\2a))"},
                                  {"AllBytes", allBytes()},
                                  {"OneMegabyte", std::string(1 << 20, 'm')}};

// What these texts are to the library: bytes that it hands on as they are.
class AnyByteString : public testing::TestWithParam<ByteString> {
 protected:
  SPFConfigurationBuilder builder() const {
    boost::property_tree::ptree tree;
    tree.push_back({"value", boost::property_tree::ptree(text_)});
    SPFConfigurationBuilder sut(text_);
    sut.addServiceInterface(text_, text_, tree)
        .addServicePublisher({text_, "rpcservicepublisher", {Any(text_)}, {Any(text_)}, text_, text_})
        .addServiceMapping(text_, text_);
    return sut;
  }
  std::string idOf(const SPFConfiguration& configuration) const {
    return text_.empty() ? configuration.getConfigurationID() : text_;
  }
  static std::string complaintOf(SPFConfigurationBuilder& sut) {
    return messageOf([&] { static_cast<void>(sut.build()); });
  }
  // As much of a message as its C string shows.
  static std::string shown(const std::string& message) { return message.c_str(); }

  const std::string text_ = GetParam().value;
  FrameworkWithConfigurationAdmin framework_;
};

INSTANTIATE_TEST_SUITE_P(As, AnyByteString, testing::ValuesIn(byteStrings),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AnyByteString, ComesBackFromTheHandleUnchanged) {
  const auto sut = builder().build();
  EXPECT_EQ(sut.getConfigurationID(), idOf(sut));
  const auto interfaces = sut.getServiceInterfaceConfigurationsForServicePublisher(text_);
  ASSERT_EQ(idsOf(interfaces), Texts{text_});
  EXPECT_EQ(interfaces[0].name, text_);
  EXPECT_EQ(interfaces[0].requestedProperties.front().second.data(), text_);
  const auto publishers = sut.getServicePublisherConfigurations();
  ASSERT_EQ(idsOf(publishers), Texts{text_});
  EXPECT_EQ(publishers[0].importFilter, text_);
  EXPECT_EQ(publishers[0].exportFilter, text_);
}

TEST_P(AnyByteString, IsPublishedUnchangedAndFoundUnderTheID) {
  const auto sut = builder().build();
  EXPECT_EQ(framework_.configurationIDs(), Texts{idOf(sut)});
  const auto properties = framework_.configuration(idOf(sut));
  ASSERT_TRUE(properties);
  const auto& serviceInterface = entryIn(*properties, "serviceConfigurations", text_);
  EXPECT_EQ(asText(serviceInterface.at("name")), text_);
  EXPECT_EQ(asText(asMap(serviceInterface.at("requestedProperties")).at("value")), text_);
  const auto& config = asMap(entryIn(*properties, "servicePublisherConfigurations", text_).at("config"));
  EXPECT_EQ(texts(asList(config.at("endpointsToBindTo"))), Texts{text_});
  EXPECT_EQ(asText(config.at("importFilter")), text_);
  EXPECT_EQ(mappingsIn(*properties), (Pairs{{text_, text_}}));
}

TEST_P(AnyByteString, AsAPublishersNameIsThatOfThePublisherForRemoteCalls) {
  const auto sut = SPFConfigurationBuilder("names").addServicePublisherAny("p", text_, {}, {}, "", "").build();
  const auto properties = framework_.configuration("names");
  const auto& entry = entryIn(*properties, "servicePublisherConfigurations", "p");
  EXPECT_EQ(asText(entry.at("name")), text_);
  EXPECT_EQ(asText(entry.at("factoryPID")), "zk.spf.rpcservicepublisher");
}

TEST_P(AnyByteString, IsTheValueOfARequiredPropertyUnchanged) {
  const std::string key = "spf::requiredServiceProperty::name";
  boost::property_tree::ptree tree;
  agent::spf::frameworksetup::addRequiredRuntimeServiceProperties(tree, "name", text_);
  ASSERT_EQ(tree.count(key), 1u);
  EXPECT_EQ(tree.find(key)->second.data(), text_);

  const auto sut = SPFConfigurationBuilder("required").addServiceInterface("i", "n", tree).build();
  const auto properties = framework_.configuration("required");
  const auto& entry = entryIn(*properties, "serviceConfigurations", "i");
  EXPECT_EQ(asText(asMap(entry.at("requestedProperties")).at(key)), text_);
}

TEST_P(AnyByteString, StandsAtTheEndOfTheMessageForAnUnknownInterface) {
  SPFConfigurationBuilder sut;
  sut.addServiceMapping(text_, "p");
  EXPECT_EQ(complaintOf(sut), shown("ServiceMapping references an unknown ServiceInterface Configuration " + text_));
}

TEST_P(AnyByteString, StandsAtTheEndOfTheMessageForAnUnknownPublisher) {
  SPFConfigurationBuilder sut;
  sut.addServiceInterface(serviceInterface("i")).addServiceMapping("i", text_);
  EXPECT_EQ(complaintOf(sut), shown("ServiceMapping references an unknown ServicePublisher Configuration " + text_));
}

TEST_P(AnyByteString, NamesThePublisherThatIsWaitedForAndNoOther) {
  auto sut = builder().build();
  framework_.sendBound(text_, 1, Any(text_));
  framework_.sendConnected(text_ + "x", 1, Any(text_));
  EXPECT_EQ(texts(sut.listOutstandingEndpoints(text_).first), Texts{text_});
  EXPECT_TRUE(sut.listOutstandingEndpoints(text_).second.empty());
  framework_.sendConnected(text_, 1, Any(text_));
  EXPECT_TRUE(sut.waitForAllEndpoints(noWait, text_));
  EXPECT_FALSE(sut.waitForAllServices(noWait, text_));
  framework_.sendPublished(text_, 1);
  EXPECT_TRUE(sut.waitForAllServices(noWait, text_));
  EXPECT_THROW(static_cast<void>(sut.waitForAllServices(noWait, text_ + "x")), std::out_of_range);
}

TEST_P(AnyByteString, IsWithdrawnUnderItsIDAndLoggedAsItIs) {
  auto sut = builder().build();
  const auto id = idOf(sut);
  const auto other = SPFConfigurationBuilder(id + "x").build();
  framework_.sendUnpublished(text_, 1);
  const RecordedLog log(4 | 512);
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, text_));
  EXPECT_EQ(framework_.configurationIDs(), Texts{id + "x"});
  EXPECT_EQ(log.messages(), Texts{"About to remove spf configuration for " + id});
}

TEST_P(AnyByteString, IsKeptForTheNextRevision) {
  auto sut = builder().build();
  const auto id = idOf(sut);
  sut = sut.modify().build();
  EXPECT_EQ(sut.getConfigurationID(), id);
  EXPECT_EQ(asInt(framework_.configuration(id)->at("modificationCount")), 2);
}

TEST_P(AnyByteString, IsLoggedAsItIsWhenItIsAnEndpoint) {
  auto sut = builder().build();
  const RecordedLog log(4);
  framework_.sendBound(text_, 1, Any(text_));
  EXPECT_EQ(log.messages(), Texts{"ConfigTracker completeEndpointBind " + text_});
}

}  // namespace spf::test

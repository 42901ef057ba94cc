#include "events/recordedEvent.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "display/utcTime.hpp"

namespace spf::test {

using namespace std::chrono_literals;
using namespace spfctl;
using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

// 2026-11-22, 08:15:02.123 in UTC.
const std::chrono::system_clock::time_point recordedTime{1795335302123ms};

template <class Event>
std::string lineFor(const Event& event) {
  return lineOf(recorded(event), recordedTime);
}

std::string endpointLine(const Any& endpoint, std::uint32_t change = EndpointEvent::bound) {
  return lineFor(EndpointEvent{{FrameworkEvent::endpoint}, change, endpoint, "station", 3});
}

std::string errorLine(std::exception_ptr error) {
  return lineFor(ErrorEvent{{FrameworkEvent::error}, std::move(error), "station", 3});
}

const std::string endpointHead = R"({"kind":"endpoint","time":"2026-11-22T08:15:02.123Z","publisher":"station",)";
const std::string errorHead =
    R"({"kind":"error","time":"2026-11-22T08:15:02.123Z","publisher":"station","revision":3,"error":)";

// An endpoint of a type that only the sender knows.
struct Address {
  int number;
  bool operator==(const Address& other) const { return number == other.number; }
};
std::ostream& operator<<(std::ostream& stream, const Address& address) {
  return stream << "address " << address.number;
}

struct Unprintable {
  bool isOutOfMemory;
  bool operator==(const Unprintable&) const { return true; }
};
std::ostream& operator<<(std::ostream& stream, const Unprintable& value) {
  if (value.isOutOfMemory) {
    throw std::bad_alloc();
  }
  throw std::runtime_error("no text");
  return stream;
}

}  // namespace

TEST(ARecordedLine, HoldsAConfigurationAsItWasPublished) {
  EXPECT_EQ(lineOf(RecordedConfiguration{"weather", 2, "/etc/weather.json", "{\n}"}, recordedTime),
            R"({"version":1,"kind":"configuration","time":"2026-11-22T08:15:02.123Z","configurationID":"weather",)"
            R"("revision":2,"file":"/etc/weather.json","text":"{\n}"})");
}

TEST(ARecordedLine, NamesTheChangeOfServices) {
  const auto line = [](std::uint32_t change) {
    return lineFor(ServicesEvent{{FrameworkEvent::services}, change, "station", 4294967295});
  };
  const std::string head =
      R"({"kind":"services","time":"2026-11-22T08:15:02.123Z","publisher":"station","revision":4294967295,"change":)";
  EXPECT_EQ(line(ServicesEvent::allPublished), head + R"("allPublished"})");
  EXPECT_EQ(line(ServicesEvent::allUnpublished), head + R"("allUnpublished"})");
  EXPECT_EQ(line(2), head + "2}");
}

TEST(ARecordedLine, NamesTheChangeOfAnEndpoint) {
  const auto line = [](std::uint32_t change) { return endpointLine(std::string("tcp://127.0.0.1:5555"), change); };
  const auto expected = [](const std::string& change) {
    return endpointHead + R"("revision":3,"change":)" + change + R"(,"endpoint":"tcp://127.0.0.1:5555"})";
  };
  EXPECT_EQ(line(EndpointEvent::bound), expected("\"bound\""));
  EXPECT_EQ(line(EndpointEvent::stillBound), expected("\"stillBound\""));
  EXPECT_EQ(line(EndpointEvent::connected), expected("\"connected\""));
  EXPECT_EQ(line(EndpointEvent::stillConnected), expected("\"stillConnected\""));
  EXPECT_EQ(line(4), expected("4"));
}

TEST(ARecordedLine, HoldsAnEndpointOfAnyKindAsJson) {
  AnyMap map;
  map.emplace("host", std::string("h"));
  map.emplace("ports", std::vector<Any>{1, 2.5, true, Any()});
  const auto expected = [](const std::string& endpoint) {
    return endpointHead + R"("revision":3,"change":"bound","endpoint":)" + endpoint + "}";
  };
  EXPECT_EQ(endpointLine(map), expected(R"({"host":"h","ports":[1,2.5,true,null]})"));
  EXPECT_EQ(endpointLine(Any()), expected("null"));
  EXPECT_EQ(endpointLine(Address{7}), expected(R"("address 7")"));
  EXPECT_EQ(endpointLine(std::vector<Any>{Unprintable{false}}), expected(R"(["a value without a text"])"));
}

TEST(ARecordedLine, HoldsTheTextOfAnErrorOrSaysThatThereIsNone) {
  EXPECT_EQ(errorLine(std::make_exception_ptr(std::runtime_error("port in use"))), errorHead + "\"port in use\"}");
  EXPECT_EQ(errorLine(std::make_exception_ptr(std::runtime_error(""))), errorHead + "\"an error without a text\"}");
  EXPECT_EQ(errorLine(std::make_exception_ptr(7)), errorHead + "\"an error without a text\"}");
  EXPECT_EQ(errorLine(nullptr), errorHead + "\"no reason\"}");
}

TEST(ARecordedLine, HoldsTheNumberOfAnUnknownKindAndHowManyLinesWereDropped) {
  EXPECT_EQ(lineFor(FrameworkEvent{7}), R"({"kind":"other","time":"2026-11-22T08:15:02.123Z","number":7})");
  EXPECT_EQ(lineOf(RecordedDrop{12}, recordedTime),
            R"({"kind":"dropped","time":"2026-11-22T08:15:02.123Z","count":12})");
}

TEST(ARecordedLine, HasReplacementCharactersForWhatIsNoUtf8) {
  EXPECT_EQ(errorLine(std::make_exception_ptr(std::runtime_error("a\xFFz\n"))), errorHead + "\"a\xEF\xBF\xBDz\\n\"}");
  EXPECT_EQ(endpointLine(std::string("\xC3")),
            endpointHead + "\"revision\":3,\"change\":\"bound\",\"endpoint\":\"\xEF\xBF\xBD\"}");
}

TEST(ARecordedEvent, HoldsNothingOfItsSender) {
  const auto object = std::make_shared<int>(7);
  const auto event = recorded(EndpointEvent{{FrameworkEvent::endpoint},
                                            EndpointEvent::bound,
                                            std::vector<Any>{AnyMap{{"shared", Any(object)}}},
                                            "station",
                                            3});
  EXPECT_EQ(object.use_count(), 1);
  EXPECT_TRUE(std::holds_alternative<RecordedEndpoint>(event));
}

TEST(ARecordedEvent, IsNotMadeWithoutMemoryForTheTextOfAnEndpoint) {
  EXPECT_THROW(endpointLine(Unprintable{true}), std::bad_alloc);
}

TEST(ATime, IsWrittenInUtcWithMilliseconds) {
  EXPECT_EQ(utcTime(std::chrono::system_clock::time_point(0ms)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(utcTime(std::chrono::system_clock::time_point(1999ms + 500us)), "1970-01-01T00:00:01.999Z");
}

}  // namespace spf::test
